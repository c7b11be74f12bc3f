# Runs an example and compares what it prints with what it says; an example has fewer than 80 lines.
#   SOURCE   the example      RUN   the program made of it, and how it is run
cmake_minimum_required(VERSION 3.22)
include(${CMAKE_CURRENT_LIST_DIR}/../support/prints.cmake)

vek_prints(${SOURCE} wanted)
execute_process(COMMAND ${RUN} RESULT_VARIABLE result OUTPUT_VARIABLE found ERROR_VARIABLE errors)
string(REPLACE "\r" "" found "${found}")
if(NOT result EQUAL 0 OR NOT errors STREQUAL "" OR NOT found STREQUAL wanted)
  message(FATAL_ERROR "${RUN}: ${result}\n${errors}printed\n${found}instead of\n${wanted}")
endif()
file(STRINGS ${SOURCE} lines)
list(LENGTH lines count)
if(NOT count LESS 80)
  message(FATAL_ERROR "${SOURCE} has ${count} lines")
endif()
