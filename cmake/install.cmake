# What an installation consists of: the module, and for those who build on it the one header and what finds them, for
# CMake and for pkg-config. The two are packages of their own.
include(CMakePackageConfigHelpers)

install(TARGETS vekA6 EXPORT vek-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(FILES ${PROJECT_SOURCE_DIR}/include/vek.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

set(VEK_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vek)
install(EXPORT vek-targets NAMESPACE vek:: DESTINATION ${VEK_PACKAGE_DIR} COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/vek-config.cmake.in ${PROJECT_BINARY_DIR}/vek-config.cmake
  INSTALL_DESTINATION ${VEK_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vek-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vek-config.cmake ${PROJECT_BINARY_DIR}/vek-config-version.cmake
  DESTINATION ${VEK_PACKAGE_DIR} COMPONENT development)

# vek.pc finds its folders from its own place, so an installation may be moved.
file(RELATIVE_PATH VEK_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" VEK_PC_PREFIX "${VEK_PC_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/vek.pc.in ${PROJECT_BINARY_DIR}/vek.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vek.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# Packages: `cpack` in the build folder. Debian's for Linux, libveka6 and libvek-dev; one zip with all for Windows.
set(CPACK_PACKAGE_VENDOR "The VEK developers")
set(CPACK_PACKAGE_CONTACT "The VEK developers <vek@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_COMPONENTS_ALL runtime development)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libveka6)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvek-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "The module that programs load.")
  set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "The header, and the files by which CMake and pkg-config find the module.")
  set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
endif()
include(CPack)
