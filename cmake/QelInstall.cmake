# Install rules, the CMake package "qel" and the pkg-config files "qel" and "qel-static".
include(CMakePackageConfigHelpers)

set(qel_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qel)

install(TARGETS qel_shared qel_static qel_toolslog qel_plugins EXPORT qelTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT qelTargets NAMESPACE qel:: DESTINATION ${qel_cmake_dir})

# A client sees the upper layer and the plain layer's headers; the back-ends' sources stay behind.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/qel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN win32 EXCLUDE PATTERN posix EXCLUDE)
install(FILES ${PROJECT_SOURCE_DIR}/companions/toolslog/qelixToolsLog.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/companions/toolslog)
install(FILES ${PROJECT_SOURCE_DIR}/companions/plugins/qelixPlugins.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/companions/plugins)

configure_package_config_file(cmake/qelConfig.cmake.in ${PROJECT_BINARY_DIR}/qelConfig.cmake
  INSTALL_DESTINATION ${qel_cmake_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qelConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/qelConfig.cmake
  ${PROJECT_BINARY_DIR}/qelConfigVersion.cmake
  cmake/FindTrio.cmake
  DESTINATION ${qel_cmake_dir})

foreach(name qel qel-static)
  configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
