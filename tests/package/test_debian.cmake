# Makes the Debian packages, installs them into a folder with a package database of its own, and removes them.
#   BUILD   the build to pack      WORK   a folder to work in      DPKG, DPKG_DEB, LIBDIR, VERSION, CONFIG
cmake_minimum_required(VERSION 3.22)
include(${CMAKE_CURRENT_LIST_DIR}/../support/process.cmake)

string(TOLOWER ${CONFIG} config)
file(REMOVE_RECURSE ${WORK})
set(root ${WORK}/root)
file(MAKE_DIRECTORY ${WORK} ${root}/var/lib/dpkg/updates ${root}/var/lib/dpkg/info)
file(WRITE ${root}/var/lib/dpkg/status "")
file(WRITE ${root}/var/lib/dpkg/available "")
run(${CMAKE_CPACK_COMMAND} -G DEB -C ${CONFIG} --config ${BUILD}/CPackConfig.cmake -B ${WORK}/packages)

run(${DPKG} --print-architecture)
string(STRIP "${output}" architecture)
set(runtime ${WORK}/packages/libveka6_${VERSION}_${architecture}.deb)
set(development ${WORK}/packages/libvek-dev_${VERSION}_${architecture}.deb)
run(${DPKG_DEB} --field ${development} Depends)
if(NOT output MATCHES "libveka6 \\(= ${VERSION}\\)")
  message(FATAL_ERROR "libvek-dev depends on: ${output}")
endif()

# The folder has neither a C library nor a shell: dependencies are not looked at, and the packages' scripts run outside of
# it, where they find a cache of libraries to refresh that is none.
file(WRITE ${WORK}/bin/ldconfig "#!/bin/sh\necho refreshed >>${WORK}/refreshed\n")
file(CHMOD ${WORK}/bin/ldconfig PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
set(ENV{PATH} "${WORK}/bin:$ENV{PATH}:/usr/sbin:/sbin")
set(dpkg ${DPKG} --root=${root} --force-not-root --force-depends --force-script-chrootless --log=${WORK}/log)
run(${dpkg} --install ${runtime} ${development})
holds_installation("files of the packages" ${root}/usr)
if(NOT EXISTS ${WORK}/refreshed)
  message(FATAL_ERROR "the cache of libraries was not refreshed")
endif()
run(${dpkg} --purge libvek-dev libveka6)
holds("files left behind" ${root}/usr)
