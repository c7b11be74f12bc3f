# What an installation consists of: the module, its one header, and what finds them, for CMake and for pkg-config.
include(CMakePackageConfigHelpers)

install(TARGETS vekA6 EXPORT vek-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/vek.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(VEK_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vek)
install(EXPORT vek-targets NAMESPACE vek:: DESTINATION ${VEK_PACKAGE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/vek-config.cmake.in ${PROJECT_BINARY_DIR}/vek-config.cmake
  INSTALL_DESTINATION ${VEK_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vek-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vek-config.cmake ${PROJECT_BINARY_DIR}/vek-config-version.cmake
  DESTINATION ${VEK_PACKAGE_DIR})

# vek.pc finds its folders from its own place, so an installation may be moved.
file(RELATIVE_PATH VEK_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" VEK_PC_PREFIX "${VEK_PC_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/vek.pc.in ${PROJECT_BINARY_DIR}/vek.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vek.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
