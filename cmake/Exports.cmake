# Of a shared library only the functions of a list are seen.
#
#     mlh_export(TARGET name LIST file NODE version SHARED macro)
#
# On Windows they go by their undecorated names, the library's file is called name.dll, its import libraries
# libname.dll.a for GNU's linker and name.lib for Microsoft's, and hosts may define the macro. Elsewhere each bears the version NODE, and what the
# library calls is its own, whatever functions of these names a host may have.
function(mlh_export target name)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "LIST;NODE;SHARED" "")
  file(STRINGS ${arg_LIST} names REGEX "^[A-Za-z]")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${arg_LIST})
  if(WIN32)
    list(JOIN names "\n  " exports)
    set(definition ${PROJECT_BINARY_DIR}/${name}.def)
    file(CONFIGURE OUTPUT ${definition} CONTENT "LIBRARY ${name}.dll\nEXPORTS\n  ${exports}\n")
    set(MLH_DLL ${name})
    configure_file(${PROJECT_SOURCE_DIR}/cmake/windows/dll.rc.in ${PROJECT_BINARY_DIR}/${name}-dll.rc @ONLY)
    target_sources(${target} PRIVATE ${definition} ${PROJECT_BINARY_DIR}/${name}-dll.rc)
    set_target_properties(${target} PROPERTIES PREFIX "")
    target_compile_definitions(${target} INTERFACE ${arg_SHARED})
    if(MINGW)
      target_link_options(${target} PRIVATE $<$<CONFIG:Release>:-s>)
      add_custom_command(TARGET ${target} POST_BUILD VERBATIM
        COMMAND ${CMAKE_DLLTOOL} --input-def ${definition} --dllname ${name}.dll --output-lib ${PROJECT_BINARY_DIR}/${name}.lib)
    endif()
    return()
  endif()
  list(JOIN names ";\n    " exports)
  set(script ${PROJECT_BINARY_DIR}/${name}.symbols)
  file(CONFIGURE OUTPUT ${script} CONTENT "${arg_NODE} {\n  global:\n    ${exports};\n  local:\n    *;\n};\n" @ONLY)
  target_link_options(${target} PRIVATE LINKER:--version-script=${script} LINKER:-Bsymbolic-functions)
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${script})
endfunction()
if(WIN32)
  enable_language(RC)
endif()
