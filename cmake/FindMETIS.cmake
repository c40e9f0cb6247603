# Finds METIS 5 with 32-bit indices: the imported target METIS::METIS. Installed beside the package description,
# since a program that links a static liblintrix finds METIS by it.
#
# METIS_INCLUDE_DIR   folder of metis.h
# METIS_LIBRARY       path of the library

find_path(METIS_INCLUDE_DIR metis.h DOC "METIS: folder of metis.h")
find_library(METIS_LIBRARY metis DOC "METIS")

set(metis_why "On Debian: apt-get install libmetis-dev")
if(METIS_INCLUDE_DIR AND EXISTS "${METIS_INCLUDE_DIR}/metis.h")
  file(STRINGS "${METIS_INCLUDE_DIR}/metis.h" metis_defines REGEX "^#define +(METIS_VER|IDXTYPEWIDTH)")
  if(metis_defines MATCHES "METIS_VER_MAJOR +([0-9]+).*METIS_VER_MINOR +([0-9]+)")
    set(METIS_VERSION "${CMAKE_MATCH_1}.${CMAKE_MATCH_2}")
  endif()
  if(metis_defines MATCHES "IDXTYPEWIDTH +64")
    set(metis_why "${METIS_INCLUDE_DIR}/metis.h is of a METIS with 64-bit indices; those of Lintrix have 32 bits")
    unset(METIS_INCLUDE_DIR CACHE)
  endif()
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(METIS
  REQUIRED_VARS METIS_LIBRARY METIS_INCLUDE_DIR VERSION_VAR METIS_VERSION REASON_FAILURE_MESSAGE "${metis_why}")

if(METIS_FOUND AND NOT TARGET METIS::METIS)
  add_library(METIS::METIS UNKNOWN IMPORTED GLOBAL)
  set_target_properties(METIS::METIS PROPERTIES
    IMPORTED_LOCATION "${METIS_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${METIS_INCLUDE_DIR}")
endif()
mark_as_advanced(METIS_INCLUDE_DIR METIS_LIBRARY)
