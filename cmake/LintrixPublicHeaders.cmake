# What the library offers, by one rule: lintrix/lintrix.h, lintrix/eigen.h, and every header that they reach. These are
# installed and nothing else is; and of these a user may name what lies outside detail/.

# lintrix_public_headers(root result): the paths from `root`, sorted.
function(lintrix_public_headers root result)
  set(reached "")
  set(waiting lintrix/lintrix.h lintrix/eigen.h)
  while(waiting)
    list(POP_FRONT waiting header)
    if(header IN_LIST reached OR NOT EXISTS "${root}/${header}")
      continue()
    endif()
    list(APPEND reached "${header}")
    file(STRINGS "${root}/${header}" lines REGEX "^[ \t]*#[ \t]*include[ \t]*<lintrix/")
    foreach(line IN LISTS lines)
      string(REGEX REPLACE ".*<(lintrix/[^>]+)>.*" "\\1" included "${line}")
      list(APPEND waiting "${included}")
    endforeach()
  endwhile()
  list(SORT reached)
  set(${result} "${reached}" PARENT_SCOPE)
endfunction()
