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
if(Python_FOUND AND pybind11_FOUND)
  set(LINTRIX_PYTHON_FOUND ON)
  message(STATUS "Python package: for ${Python_EXECUTABLE}, ${Python_VERSION}")
else()
  set(LINTRIX_PYTHON_FOUND OFF)
endif()
