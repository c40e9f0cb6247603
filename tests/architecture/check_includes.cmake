# Which file may include which header. ROOT is the tree to look at; with EXPECTED, the complaints must be exactly
# the lines of that file, which is how this check itself is tested.
#
# A room includes its own headers and those of the rooms behind its arrows:
#   services <- foundation <- dense <- complex <- decompositions <- sparse <- solvers <- systems
#   services <- engine <- solvers          (of the engine, its public headers alone are seen from outside)
#   services <- sparse/kernels <- sparse, solvers
#   sparse <- files
# The engine's floors follow the life of a call:
#   call <- report <- out_of_core <- analysis <- factorization <- solution <- the entry at the top
#   analysis: graph <- ordering <- dissection; graph <- symbolic; matching
#   factorization <- keeping <- the entry at the top
# What the processor has, services alone asks; threads, its teams alone start.
# The command's rooms: support <- input <- a room for each command <- main.
# The distributed system is a user, too, with one inline header of the inside; its command builds on the rooms of tools.
# The command and the examples are users like any other: what lintrix/lintrix.h reaches, outside detail/. And it must
# not reach what is internal beyond doubt.
cmake_minimum_required(VERSION 3.25)
include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/LintrixPublicHeaders.cmake")

set(may_include_services "")
set(may_include_foundation services)
set(may_include_dense services foundation)
set(may_include_complex services foundation dense)
set(may_include_decompositions services foundation dense complex)
set(may_include_sparse services foundation dense complex decompositions sparse/kernels)
set(may_include_files services foundation dense complex sparse)
set(may_include_solvers services foundation dense complex decompositions sparse sparse/kernels engine)
set(may_include_systems ${may_include_solvers} solvers)
set(may_include_engine/call services)
set(may_include_engine/report services engine/call)
set(may_include_engine/out_of_core services engine/call engine/report)
set(may_include_engine/analysis/graph services engine/call)
set(may_include_engine/analysis/matching services engine/call)
set(may_include_engine/analysis/ordering services engine/call engine/analysis/graph)
set(may_include_engine/analysis/dissection services engine/call engine/analysis/graph engine/analysis/ordering)
set(may_include_engine/analysis/symbolic services engine/call engine/out_of_core engine/analysis/graph)
set(may_include_engine/analysis services engine/call engine/report engine/out_of_core
  engine/analysis/graph engine/analysis/matching engine/analysis/ordering engine/analysis/dissection
  engine/analysis/symbolic)
set(may_include_engine/factorization services engine/call engine/report engine/out_of_core
  engine/analysis/graph engine/analysis/symbolic)
set(may_include_engine/solution ${may_include_engine/factorization} engine/factorization)
set(may_include_engine/keeping ${may_include_engine/factorization} engine/factorization)
set(may_include_engine ${may_include_engine/analysis} engine/analysis engine/factorization engine/keeping
  engine/solution)
set(may_include_sparse/kernels services)

set(may_include_tools/support "")
set(may_include_tools/input tools/support)
set(may_include_tools/solve tools/support tools/input)
set(may_include_tools/analyse tools/support tools/input)
set(may_include_tools/convert tools/support tools/input)
set(may_include_tools/eig tools/support tools/input)
set(may_include_tools/info tools/support tools/input)
set(may_include_tools/svd tools/support tools/input)
set(may_include_distributed "")
set(may_include_distributed/command distributed tools/support tools/input tools/solve)
set(shown_to_distributed lintrix/systems/quality/error_free.h)
set(may_include_tools ${may_include_tools/solve} tools/solve tools/analyse tools/convert tools/eig tools/info tools/svd)

lintrix_public_headers("${ROOT}" public_headers)
set(public_headers_of_engine ${public_headers})
list(FILTER public_headers_of_engine INCLUDE REGEX "^lintrix/engine/[^/]+$")
set(internal_beyond_doubt
  "^lintrix/[^/]+/access\\.h$" "^lintrix/sparse/kernels/" "^lintrix/engine/[^/]+/" "^lintrix/services/(blas|lapack|thread_scope)\\.h$")

# The room of a path below lintrix/, with its floor, or of the command; empty for what lies outside, and for the two
# headers above the rooms. The public header of the kernels stands in front of their room and belongs to it.
function(room_of path result)
  set(room "")
  if(path STREQUAL "lintrix/sparse/kernels.h")
    set(room sparse/kernels)
  elseif(path MATCHES "^lintrix/(sparse/kernels|engine/analysis/[^/]+|engine/[^/]+|[^/]+)/")
    set(room "${CMAKE_MATCH_1}")
  elseif(path MATCHES "^(tools/[^/]+|tools|distributed/[^/]+|distributed)/")
    set(room "${CMAKE_MATCH_1}")
  endif()
  set(${result} "${room}" PARENT_SCOPE)
endfunction()

function(complain text)
  set_property(GLOBAL APPEND PROPERTY complaints "${text}")
endfunction()

