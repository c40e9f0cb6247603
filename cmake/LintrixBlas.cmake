# BLAS and LAPACK: the OpenMP build of OpenBLAS, found by its own folder.
#
# Every OpenBLAS build of the distribution carries the same library name, and the default of the alternatives
# system may be the pthread build, which does not follow the thread count of this library. So the OpenMP build
# is linked by full path and its folder stays in the RUNPATH. Before it is accepted, two small programs check
# that it really is threaded by OpenMP, and that a bad argument returns to the caller: the reference LAPACK
# ends the process there.
#
# LINTRIX_BLAS_LIBRARY       path of another library to use
# LINTRIX_ACCEPT_ANY_BLAS    skip the two checks (the thread count may then not be followed)

option(LINTRIX_ACCEPT_ANY_BLAS "Use LINTRIX_BLAS_LIBRARY even if the checks on it fail" OFF)

if(NOT LINTRIX_BLAS_LIBRARY)
  find_library(LINTRIX_BLAS_LIBRARY openblas
    PATHS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/openblas-openmp /usr/lib/x86_64-linux-gnu/openblas-openmp
          /usr/lib64/openblas-openmp /opt/openblas-openmp/lib
    NO_DEFAULT_PATH
    DOC "OpenBLAS, OpenMP build")
endif()
if(NOT LINTRIX_BLAS_LIBRARY)
  message(FATAL_ERROR
    "The OpenMP build of OpenBLAS was not found.\n"
    "  On Debian:  apt-get install libopenblas-openmp-dev\n"
    "  Elsewhere:  cmake -DLINTRIX_BLAS_LIBRARY=/path/to/libopenblas.so")
endif()

# Runs cmake/checks/NAME.cpp against the library; exit code 0 is a pass. The verdict is kept for this library.
function(lintrix_check_blas name result)
  set(key "${LINTRIX_BLAS_LIBRARY}")
  if(NOT LINTRIX_BLAS_CHECKED_${name} STREQUAL key)
    get_filename_component(dir "${LINTRIX_BLAS_LIBRARY}" DIRECTORY)
    # A flavour's flags are not wanted here: the check is about the library alone.
    try_run(exit_code compiled "${PROJECT_BINARY_DIR}/checks"
      "${PROJECT_SOURCE_DIR}/cmake/checks/${name}.cpp"
      LINK_LIBRARIES "${LINTRIX_BLAS_LIBRARY}" "-Wl,-rpath,${dir}"
      COMPILE_OUTPUT_VARIABLE compile_output
      RUN_OUTPUT_VARIABLE run_output)
    set(passed OFF)
    if(compiled AND exit_code EQUAL 0 AND run_output MATCHES "check passed")
      set(passed ON)
    endif()
    set(LINTRIX_BLAS_CHECKED_${name} "${key}" CACHE INTERNAL "")
    set(LINTRIX_BLAS_${name}_PASSED ${passed} CACHE INTERNAL "")
  endif()
  set(${result} ${LINTRIX_BLAS_${name}_PASSED} PARENT_SCOPE)
endfunction()

set(LINTRIX_BLAS_IS_OPENBLAS ON)
if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
  message(WARNING "Nothing is at hand that runs programs of this processor: ${LINTRIX_BLAS_LIBRARY} is taken unchecked.")
  set(LINTRIX_BLAS_IS_OPENMP ON)
  set(LINTRIX_BLAS_RETURNS ON)
else()
  lintrix_check_blas(blas_threading LINTRIX_BLAS_IS_OPENMP)
  lintrix_check_blas(blas_bad_argument LINTRIX_BLAS_RETURNS)
endif()
if(NOT LINTRIX_BLAS_IS_OPENMP)
  set(LINTRIX_BLAS_IS_OPENBLAS OFF)
  set(complaint "${LINTRIX_BLAS_LIBRARY} is not the OpenMP build of OpenBLAS: it would not follow the thread count of this library.")
elseif(NOT LINTRIX_BLAS_RETURNS)
  set(complaint "${LINTRIX_BLAS_LIBRARY} ends the process when a routine is given a bad argument.")
endif()
if(complaint)
  if(LINTRIX_ACCEPT_ANY_BLAS)
    message(WARNING "${complaint} Taken all the same, since LINTRIX_ACCEPT_ANY_BLAS is on.")
  else()
    message(FATAL_ERROR "${complaint}\n"
      "  On Debian:  apt-get install libopenblas-openmp-dev, and leave LINTRIX_BLAS_LIBRARY unset\n"
      "  To use it all the same:  cmake -DLINTRIX_ACCEPT_ANY_BLAS=ON")
  endif()
endif()

# Its folder on the machine that programs run on: a cross build has it below the root of what it links.
get_filename_component(LINTRIX_BLAS_DIR "${LINTRIX_BLAS_LIBRARY}" DIRECTORY)
foreach(root IN LISTS CMAKE_FIND_ROOT_PATH)
  string(REGEX REPLACE "^${root}/" "/" LINTRIX_BLAS_DIR "${LINTRIX_BLAS_DIR}")
endforeach()
add_library(Lintrix::blas UNKNOWN IMPORTED GLOBAL)
set_target_properties(Lintrix::blas PROPERTIES IMPORTED_LOCATION "${LINTRIX_BLAS_LIBRARY}")
message(STATUS "BLAS and LAPACK: ${LINTRIX_BLAS_LIBRARY}")
