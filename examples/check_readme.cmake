# The C++ program in README must be PROGRAM, to the letter.
cmake_minimum_required(VERSION 3.25)

file(READ "${README}" readme)
file(READ "${PROGRAM}" program)
string(FIND "${readme}" "```cpp\n${program}```\n" at)
if(at EQUAL -1)
  message(FATAL_ERROR "${README} does not show ${PROGRAM} as it stands.")
endif()
