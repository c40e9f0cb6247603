# Debian packages, one a component of the install rules: the target `packages` puts them into build/<preset>/packages.
# What is given to others comes from the preset `packages`, which is built for /usr and has no tests; those of another
# preset hold the same files in its own folders.
#
# LINTRIX_MAINTAINER        who answers for the packages
# LINTRIX_PYTHON_PACKAGES   what the Python package needs beside the library and an interpreter

if(CMAKE_CROSSCOMPILING)
  return()   # dependencies are told by the packages installed, which are those of this machine
endif()
find_program(LINTRIX_DPKG_SHLIBDEPS dpkg-shlibdeps)
find_program(LINTRIX_GZIP gzip)
if(NOT LINTRIX_DPKG_SHLIBDEPS OR NOT LINTRIX_GZIP)
  message(STATUS "No packages: dpkg-shlibdeps or gzip was not found (Debian: dpkg-dev)")
  return()
endif()

set(LINTRIX_MAINTAINER "The Lintrix developers <developers@lintrix.invalid>" CACHE STRING "Maintainer of the packages")
# The module is of one minor version of Python.
set(python_versions "python3")
if(TARGET lintrix_python)
  math(EXPR next_minor "${Python_VERSION_MINOR} + 1")
  set(python_versions "python3 (>= 3.${Python_VERSION_MINOR}), python3 (<< 3.${next_minor})")
endif()
set(LINTRIX_PYTHON_PACKAGES "python3-numpy, python3-scipy" CACHE STRING "What the Python package needs beside an interpreter")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lintrix)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")   # each package has its own
set(CPACK_PACKAGE_CONTACT "${LINTRIX_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")

# The date of the packages: SOURCE_DATE_EPOCH where it is set, else that of the last change told.
set(date_format "%a, %d %b %Y %H:%M:%S +0000")
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  string(TIMESTAMP LINTRIX_PACKAGE_DATE "${date_format}" UTC)
else()
  file(TIMESTAMP "${PROJECT_SOURCE_DIR}/CHANGELOG.md" LINTRIX_PACKAGE_DATE "${date_format}" UTC)