function(check_include_of_room file room header)
  room_of("${header}" from)
  if(NOT DEFINED may_include_${room})
    complain("${file}: no room is called ${room}")
  elseif(header IN_LIST public_headers_of_engine AND room MATCHES "^(engine/|solvers|systems)")
    return()
  elseif(from MATCHES "^engine" AND NOT room MATCHES "^engine")
    complain("${file}: ${header} is internal to the engine")
  elseif(NOT header STREQUAL "lintrix/version.h" AND NOT from STREQUAL room AND NOT from IN_LIST may_include_${room})
    complain("${file}: ${room} may not include ${header}")
  endif()
endfunction()

function(check_include_of_user file header)
  if(file MATCHES "^distributed/[^/]+$" AND header IN_LIST shown_to_distributed)
    return()
  endif()
  if(header MATCHES "/detail/" OR NOT header IN_LIST public_headers)
    complain("${file}: ${header} is internal to the library")
  endif()
endfunction()

# One place to ask is one place to bound all kernels at once; and one file to look at where another family of processors
# is to be built for.
function(check_questions_to_the_processor file)
  if(file STREQUAL "lintrix/services/processor_family.h")
    return()
  endif()
  file(STRINGS "${ROOT}/${file}" lines REGEX "__builtin_(cpu|ia32)_|<cpuid\\.h>")
  if(lines)
    complain("${file}: asks the processor by itself")
  endif()
  file(STRINGS "${ROOT}/${file}" lines
    REGEX "intrin\\.h>|<arm_[a-z]+\\.h>|target *\\( *\"|target_clones|(^|[^a-z_])_mm[0-9]*_|__m(64|128|256|512)|__(x86_64|i386|aarch64|arm|AVX|SSE)[A-Z0-9a-z_]*__|__asm|[^a-z_]asm *[(v]")
  if(lines)
    complain("${file}: is written for one family of processors")
  endif()
endfunction()

# Threads are started in one place, which knows how many are worth while.
function(check_teams file)
  file(STRINGS "${ROOT}/${file}" lines REGEX "#pragma omp (parallel|for|single|barrier)")
  if(lines AND NOT file STREQUAL "lintrix/services/team.cpp")
    complain("${file}: runs a team by itself")
  endif()
endfunction()

function(check_guard file)
  file(STRINGS "${ROOT}/${file}" lines REGEX "^#pragma once$")
  if(file MATCHES "\\.h$" AND NOT lines)
    complain("${file}: may be read twice in one unit")
  endif()
endfunction()

function(check_file file)
  room_of("${file}" room)
  check_guard("${file}")
  check_teams("${file}")
  check_questions_to_the_processor("${file}")
  file(STRINGS "${ROOT}/${file}" lines REGEX "^[ \t]*#[ \t]*include")
  foreach(line IN LISTS lines)
    if(line MATCHES "<((lintrix|tools|distributed)/[^>]+)>")
      set(header "${CMAKE_MATCH_1}")
      if(file MATCHES "^lintrix/[^/]+/" OR header MATCHES "^(tools|distributed)/")
        check_include_of_room("${file}" "${room}" "${header}")
      else()
        check_include_of_user("${file}" "${header}")
      endif()
    elseif(file MATCHES "^lintrix/" AND line MATCHES "\"([^\"]+)\"")
      complain("${file}: \"${CMAKE_MATCH_1}\" is not included by its path from the root")
    elseif(line MATCHES "\"(lintrix/[^\"]+)\"")
      complain("${file}: ${CMAKE_MATCH_1} is included with quotes")
    endif()
  endforeach()
endfunction()

file(GLOB_RECURSE files RELATIVE "${ROOT}"
  "${ROOT}/lintrix/*.h" "${ROOT}/lintrix/*.cpp" "${ROOT}/tools/*.h" "${ROOT}/tools/*.cpp"
  "${ROOT}/distributed/*.h" "${ROOT}/distributed/*.cpp" "${ROOT}/examples/*.cpp")
list(LENGTH files count)
if(count EQUAL 0)
  message(FATAL_ERROR "No source file below ${ROOT}.")
endif()
foreach(file IN LISTS files)
  check_file("${file}")
endforeach()
foreach(pattern IN LISTS internal_beyond_doubt)
  set(leaks ${public_headers})
  list(FILTER leaks INCLUDE REGEX "${pattern}")
  foreach(header IN LISTS leaks)
    complain("lintrix/lintrix.h reaches ${header}")
  endforeach()
endforeach()
get_property(complaints GLOBAL PROPERTY complaints)

set(expected "")
if(DEFINED EXPECTED)
  file(STRINGS "${EXPECTED}" expected)
endif()
list(SORT complaints)
list(SORT expected)
if(NOT "${complaints}" STREQUAL "${expected}")
  list(JOIN complaints "\n  " found)
  list(JOIN expected "\n  " wanted)
  message(FATAL_ERROR "Complaints:\n  ${found}\nexpected:\n  ${wanted}")
endif()
message(STATUS "${count} files looked at")
