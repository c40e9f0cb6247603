# Writes the paths of the public headers below ROOT to OUT, one a line.
cmake_minimum_required(VERSION 3.25)

include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/LintrixPublicHeaders.cmake")

lintrix_public_headers("${ROOT}" headers)
list(JOIN headers "\n" text)
file(WRITE "${OUT}" "${text}\n")