endif()
set(LINTRIX_PACKAGE_VERSION "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
file(READ "${PROJECT_SOURCE_DIR}/LICENSE" licence)
string(REGEX REPLACE "^.*\n\n(Permission)" "\\1" licence "${licence}")
string(REGEX REPLACE "\n\n" "\n.\n" licence "${licence}")
string(REGEX REPLACE "\n+$" "" licence "${licence}")
string(REPLACE "\n" "\n " LINTRIX_LICENCE_TEXT " ${licence}")
set(debian "${PROJECT_BINARY_DIR}/debian")
configure_file("${PROJECT_SOURCE_DIR}/cmake/debian/copyright.in" "${debian}/copyright" @ONLY)
configure_file("${PROJECT_SOURCE_DIR}/cmake/debian/changelog.in" "${debian}/changelog.Debian" @ONLY)
execute_process(COMMAND "${LINTRIX_GZIP}" -9nf "${debian}/changelog.Debian" COMMAND_ERROR_IS_FATAL ANY)

# describe_package(component NAME package SECTION section DESCRIPTION text [SHLIBDEPS]
#                  [DEPENDS packages] [RECOMMENDS packages] [MULTIARCH word] [ARCHITECTURE word] [OVERRIDES tags...])
# A component that has no files makes no package.
macro(describe_package component)
  cmake_parse_arguments(arg "SHLIBDEPS" "NAME;SECTION;DESCRIPTION;DEPENDS;RECOMMENDS;MULTIARCH;ARCHITECTURE" "OVERRIDES"
    ${ARGN})
  get_cmake_property(components COMPONENTS)
  if(${component} IN_LIST components)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    string(TOUPPER ${component} key)
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME "${arg_NAME}")
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION "${arg_SECTION}")
    set(CPACK_DEBIAN_${key}_DESCRIPTION "${arg_DESCRIPTION}")
    set(CPACK_DEBIAN_${key}_PACKAGE_SHLIBDEPS ${arg_SHLIBDEPS})
    set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${arg_DEPENDS}")
    set(CPACK_DEBIAN_${key}_PACKAGE_RECOMMENDS "${arg_RECOMMENDS}")
    set(CPACK_DEBIAN_${key}_PACKAGE_MULTIARCH "${arg_MULTIARCH}")
    set(CPACK_DEBIAN_${key}_PACKAGE_ARCHITECTURE "${arg_ARCHITECTURE}")
    # Files of a package alone: they are left out where the tree is installed without one.
    install(FILES "${debian}/copyright" "${debian}/changelog.Debian.gz"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${arg_NAME}" COMPONENT ${component} EXCLUDE_FROM_ALL)
    if(arg_OVERRIDES)
      list(TRANSFORM arg_OVERRIDES PREPEND "${arg_NAME}: ")
      list(JOIN arg_OVERRIDES "\n" overrides)
      file(WRITE "${debian}/overrides/${arg_NAME}" "${overrides}\n")
      install(FILES "${debian}/overrides/${arg_NAME}"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" COMPONENT ${component} EXCLUDE_FROM_ALL)
    endif()
  endif()
endmacro()

set(about "Lintrix has dense matrices with the decompositions that solve systems of
equations, sparse matrices, a direct solver for large sparse systems that tells
how good its solution is, and a truncated SVD.")
get_target_property(soversion lintrix SOVERSION)
set(library_package "liblintrix${soversion}")
set(CPACK_COMPONENTS_ALL "")

# How other packages depend on the library.
file(WRITE "${debian}/shlibs" "liblintrix ${soversion} ${library_package} (>= ${PROJECT_VERSION})\n")
# The loader's cache is made anew by a trigger, once for all packages of a run.
file(WRITE "${debian}/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${debian}/shlibs;${debian}/triggers")

# Programs rest on this build of OpenBLAS, which stands outside the folders that the loader knows: hence the run path,
# and a dependency that no other build meets. Beside the trigger CPack writes scripts that make the loader's cache anew, and
# cannot be told not to.
describe_package(library NAME ${library_package} SECTION libs MULTIARCH same SHLIBDEPS
  DEPENDS libopenblas0-openmp
  OVERRIDES "custom-library-search-path RUNPATH *" "maintscript-calls-ldconfig *"
  DESCRIPTION "double-precision linear algebra - shared library\n${about}\n\nThis package holds the shared library.")
describe_package(development NAME liblintrix-dev SECTION libdevel MULTIARCH same
  DEPENDS "${library_package} (= ${LINTRIX_PACKAGE_VERSION})"
  DESCRIPTION "double-precision linear algebra - development files\n${about}\n\nThis package holds the headers and what CMake and pkg-config need.")
describe_package(command NAME lintrix SECTION math SHLIBDEPS
  DEPENDS "${library_package} (= ${LINTRIX_PACKAGE_VERSION})"
  OVERRIDES "custom-library-search-path RUNPATH *"
  DESCRIPTION "double-precision linear algebra - command\n${about}\n\nThis package holds the command lintrix, which reads Matrix Market files.")
# What starts the ranks is of its use; without it not even one rank begins.
describe_package(distributed NAME lintrix-mpi SECTION math SHLIBDEPS
  DEPENDS "${library_package} (= ${LINTRIX_PACKAGE_VERSION}), libopenblas0-openmp, openmpi-bin"
  OVERRIDES "custom-library-search-path RUNPATH *"
  DESCRIPTION "double-precision linear algebra - command for several machines\n${about}\n\nThis package holds the command lintrix-mpi, which solves one sparse system on\nseveral machines over MPI.")
describe_package(documents NAME lintrix-doc SECTION doc MULTIARCH foreign ARCHITECTURE all
  DESCRIPTION "double-precision linear algebra - documents\n${about}\n\nThis package holds the manual and the examples.")
describe_package(python NAME python3-lintrix SECTION python SHLIBDEPS
  DEPENDS "${library_package} (= ${LINTRIX_PACKAGE_VERSION}), ${python_versions}, ${LINTRIX_PYTHON_PACKAGES}"
  OVERRIDES "custom-library-search-path RUNPATH *"
  DESCRIPTION "double-precision linear algebra - Python module\n${about}\n\nThis package holds the module lintrix for Python 3.")

# What Python keeps of a module that it has read goes with the package.
foreach(script IN ITEMS postinst prerm)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/debian/python_${script}.in" "${debian}/${script}" @ONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endforeach()
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA "${debian}/postinst;${debian}/prerm")

include(CPack)
add_custom_target(packages
  COMMAND "${CMAKE_COMMAND}" -E rm -rf "${CPACK_PACKAGE_DIRECTORY}"
  COMMAND "${CMAKE_CPACK_COMMAND}" -G DEB --config "${PROJECT_BINARY_DIR}/CPackConfig.cmake"
  WORKING_DIRECTORY "${PROJECT_BINARY_DIR}" VERBATIM
  COMMENT "Packages: ${CPACK_PACKAGE_DIRECTORY}")
foreach(part IN ITEMS lintrix lintrix_command lintrix_mpi_command lintrix_python)
  if(TARGET ${part})
    add_dependencies(packages ${part})
  endif()
endforeach()
