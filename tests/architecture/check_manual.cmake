# The manual covers what the library offers: each public header outside detail/ is named in it by its whole path, and it
# names no header that a user cannot include. ROOT is the tree to look at.
cmake_minimum_required(VERSION 3.25)

include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/LintrixPublicHeaders.cmake")

lintrix_public_headers("${ROOT}" headers)
list(FILTER headers EXCLUDE REGEX "/detail/")
list(LENGTH headers count)
if(count LESS 30)
  message(FATAL_ERROR "Only ${count} public headers below ${ROOT}.")
endif()

file(READ "${ROOT}/docs/manual.md" manual)
string(REGEX MATCHALL "lintrix/[a-z0-9_/]+\\.h" named "${manual}")
list(REMOVE_DUPLICATES named)

set(complaints "")
foreach(header IN LISTS headers)
  if(NOT header IN_LIST named)
    list(APPEND complaints "docs/manual.md does not name ${header}")
  endif()
endforeach()
foreach(header IN LISTS named)
  if(NOT header IN_LIST headers)
    list(APPEND complaints "docs/manual.md names ${header}, which is no public header")
  endif()
endforeach()

if(complaints)
  list(JOIN complaints "\n  " text)
  message(FATAL_ERROR "Complaints:\n  ${text}")
endif()
message(STATUS "${count} public headers looked for")
