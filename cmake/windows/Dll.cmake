# mlh.dll: its undecorated names come from mlh.def, as do the import libraries of GNU (libmlh.dll.a) and of
# Microsoft's linker (mlh.lib).
list(JOIN MLH_EXPORTS "\n  " exports)
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/mlh.def CONTENT "LIBRARY mlh.dll\nEXPORTS\n  ${exports}\n")
configure_file(${CMAKE_CURRENT_LIST_DIR}/dll.rc.in ${PROJECT_BINARY_DIR}/mlh-dll.rc @ONLY)
enable_language(RC)
target_sources(mlh_shared PRIVATE ${PROJECT_BINARY_DIR}/mlh.def ${PROJECT_BINARY_DIR}/mlh-dll.rc)
set_target_properties(mlh_shared PROPERTIES PREFIX "")
target_compile_definitions(mlh_shared INTERFACE MLH_SHARED)
if(MINGW)
  target_link_options(mlh_shared PRIVATE $<$<CONFIG:Release>:-s>)
  add_custom_command(TARGET mlh_shared POST_BUILD VERBATIM
    COMMAND ${CMAKE_DLLTOOL} --input-def ${PROJECT_BINARY_DIR}/mlh.def --dllname mlh.dll --output-lib ${PROJECT_BINARY_DIR}/mlh.lib)
endif()
