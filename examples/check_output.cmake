# Runs PROGRAM; what it prints must be the text of EXPECTED. A number at rounding level, below 1e-12 in size,
# counts as 0.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND "${PROGRAM}" RESULT_VARIABLE code OUTPUT_VARIABLE printed ERROR_VARIABLE complained)
if(NOT code EQUAL 0 OR NOT complained STREQUAL "")
  message(FATAL_ERROR "Exit code ${code}.\n${printed}${complained}")
endif()

file(READ "${EXPECTED}" expected)
string(REGEX REPLACE "-?[0-9](\\.[0-9]+)?e-([1-3][0-9][0-9]|[2-9][0-9]|1[3-9])" "0" rounded "${printed}")
string(REGEX REPLACE "-?0\\.0+e\\+00" "0" rounded "${rounded}")
if(NOT rounded STREQUAL expected)
  message(FATAL_ERROR "Printed:\n${printed}\nexpected:\n${expected}")
endif()
