# `cmake --install`: program, library, the public header, veska.pc and the CMake package.
# Every path in the installed files is relative to the file, so the tree can be moved.

include(CMakePackageConfigHelpers)

if(TARGET veska)
  install(TARGETS veska)
endif()
install(TARGETS libveska EXPORT VeskaTargets)
install(FILES api/veskalib.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/veska)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Veska)
write_basic_package_version_file(VeskaConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT VeskaTargets NAMESPACE Veska:: FILE VeskaConfig.cmake DESTINATION ${package_dir})
install(FILES ${PROJECT_BINARY_DIR}/VeskaConfigVersion.cmake DESTINATION ${package_dir})

set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pc_to_prefix
  ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/veska.pc.in veska.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/veska.pc DESTINATION ${pkgconfig_dir})
