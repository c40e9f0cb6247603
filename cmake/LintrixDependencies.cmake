# What the library and the programs rest on, told once: the bill of materials (target `sbom`) is made of it, and tests hold
# it and docs/licences.md against what is really linked. Included last, when all has been found.

set(lintrix_dependencies "")

# add_dependency(name LICENCE spdx-expression VERSION text URL url USED_BY parts... [FILES stems...]
#                [TARGETS imported targets...]): the parts are library, command, distributed and python. FILES are the shared
# libraries' names without version, none where headers alone are compiled in.
macro(add_dependency name)
  cmake_parse_arguments(dep "" "LICENCE;VERSION;URL" "USED_BY;FILES;TARGETS" ${ARGN})
  if(NOT dep_VERSION)
    set(dep_VERSION NOASSERTION)
  endif()
  foreach(several IN ITEMS USED_BY FILES TARGETS)
    list(JOIN dep_${several} " " dep_${several})
  endforeach()
  list(APPEND lintrix_dependencies
    "${name}|${dep_VERSION}|${dep_LICENCE}|${dep_URL}|${dep_USED_BY}|${dep_FILES}|${dep_TARGETS}")
endmacro()

# found_version(folder variable): the version as the folder's find_package left it.
macro(found_version folder variable result)
  get_directory_property(${result} DIRECTORY "${PROJECT_SOURCE_DIR}/${folder}" DEFINITION ${variable})
endmacro()

set(blas_version "")
cmake_path(GET LINTRIX_BLAS_LIBRARY PARENT_PATH blas_folder)
if(EXISTS "${blas_folder}/pkgconfig/openblas.pc")
  file(STRINGS "${blas_folder}/pkgconfig/openblas.pc" line REGEX "^version=")
  string(REPLACE "version=" "" blas_version "${line}")
endif()
found_version(lintrix METIS_VERSION metis_version)
found_version(lintrix ZLIB_VERSION_STRING zlib_version)
found_version(lintrix fmt_VERSION fmt_version)
set(all_parts library command distributed python)
set(gcc_licence "GPL-3.0-or-later WITH GCC-exception-3.1")
set(gcc_version "")
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(gcc_version "${CMAKE_CXX_COMPILER_VERSION}")
endif()

add_dependency(OpenBLAS LICENCE BSD-3-Clause VERSION "${blas_version}" USED_BY library distributed FILES libopenblas
  URL "https://github.com/OpenMathLib/OpenBLAS" TARGETS Lintrix::blas)
add_dependency(METIS LICENCE Apache-2.0 VERSION "${metis_version}" USED_BY library FILES libmetis
  URL "https://github.com/KarypisLab/METIS" TARGETS METIS::METIS)
add_dependency(zlib LICENCE Zlib VERSION "${zlib_version}" USED_BY library command distributed FILES libz
  URL "https://zlib.net" TARGETS ZLIB::ZLIB)
add_dependency(fmt LICENCE MIT VERSION "${fmt_version}" USED_BY library command distributed FILES libfmt
  URL "https://github.com/fmtlib/fmt" TARGETS fmt::fmt fmt::fmt-header-only)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  add_dependency(libomp LICENCE "Apache-2.0 WITH LLVM-exception" VERSION "${CMAKE_CXX_COMPILER_VERSION}"
    USED_BY library distributed FILES libomp URL "https://openmp.llvm.org" TARGETS OpenMP::OpenMP_CXX)
else()
  add_dependency(libgomp LICENCE "${gcc_licence}" VERSION "${gcc_version}" USED_BY library distributed FILES libgomp
    URL "https://gcc.gnu.org" TARGETS OpenMP::OpenMP_CXX)
endif()
add_dependency(libstdc++ LICENCE "${gcc_licence}" VERSION "${gcc_version}" USED_BY ${all_parts}
  FILES libstdc++ URL "https://gcc.gnu.org")
add_dependency(libgcc LICENCE "${gcc_licence}" VERSION "${gcc_version}" USED_BY ${all_parts}
  FILES libgcc_s URL "https://gcc.gnu.org")
