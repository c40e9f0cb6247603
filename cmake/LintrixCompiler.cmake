# Language level, compiler cache, warnings and the build flavours.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

find_program(LINTRIX_CCACHE ccache)
if(LINTRIX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Without these two it would leave alone what is compiled with a precompiled header.
  set(CMAKE_CXX_COMPILER_LAUNCHER
    "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros "${LINTRIX_CCACHE}")
endif()

# What every target of this project is compiled with; never handed on to a user's target.
add_library(lintrix_flags INTERFACE)
# No contraction to fused operations: the contract fixes formulas down to the order of operations.
target_compile_options(lintrix_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -ffp-contract=off)
# Clang warns of each loop marked `omp simd` that it leaves as it is, which is its choice to make.
target_compile_options(lintrix_flags INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wno-pass-failed>)

set(LINTRIX_HARDENED OFF)
set(LINTRIX_TESTABLE ${LINTRIX_BUILD_TESTS})
if(LINTRIX_FLAVOUR STREQUAL "release")
elseif(LINTRIX_FLAVOUR STREQUAL "debug")
  target_compile_definitions(lintrix_flags INTERFACE _GLIBCXX_ASSERTIONS)
elseif(LINTRIX_FLAVOUR STREQUAL "asan")
  # What takes time to compile and adds no check is left out: GCC's points-to analysis, four fifths of the minutes that
  # the checks in the unrolled kernels of supernode_update.cpp cost; what a debugger wants beyond the lines that a report
  # names; and what makes the tests' own code fast.
  target_compile_options(lintrix_flags INTERFACE
    -O$<IF:$<BOOL:$<TARGET_PROPERTY:LINTRIX_IS_A_TEST>>,0,1> -g1 $<$<CXX_COMPILER_ID:GNU>:-fno-tree-pta>
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(lintrix_flags INTERFACE -fsanitize=address,undefined)
elseif(LINTRIX_FLAVOUR STREQUAL "tsan")
  target_compile_options(lintrix_flags INTERFACE -O1 -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(lintrix_flags INTERFACE -fsanitize=thread)
elseif(LINTRIX_FLAVOUR STREQUAL "coverage")
  target_compile_options(lintrix_flags INTERFACE -O0 --coverage)
  target_link_options(lintrix_flags INTERFACE --coverage)
elseif(LINTRIX_FLAVOUR STREQUAL "fuzz")
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "LINTRIX_FLAVOUR=fuzz needs Clang, which has libFuzzer.")
  endif()
  target_compile_options(lintrix_flags INTERFACE
    -O1 -g1 -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(lintrix_flags INTERFACE -fsanitize=address,undefined)
elseif(LINTRIX_FLAVOUR STREQUAL "hardened")
  set(LINTRIX_HARDENED ON)
  target_compile_definitions(lintrix_flags INTERFACE _GLIBCXX_ASSERTIONS _FORTIFY_SOURCE=2)
  target_compile_options(lintrix_flags INTERFACE -fstack-protector-strong -fcf-protection)
  target_link_options(lintrix_flags INTERFACE -Wl,-z,relro,-z,now)
else()
  message(FATAL_ERROR "LINTRIX_FLAVOUR is '${LINTRIX_FLAVOUR}'; it must be release, debug, asan, tsan, coverage, fuzz or hardened.")
endif()
