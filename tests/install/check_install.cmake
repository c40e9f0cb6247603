# One step of the install tests, in a process of its own:
#   install        installs the build tree, then moves the result, so that no test can lean on the first place
#   superproject   configures, builds, runs and installs a project that contains the library's sources
#   find_package   configures, builds and runs a separate project against the installed tree
#   pkg_config     compiles and runs the same program with the flags that pkg-config tells
#   public_headers what is installed is what lintrix/lintrix.h reaches, and each header compiles with no other tree
#   soname         looks at the name by which programs ask for the shared library
#   run_paths      looks for entries that would have the loader search the current folder
#   python         imports the installed Python package, which finds the installed library
#   wrong_version  asks the installed package for a version that it must not answer
cmake_minimum_required(VERSION 3.25)

set(prefix "${WORK}/${KIND} prefix")   # with a blank: quoting is part of what is tested
set(consumer "${CMAKE_CURRENT_LIST_DIR}/consumer")

# A library with its tests beside it also lets out what only they call; a user must do without.
set(user_flags -DLINTRIX_INTERNALS_HIDDEN)

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ECHO STDOUT RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  message(STATUS "${out}${err}")
  if(NOT code EQUAL 0)
    message(FATAL_ERROR "Exit code ${code}.")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

# The program speaks for itself: it solved its system, on the BLAS that the library was built with.
function(check_program path)
  run(${ARGV})
  if(NOT output MATCHES "x = 1 2 3")
    message(FATAL_ERROR "The program did not solve its system.")
  endif()
  cmake_path(GET BLAS PARENT_PATH blas_dir)
  string(FIND "${output}" "BLAS = ${blas_dir}/" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "The program runs on another BLAS than ${BLAS}.")
  endif()
endfunction()

function(configure source build)
  run(${CMAKE_COMMAND} --fresh -G Ninja -S "${source}" -B "${build}"
    "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}"
    ${ARGN})
endfunction()

if(STEP STREQUAL "install")
  file(REMOVE_RECURSE "${WORK}/staging" "${prefix}")
  run(${CMAKE_COMMAND} --install "${BUILD}" --prefix "${WORK}/staging")
  file(RENAME "${WORK}/staging" "${prefix}")
  if(EXISTS "${prefix}/bin/lintrix")
    run("${prefix}/bin/lintrix" --version)
  endif()

elseif(STEP STREQUAL "superproject")
  file(REMOVE_RECURSE "${prefix}")
  set(build "${WORK}/superproject")
  configure("${CMAKE_CURRENT_LIST_DIR}/superproject" "${build}" "-DLINTRIX_SOURCE=${SOURCE}"
    "-DLINTRIX_FLAVOUR=${FLAVOUR}" "-DLINTRIX_BLAS_LIBRARY=${BLAS}"
    "-DCMAKE_CXX_FLAGS_RELEASE=-O0")   # how it is built is tested, not how fast it runs
  run(${CMAKE_COMMAND} --build "${build}" --parallel 2)
  check_program("${build}/consumer")
  run(${CMAKE_COMMAND} --install "${build}" --prefix "${prefix}")

elseif(STEP STREQUAL "find_package")
  set(build "${WORK}/${KIND}_find_package")
  configure("${consumer}" "${build}" "-DCMAKE_PREFIX_PATH=${prefix}" "-DLINTRIX_VERSION=${VERSION}"
    "-DCMAKE_CXX_FLAGS=${user_flags}")
  run(${CMAKE_COMMAND} --build "${build}")
  check_program("${build}/consumer")
  run("${build}/native_entries")
  if(NOT output MATCHES "version = ${VERSION}\n")
    message(FATAL_ERROR "The headers are not those of version ${VERSION}.")
  endif()
  run(${CMAKE_COMMAND} --install "${build}" --prefix "${build}/moved")
  check_program(${CMAKE_COMMAND} -E env "LD_LIBRARY_PATH=${prefix}/lib" "${build}/moved/bin/consumer")

