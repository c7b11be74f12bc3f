# Installs to an empty folder, compares the list of files, and builds examples on what is there, in C99 and in C++: found
# by CMake, and by pkg-config where there is one.
#   BUILD     the build to install          README   the file with the example      WORK  a folder to work in
#   CONSUMER  a project's CMakeLists.txt    EXAMPLES  the folder of small examples
#   COMPILER, CXX_COMPILER, PKG_CONFIG, LIBDIR, VERSION, CONFIG
cmake_minimum_required(VERSION 3.22)
include(${CMAKE_CURRENT_LIST_DIR}/../support/prints.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/../support/process.cmake)

file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})

string(TOLOWER ${CONFIG} config)
holds_installation("installed files" ${prefix})

# The README has one example in C, and the text that it prints.
file(READ ${README} readme)
if(NOT readme MATCHES "```c\n([^`]*)```[^`]*```text\n([^`]*)```")
  message(FATAL_ERROR "no example in ${README}")
endif()
set(source ${WORK}/example.c)
set(text "${CMAKE_MATCH_2}")
file(WRITE ${source} "${CMAKE_MATCH_1}")

run(${CMAKE_COMMAND} -S ${CONSUMER} -B ${WORK}/consumer -DCMAKE_PREFIX_PATH=${prefix} -DC_SOURCE=${source}
  -DCXX_SOURCE=${EXAMPLES}/reporters.cpp -DCMAKE_C_COMPILER=${COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
run(${CMAKE_COMMAND} --build ${WORK}/consumer)
run(${WORK}/consumer/inC)
same("example through find_package" "${output}" "${text}")
run(${WORK}/consumer/inCxx)
vek_prints(${EXAMPLES}/reporters.cpp wanted)
same("example in C++ through find_package" "${output}" "${wanted}")

if(NOT PKG_CONFIG)
  message(STATUS "no pkg-config: only the CMake package was tried")
  return()
endif()
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(${PKG_CONFIG} --modversion vek)
same("version of vek.pc" "${output}" "${VERSION}\n")
run(${PKG_CONFIG} --cflags --libs vek)
separate_arguments(flags UNIX_COMMAND "${output}")
set(flags ${flags} -Wall -Wextra -Wpedantic -Werror -Wl,-rpath,${prefix}/${LIBDIR})
run(${COMPILER} -std=c99 ${source} -o ${WORK}/byPkgConfig ${flags})
run(${WORK}/byPkgConfig)
same("example through pkg-config" "${output}" "${text}")
run(${COMPILER} -std=c99 ${EXAMPLES}/wrap.c -o ${WORK}/picture ${flags})
run(${WORK}/picture)
vek_prints(${EXAMPLES}/wrap.c wanted)
same("picture through pkg-config" "${output}" "${wanted}")
