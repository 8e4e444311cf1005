# What an installed mlh is: headers, both libraries, the command, CMake's config files and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set_target_properties(mlh_shared PROPERTIES EXPORT_NAME shared)
set_target_properties(mlh_static PROPERTIES EXPORT_NAME static)
install(TARGETS mlh_shared mlh_static EXPORT mlhTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
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

# The file finds its prefix from where it lies: packages are made for another one than the build was.
file(RELATIVE_PATH MLH_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
# How a library is named, shared and static.
function(mlh_pkg_config library)
  set(MLH_PC_SHARED "-l${library}")
  set(MLH_PC_STATIC "-l:lib${library}.a -lstdc++ -lm")
  if(CMAKE_EXECUTABLE_FORMAT STREQUAL "ELF")
    # With --static the shared library is named before the static one; a program that has no use for it must not ask for
    # it when it starts.
    set(MLH_PC_SHARED "-Wl,--push-state,--as-needed -l${library} -Wl,--pop-state")
  endif()
  foreach(pc ${ARGN})
    configure_file(${PROJECT_SOURCE_DIR}/cmake/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  endforeach()
endfunction()
mlh_pkg_config(mlh mlh mlh-static)
install(FILES ${PROJECT_BINARY_DIR}/mlh.pc ${PROJECT_BINARY_DIR}/mlh-static.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(WIN32)
  install(FILES ${PROJECT_BINARY_DIR}/mlh.def ${PROJECT_BINARY_DIR}/mlh.lib DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()

# The choir library.
if(TARGET mlhchoir_shared)
  set_target_properties(mlhchoir_shared PROPERTIES EXPORT_NAME choir_shared)
  set_target_properties(mlhchoir_static PROPERTIES EXPORT_NAME choir_static)
  install(TARGETS mlhchoir_shared mlhchoir_static EXPORT mlhTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  mlh_pkg_config(mlhchoir mlhchoir mlhchoir-static)
  install(FILES ${PROJECT_BINARY_DIR}/mlhchoir.pc ${PROJECT_BINARY_DIR}/mlhchoir-static.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  if(WIN32)
    install(FILES ${PROJECT_BINARY_DIR}/mlhchoir.def ${PROJECT_BINARY_DIR}/mlhchoir.lib DESTINATION ${CMAKE_INSTALL_LIBDIR})
  endif()
endif()

# Documents; the licences of the libraries are there where they are parts of the command.
if(WIN32)
  set(doc_dir .)
else()
  set(doc_dir ${CMAKE_INSTALL_DOCDIR})
endif()
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${doc_dir})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples DESTINATION ${doc_dir} PATTERN "lead" EXCLUDE)
if(WIN32 AND TARGET mlh)
  install(DIRECTORY ${MLH_WINDOWS_LIBRARIES}/licences DESTINATION ${doc_dir} PATTERN "*.new" EXCLUDE)
endif()
