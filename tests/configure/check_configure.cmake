# Configures the tree anew with OPTIONS; it must be refused or accepted as EXPECT says, and say MESSAGE. CMake
# folds its messages into lines, so runs of blanks count as one.
cmake_minimum_required(VERSION 3.25)

execute_process(
  COMMAND ${CMAKE_COMMAND} --fresh -G Ninja -S "${SOURCE}" -B "${BUILD}" "-DCMAKE_CXX_COMPILER=${CXX}"
    -DLINTRIX_BUILD_TESTS=OFF -DLINTRIX_BUILD_TOOLS=OFF -DLINTRIX_BUILD_BENCH=OFF -DLINTRIX_BUILD_EXAMPLES=OFF
    ${OPTIONS}
  RESULT_VARIABLE code OUTPUT_VARIABLE said ERROR_VARIABLE said)

if(code EQUAL 0)
  set(outcome accepted)
else()
  set(outcome refused)
endif()
if(NOT outcome STREQUAL EXPECT)
  message(FATAL_ERROR "The configuration was ${outcome}, not ${EXPECT}:\n${said}")
endif()

foreach(text said MESSAGE)
  string(REGEX REPLACE "[ \n]+" " " ${text} "${${text}}")
endforeach()
string(FIND "${said}" "${MESSAGE}" at)
if(at EQUAL -1)
  message(FATAL_ERROR "It did not say\n  ${MESSAGE}\nbut\n  ${said}")
endif()
