# Cross build for 64-bit ARM with Debian's compiler (g++-aarch64-linux-gnu) against the libraries of a folder that
# cmake/toolchains/make_sysroot fills. With qemu-user-static at hand the build asks its questions and the tests run.
#
# LINTRIX_SYSROOT   the folder; build/sysroot-aarch64 where it is not told

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES LINTRIX_SYSROOT)
cmake_path(SET sysroot NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot-aarch64")
set(LINTRIX_SYSROOT "${sysroot}" CACHE PATH "Libraries of the other processor")
if(NOT EXISTS "${LINTRIX_SYSROOT}/usr")
  message(FATAL_ERROR "${LINTRIX_SYSROOT} is empty: cmake/toolchains/make_sysroot arm64 ${LINTRIX_SYSROOT}")
endif()

set(CMAKE_FIND_ROOT_PATH "${LINTRIX_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Where the loader looks by itself, the emulator's too, and so no run path names them. The linker has to be told, for what
# the libraries themselves need: zlib stands in the second, and the run path of OpenBLAS counts from the other root.
set(loader_folders "${LINTRIX_SYSROOT}/usr/lib/aarch64-linux-gnu" "${LINTRIX_SYSROOT}/lib/aarch64-linux-gnu")
set(CMAKE_PLATFORM_IMPLICIT_LINK_DIRECTORIES "${loader_folders}")
list(JOIN loader_folders ":" rpath_link)
string(PREPEND rpath_link "-Wl,-rpath-link,")
string(APPEND rpath_link ":${LINTRIX_SYSROOT}/usr/lib/aarch64-linux-gnu/openblas-openmp")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${rpath_link}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${rpath_link}")

find_program(LINTRIX_QEMU_AARCH64 NAMES qemu-aarch64-static qemu-aarch64 DOC "Emulator of 64-bit ARM")
if(LINTRIX_QEMU_AARCH64)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${LINTRIX_QEMU_AARCH64};-L;${LINTRIX_SYSROOT}")
endif()
