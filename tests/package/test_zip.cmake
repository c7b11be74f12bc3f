# Makes the zip for Windows and looks at what is in it.
#   BUILD   the build to pack      WORK   a folder to work in      VERSION, CONFIG
cmake_minimum_required(VERSION 3.22)
include(${CMAKE_CURRENT_LIST_DIR}/../support/process.cmake)

string(TOLOWER ${CONFIG} config)
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/unpacked)
run(${CMAKE_CPACK_COMMAND} -G ZIP -C ${CONFIG} --config ${BUILD}/CPackConfig.cmake -B ${WORK}/packages)
file(GLOB zip ${WORK}/packages/vek-${VERSION}-*.zip)
file(ARCHIVE_EXTRACT INPUT ${zip} DESTINATION ${WORK}/unpacked)
file(GLOB folder ${WORK}/unpacked/*)
holds("files of the zip" ${folder}
  bin/vekA6.dll
  include/vek.h
  lib/cmake/vek/vek-config-version.cmake
  lib/cmake/vek/vek-config.cmake
  lib/cmake/vek/vek-targets-${config}.cmake
  lib/cmake/vek/vek-targets.cmake
  lib/libvekA6.dll.a
  lib/pkgconfig/vek.pc)
