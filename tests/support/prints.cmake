# Sets `out` to what an example says that it prints, in the comment at its end.
function(vek_prints source out)
  file(READ ${source} text)
  if(NOT text MATCHES "\n/\\* Prints:\n(.*)\\*/\n$")
    message(FATAL_ERROR "${source} does not end with what it prints")
  endif()
  set(${out} "${CMAKE_MATCH_1}" PARENT_SCOPE)
endfunction()
