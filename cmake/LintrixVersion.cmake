# The version, read off lintrix/version.h, which alone states it: LINTRIX_VERSION_FROM_HEADER, "major.minor.patch".
# Included by the top folder, before its project().

set(LINTRIX_VERSION_FROM_HEADER "")
foreach(part IN ITEMS MAJOR MINOR PATCH)
  file(STRINGS "${CMAKE_CURRENT_SOURCE_DIR}/lintrix/version.h" line REGEX "^#define LINTRIX_VERSION_${part} [0-9]+$")
  if(NOT line MATCHES " ([0-9]+)$")
    message(FATAL_ERROR "lintrix/version.h does not define LINTRIX_VERSION_${part} as a number.")
  endif()
  list(APPEND LINTRIX_VERSION_FROM_HEADER "${CMAKE_MATCH_1}")
endforeach()
list(JOIN LINTRIX_VERSION_FROM_HEADER "." LINTRIX_VERSION_FROM_HEADER)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/lintrix/version.h")
