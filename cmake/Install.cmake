include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

file(GLOB QXUTILS_PUBLIC_HEADERS ${PROJECT_SOURCE_DIR}/base/utils/*.h ${PROJECT_SOURCE_DIR}/sdk/*.h)
install(FILES ${QXUTILS_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qxutils)
install(TARGETS qxutils EXPORT qxutilsTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qxutils)
install(EXPORT qxutilsTargets NAMESPACE qxutils:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qxutils)

configure_package_config_file(cmake/qxutilsConfig.cmake.in ${PROJECT_BINARY_DIR}/qxutilsConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qxutils)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qxutilsConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qxutilsConfig.cmake ${PROJECT_BINARY_DIR}/qxutilsConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/wxWidgetsTarget.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qxutils)