add_dependency(glibc LICENCE LGPL-2.1-or-later USED_BY ${all_parts} FILES libc
  URL "https://www.gnu.org/software/libc/")
if(TARGET lintrix_command)
  found_version(tools PNG_VERSION_STRING png_version)
  found_version(tools CLI11_VERSION cli11_version)
  add_dependency(libpng LICENCE libpng-2.0 VERSION "${png_version}" USED_BY command distributed FILES libpng16
    URL "http://www.libpng.org" TARGETS PNG::PNG)
  add_dependency(CLI11 LICENCE BSD-3-Clause VERSION "${cli11_version}" USED_BY command distributed
    URL "https://github.com/CLIUtils/CLI11" TARGETS CLI11::CLI11)
endif()
if(TARGET lintrix_mpi_command)
  add_dependency("Open MPI" LICENCE BSD-3-Clause-Open-MPI USED_BY distributed FILES libmpi libmpi_cxx
    URL "https://www.open-mpi.org" TARGETS MPI::MPI_CXX)
  add_dependency(MUMPS LICENCE CECILL-C USED_BY distributed FILES libdmumps libzmumps
    URL "https://mumps-solver.org" TARGETS Lintrix::mumps)
endif()
if(TARGET lintrix_python)
  found_version(bindings/python pybind11_VERSION pybind11_version)
  add_dependency(pybind11 LICENCE BSD-3-Clause VERSION "${pybind11_version}" USED_BY python
    URL "https://github.com/pybind/pybind11" TARGETS pybind11::module pybind11::headers pybind11::pybind11)
  add_dependency(CPython LICENCE Python-2.0.1 VERSION "${Python_VERSION}" USED_BY python URL "https://www.python.org"
    TARGETS Python::Module)
endif()

# The targets that are linked, whatever the table says, and what is made of them: part, name, file.
set(linked "")
set(parts "library|liblintrix|$<TARGET_FILE:lintrix>\n")
foreach(program IN ITEMS "lintrix_command|command|lintrix" "lintrix_mpi_command|distributed|lintrix-mpi"
    "lintrix_python|python|python3-lintrix")
  string(REPLACE "|" ";" program "${program}")
  list(POP_FRONT program target part name)
  if(TARGET ${target})
    string(APPEND parts "${part}|${name}|$<TARGET_FILE:${target}>\n")
  endif()
endforeach()
file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/sbom/parts.txt" CONTENT "${parts}")
foreach(target IN ITEMS lintrix lintrix_tool_parts lintrix_command lintrix_distributed lintrix_mpi_command lintrix_python)
  if(TARGET ${target})
    get_target_property(libraries ${target} LINK_LIBRARIES)
    list(APPEND linked ${libraries})
  endif()
endforeach()
string(REPLACE ";" "\n" linked "${linked}")
string(REPLACE ";" "\n" rows "${lintrix_dependencies}")
file(WRITE "${PROJECT_BINARY_DIR}/sbom/linked.txt" "${linked}\n")
file(WRITE "${PROJECT_BINARY_DIR}/sbom/dependencies.txt" "${rows}\n")

set(LINTRIX_SBOM "${PROJECT_BINARY_DIR}/lintrix.spdx.json")
add_custom_target(sbom
  COMMAND "${CMAKE_COMMAND}" -D TABLE=${PROJECT_BINARY_DIR}/sbom/dependencies.txt -D VERSION=${PROJECT_VERSION}
    -D PARTS=${PROJECT_BINARY_DIR}/sbom/parts.txt -D OUT=${LINTRIX_SBOM}
    -P "${PROJECT_SOURCE_DIR}/cmake/release/make_sbom.cmake"
  VERBATIM COMMENT "Bill of materials: ${LINTRIX_SBOM}")
foreach(part IN ITEMS lintrix lintrix_command lintrix_mpi_command lintrix_python)
  if(TARGET ${part})
    add_dependencies(sbom ${part})
  endif()
endforeach()

include(LintrixPublicHeaders)
lintrix_public_headers("${PROJECT_SOURCE_DIR}" headers)
string(REPLACE ";" "\n" headers "${headers}")
file(WRITE "${PROJECT_BINARY_DIR}/sbom/public_headers.txt" "${headers}\n")
