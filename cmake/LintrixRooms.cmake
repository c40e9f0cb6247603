# The words in which the rooms of the house describe themselves.

# add_room(dense matrix.cpp vector.cpp ...): sources of one room, compiled into the library.
function(add_room room)
  list(TRANSFORM ARGN PREPEND "${PROJECT_SOURCE_DIR}/lintrix/${room}/" OUTPUT_VARIABLE sources)
  target_sources(lintrix PRIVATE ${sources})
endfunction()

# add_room_test(dense matrix [LABEL torture] [STARTS_ITSELF] [LIBRARIES ...]): tests/dense/matrix_test.cpp as one
# program, each of its tests known to ctest by its own name and run in a process of its own. A floor of a room, as in
# add_room_test(engine/call handle), is told by the folder; the names of the tests tell the room alone.
# STARTS_ITSELF: its death tests start it anew, by the name under which it runs.
function(add_room_test room unit)
  cmake_parse_arguments(PARSE_ARGV 2 arg "STARTS_ITSELF" "LABEL" "LIBRARIES")
  set(folder "${PROJECT_SOURCE_DIR}/tests/${room}")
  string(REGEX REPLACE "/.*" "" room "${room}")
  set(target "${room}_${unit}_test")
  add_executable(${target} "${folder}/${unit}_test.cpp")
  target_link_libraries(${target} PRIVATE
    Lintrix::lintrix lintrix_flags lintrix_test_support GTest::gmock_main ${arg_LIBRARIES})
  # A test's own code is not what is measured: -O1 compiles in two thirds of the time of -O3.
  target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1>)
  if(NOT "OpenMP::OpenMP_CXX" IN_LIST arg_LIBRARIES)   # which defines a macro that the headers were read without
    target_precompile_headers(${target} REUSE_FROM lintrix_test_headers)
  endif()
  set_target_properties(${target} PROPERTIES LINTRIX_IS_A_TEST ON RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/tests")
  set(labels "${room}")
  if(arg_LABEL)
    set(labels "${room}$<SEMICOLON>${arg_LABEL}")
  endif()
  set(properties LABELS "${labels}" TIMEOUT 300)
  if(LINTRIX_ARCHER_LIBRARY)
    list(APPEND properties ENVIRONMENT "OMP_TOOL_LIBRARIES=${LINTRIX_ARCHER_LIBRARY}")
  endif()
  if(arg_STARTS_ITSELF AND CMAKE_CROSSCOMPILING_EMULATOR)   # the name has to be that of a script
    program_to_start(${target} script)
    set_target_properties(${target} PROPERTIES CROSSCOMPILING_EMULATOR "${CMAKE_CROSSCOMPILING_EMULATOR};-0;${script}")
  endif()
  gtest_discover_tests(${target}
    TEST_PREFIX "${room}." DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 # a busy machine reads a program for seconds
    PROPERTIES ${properties})
endfunction()

# program_to_start(services_probe path): the path by which a test starts a program of this tree. One for another processor
# is started by a script of that name, which has the emulator run it.
function(program_to_start target path)
  if(NOT CMAKE_CROSSCOMPILING OR NOT CMAKE_CROSSCOMPILING_EMULATOR)
    set(${path} "$<TARGET_FILE:${target}>" PARENT_SCOPE)
    return()
  endif()
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "' '" emulator)
  set(script "${CMAKE_CURRENT_BINARY_DIR}/start_${target}")
  file(GENERATE OUTPUT "${script}" CONTENT "#!/bin/sh\nexec '${emulator}' '$<TARGET_FILE:${target}>' \"$@\"\n"
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  set(${path} "${script}" PARENT_SCOPE)
endfunction()
