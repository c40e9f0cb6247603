# Install rules: the library, its public headers, the command with its pages, the documents, and the two descriptions by
# which another project finds the library, a CMake package and a pkg-config file. The installed tree may be moved: both
# work from where they stand. Each component is a package of its own, see LintrixPackages.

include(CMakePackageConfigHelpers)
include(LintrixPublicHeaders)
set(LINTRIX_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/Lintrix")
set(LINTRIX_PKGCONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
set(LINTRIX_ZSH_DIR "${CMAKE_INSTALL_DATADIR}/zsh/site-functions" CACHE STRING "Folder for the completion of zsh")

lintrix_public_headers("${PROJECT_SOURCE_DIR}" headers)
list(TRANSFORM headers PREPEND "${PROJECT_SOURCE_DIR}/")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${headers})   # an include added is a header installed
target_sources(lintrix PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${headers})
install(TARGETS lintrix EXPORT Lintrix
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development
  FILE_SET HEADERS COMPONENT development)
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT licence)
install(FILES "${PROJECT_SOURCE_DIR}/README.md" "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT documents)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" "${PROJECT_SOURCE_DIR}/examples"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT documents
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.cpp" PATTERN "*.h" PATTERN "*.expected"
  PATTERN "man" EXCLUDE)

# install_command(target name component pages): a program with its completion, which is one for all, and its pages.
function(install_command target name component pages)
  if(NOT TARGET ${target})
    return()
  endif()
  # It finds the library from where it stands, and a static build of it finds BLAS.
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
    BASE_DIRECTORY "${CMAKE_INSTALL_FULL_BINDIR}" OUTPUT_VARIABLE lib_from_bin)
  set_target_properties(${target} PROPERTIES
    INSTALL_RPATH "$ORIGIN/${lib_from_bin};${LINTRIX_BLAS_DIR}" BUILD_WITH_INSTALL_RPATH ON)
  install(TARGETS ${target} COMPONENT ${component})
  install(FILES "${PROJECT_SOURCE_DIR}/tools/completion/lintrix"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT ${component} RENAME ${name})
  install(FILES "${PROJECT_SOURCE_DIR}/tools/completion/_lintrix"
    DESTINATION "${LINTRIX_ZSH_DIR}" COMPONENT ${component} RENAME _${name})
  if(LINTRIX_FLAVOUR MATCHES "^(release|debug|hardened)$")   # those whose command may be asked for its pages
    install(DIRECTORY "${PROJECT_BINARY_DIR}/${pages}/" DESTINATION "${CMAKE_INSTALL_MANDIR}" COMPONENT ${component})
  endif()
endfunction()
install_command(lintrix_command lintrix command man)
install_command(lintrix_mpi_command lintrix-mpi distributed man_mpi)

# The CMake package. A shared library brings its own dependencies along; a static one hands them on.
install(EXPORT Lintrix NAMESPACE Lintrix:: FILE LintrixTargets.cmake DESTINATION "${LINTRIX_CMAKE_DIR}"
  COMPONENT development)
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/package/LintrixConfig.cmake.in" "${PROJECT_BINARY_DIR}/package/LintrixConfig.cmake"
  INSTALL_DESTINATION "${LINTRIX_CMAKE_DIR}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/package/LintrixConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/package/LintrixConfig.cmake" "${PROJECT_BINARY_DIR}/package/LintrixConfigVersion.cmake"
  "${PROJECT_SOURCE_DIR}/cmake/FindMETIS.cmake"
  DESTINATION "${LINTRIX_CMAKE_DIR}" COMPONENT development)

# The pkg-config file.
set(pc_cflags "")
if(LINTRIX_HARDENED)
  string(APPEND pc_cflags " -DLINTRIX_HARDENED")
endif()
set(pc_libs_private "")
if(NOT BUILD_SHARED_LIBS)
  string(APPEND pc_cflags " -DLINTRIX_STATIC")
  string(JOIN " " pc_libs_private
    "${LINTRIX_BLAS_LIBRARY}" "-Wl,-rpath,${LINTRIX_BLAS_DIR}" "${METIS_LIBRARY}" -lz
    "${OpenMP_CXX_FLAGS}")
endif()
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" OUTPUT_VARIABLE pc_prefix_from_here)
configure_file(
  "${PROJECT_SOURCE_DIR}/cmake/package/lintrix.pc.in" "${PROJECT_BINARY_DIR}/package/lintrix.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/package/lintrix.pc" DESTINATION "${LINTRIX_PKGCONFIG_DIR}"
  COMPONENT development)