elseif(STEP STREQUAL "pkg_config")
  find_program(pkg_config pkg-config REQUIRED)
  file(GLOB_RECURSE pc "${prefix}/lintrix.pc")
  cmake_path(GET pc PARENT_PATH pc_dir)
  set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
  set(static "")
  if(KIND STREQUAL "static")
    set(static --static)
  endif()
  run("${pkg_config}" ${static} --cflags --libs lintrix)
  separate_arguments(flags UNIX_COMMAND "${output}")
  run("${pkg_config}" --variable=libdir lintrix)
  separate_arguments(libdir UNIX_COMMAND "${output}")   # the answer is quoted for a shell
  set(program "${WORK}/${KIND}_pkg_config_consumer")
  run("${CXX}" -std=c++20 ${user_flags} "${consumer}/consumer.cpp" -o "${program}" ${flags} "-Wl,-rpath,${libdir}")
  check_program("${program}")

elseif(STEP STREQUAL "public_headers")
  include("${SOURCE}/cmake/LintrixPublicHeaders.cmake")
  set(include_dir "${prefix}/include")
  lintrix_public_headers("${include_dir}" reached)
  file(GLOB_RECURSE installed RELATIVE "${include_dir}" "${include_dir}/*")
  list(SORT installed)
  if(NOT "lintrix/lintrix.h" IN_LIST installed OR NOT installed STREQUAL reached)
    list(REMOVE_ITEM installed ${reached})
    message(FATAL_ERROR "Installed, and not reached from lintrix/lintrix.h: ${installed}")
  endif()
  foreach(header IN LISTS installed)
    run("${CXX}" -std=c++20 -Wall -Wextra -Werror ${user_flags} -fsyntax-only "-I${include_dir}"
      -include "${header}" -x c++ /dev/null)
  endforeach()

elseif(STEP STREQUAL "soname")
  string(REGEX MATCH "^0\\.[0-9]+|^[1-9][0-9]*" interface "${VERSION}")   # before 1.0 the minor version counts
  file(GLOB library "${prefix}/lib*/liblintrix.so")
  run("${READELF}" --dynamic "${library}")
  string(FIND "${output}" "soname: [liblintrix.so.${interface}]" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "The shared library is not called liblintrix.so.${interface}.")
  endif()

elseif(STEP STREQUAL "run_paths")
  file(GLOB_RECURSE binaries
    "${BUILD}/bin/lintrix" "${BUILD}/lib*/liblintrix.so" "${prefix}/bin/lintrix" "${prefix}/lib*/liblintrix.so"
    "${prefix}/${PYTHON_DIR}/lintrix/_lintrix*.so")
  list(LENGTH binaries count)
  if(count LESS 2)
    message(FATAL_ERROR "Too few binaries: ${binaries}")
  endif()
  foreach(binary IN LISTS binaries)
    run("${READELF}" --dynamic "${binary}")
    if(NOT output MATCHES "runpath: \\[([^\n]+)\\]\n" OR CMAKE_MATCH_1 MATCHES "^:|::|:$|(^|:)[^/$]")
      message(FATAL_ERROR "${binary}: run path [${CMAKE_MATCH_1}]")
    endif()
  endforeach()

elseif(STEP STREQUAL "python")
  run(${CMAKE_COMMAND} -E env "PYTHONPATH=${prefix}/${PYTHON_DIR}" PYTHONDONTWRITEBYTECODE=1
    "${PYTHON}" "${consumer}/consumer.py")
  cmake_path(GET BLAS PARENT_PATH blas_dir)
  foreach(expected IN ITEMS "x = 1.0 2.0\n" "BLAS = ${blas_dir}/" "library = ${prefix}/lib")
    string(FIND "${output}" "${expected}" at)
    if(at EQUAL -1)
      message(FATAL_ERROR "It did not say: ${expected}")
    endif()
  endforeach()

elseif(STEP STREQUAL "wrong_version")
  execute_process(
    COMMAND ${CMAKE_COMMAND} --fresh -G Ninja -S "${consumer}" -B "${WORK}/wrong_version"
      "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_PREFIX_PATH=${prefix}" -DLINTRIX_VERSION=99.0
    RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(code EQUAL 0 OR NOT err MATCHES "compatible with[ \n]+requested version \"99.0\"")
    message(FATAL_ERROR "A wrong version was not refused (exit code ${code}):\n${err}")
  endif()

else()
  message(FATAL_ERROR "No such step: ${STEP}")
endif()
