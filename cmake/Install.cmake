# What an installed mlh is: headers, both libraries, the command, CMake's config files and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set_target_properties(mlh_shared PROPERTIES EXPORT_NAME shared)
set_target_properties(mlh_static PROPERTIES EXPORT_NAME static)
install(TARGETS mlh_shared mlh_static EXPORT mlhTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/mlh DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET mlh)
  install(TARGETS mlh RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/mlh)
install(EXPORT mlhTargets NAMESPACE mlh:: DESTINATION ${config_dir})
file(WRITE ${PROJECT_BINARY_DIR}/mlhConfig.cmake "include(\${CMAKE_CURRENT_LIST_DIR}/mlhTargets.cmake)\n")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/mlhConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/mlhConfig.cmake ${PROJECT_BINARY_DIR}/mlhConfigVersion.cmake DESTINATION ${config_dir})

configure_file(${PROJECT_SOURCE_DIR}/cmake/mlh.pc.in ${PROJECT_BINARY_DIR}/mlh.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/mlh.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
