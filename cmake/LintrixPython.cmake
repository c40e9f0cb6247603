# Whether there is what the Python package is built with: an interpreter with its headers, pybind11, and NumPy.
#
# Debian's packages are those of /usr/bin/python3, which need not be the first of the path;
# -DPython_EXECUTABLE=/path/to/python3 names another one.

if(NOT DEFINED Python_EXECUTABLE AND NOT DEFINED Python_ROOT_DIR AND EXISTS /usr/bin/python3)
  set(Python_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "The interpreter that the Python package is built for")
endif()
find_package(Python 3.9 QUIET COMPONENTS Interpreter Development.Module NumPy)
if(Python_FOUND)
  find_package(pybind11 2.10 CONFIG QUIET)
endif()

set(python_by_default OFF)
if(Python_FOUND AND pybind11_FOUND)
  message(STATUS "Python package: for ${Python_EXECUTABLE}, ${Python_VERSION}")
  # Programs under a sanitizer load its run time before all else, which an interpreter does not do.
  if(PROJECT_IS_TOP_LEVEL AND LINTRIX_FLAVOUR MATCHES "^(release|debug|hardened)$")
    set(python_by_default ON)
  endif()
elseif(LINTRIX_BUILD_PYTHON)
  message(FATAL_ERROR "LINTRIX_BUILD_PYTHON is on, and Python's headers, NumPy or pybind11 were not found.\n"
    "  On Debian:  apt-get install python3-dev python3-numpy pybind11-dev")
endif()
option(LINTRIX_BUILD_PYTHON "Build the Python package" ${python_by_default})
