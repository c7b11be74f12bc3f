# Runs a command and sets `output` to what it printed; the test ends when the command fails.
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT result EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "${command}: ${result}\n${out}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

# Ends the test unless two texts are the same.
function(same what found wanted)
  if(NOT found STREQUAL wanted)
    message(FATAL_ERROR "${what}: found\n${found}\nwanted\n${wanted}")
  endif()
endfunction()

# Ends the test unless a folder holds just the files named.
function(holds what folder)
  file(GLOB_RECURSE found LIST_DIRECTORIES false RELATIVE ${folder} ${folder}/*)
  set(wanted ${ARGN})
  list(SORT found)
  list(SORT wanted)
  list(JOIN found "\n" found)
  list(JOIN wanted "\n" wanted)
  same("${what}" "${found}" "${wanted}")
endfunction()

# Ends the test unless a folder holds just what an installation consists of. LIBDIR and `config` are the caller's.
function(holds_installation what folder)
  holds("${what}" ${folder}
    include/vek.h
    ${LIBDIR}/cmake/vek/vek-config-version.cmake
    ${LIBDIR}/cmake/vek/vek-config.cmake
    ${LIBDIR}/cmake/vek/vek-targets-${config}.cmake
    ${LIBDIR}/cmake/vek/vek-targets.cmake
    ${LIBDIR}/libvekA6.so
    ${LIBDIR}/libvekA6.so.6
    ${LIBDIR}/pkgconfig/vek.pc)
endfunction()
