# Installs to an empty folder, compares the list of files, and builds the example of the README in C99: found by CMake,
# and by pkg-config where there is one.
#   BUILD     the build to install          README   the file with the example      WORK  a folder to work in
#   CONSUMER  a project's CMakeLists.txt    COMPILER, PKG_CONFIG, LIBDIR, VERSION, CONFIG
cmake_minimum_required(VERSION 3.22)

# Runs a command; its output is shown when it fails.
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT result EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "${command}: ${result}\n${out}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

function(same what found wanted)
  if(NOT found STREQUAL wanted)
    message(FATAL_ERROR "${what}: found\n${found}\nwanted\n${wanted}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})

string(TOLOWER ${CONFIG} config)
file(GLOB_RECURSE found LIST_DIRECTORIES false RELATIVE ${prefix} ${prefix}/*)
set(wanted
  include/vek.h
  ${LIBDIR}/cmake/vek/vek-config-version.cmake
  ${LIBDIR}/cmake/vek/vek-config.cmake
  ${LIBDIR}/cmake/vek/vek-targets-${config}.cmake
  ${LIBDIR}/cmake/vek/vek-targets.cmake
  ${LIBDIR}/libvekA6.so
  ${LIBDIR}/libvekA6.so.6
  ${LIBDIR}/pkgconfig/vek.pc)
list(SORT found)
list(SORT wanted)
list(JOIN found "\n" found)
list(JOIN wanted "\n" wanted)
same("installed files" "${found}" "${wanted}")

# The README has one example in C, and the text that it prints.
file(READ ${README} readme)
if(NOT readme MATCHES "```c\n([^`]*)```[^`]*```text\n([^`]*)```")
  message(FATAL_ERROR "no example in ${README}")
endif()
set(source ${WORK}/example.c)
set(text "${CMAKE_MATCH_2}")
file(WRITE ${source} "${CMAKE_MATCH_1}")

run(${CMAKE_COMMAND} -S ${CONSUMER} -B ${WORK}/consumer -DCMAKE_PREFIX_PATH=${prefix} -DSOURCE=${source}
  -DCMAKE_C_COMPILER=${COMPILER})
run(${CMAKE_COMMAND} --build ${WORK}/consumer)
run(${WORK}/consumer/consumer)
same("example through find_package" "${output}" "${text}")

if(NOT PKG_CONFIG)
  message(STATUS "no pkg-config: only the CMake package was tried")
  return()
endif()
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(${PKG_CONFIG} --modversion vek)
same("version of vek.pc" "${output}" "${VERSION}\n")
run(${PKG_CONFIG} --cflags --libs vek)
separate_arguments(flags UNIX_COMMAND "${output}")
run(${COMPILER} -std=c99 -Wall -Wextra -Wpedantic -Werror ${source} -o ${WORK}/byPkgConfig ${flags}
  -Wl,-rpath,${prefix}/${LIBDIR})
run(${WORK}/byPkgConfig)
same("example through pkg-config" "${output}" "${text}")
