# A static library that offers a list of functions and nothing else. An archive of many objects shares every name
# with its host: a host's class of the same name would silently serve the library too, or the library's the host.
# So the objects become one, in which the linker has bound all that they say to each other, and every other name
# becomes local. Of templates of the standard library the host keeps copies of its own.
#
#     mlh_add_static(TARGET OBJECTS... LISTS file...)
#
# The lists hold names of C functions and qualified ones of C++ functions; these promise each overload. Where the tools
# cannot do it the archive stays a plain one and MLH_LOCALISED is off: on Windows, whose object format binds shared
# functions by section names that stay; with linkers that leave groups of sections in their output; and in
# instrumented builds, which nobody installs and whose records go by names.
set(MLH_LOCALISED OFF)
if(CMAKE_EXECUTABLE_FORMAT STREQUAL "ELF" AND CMAKE_LINKER AND CMAKE_OBJCOPY AND NOT MLH_SANITIZE AND NOT MLH_COVERAGE AND NOT MLH_FUZZ)
  execute_process(COMMAND ${CMAKE_LINKER} --help OUTPUT_VARIABLE help ERROR_QUIET)
  if(help MATCHES "--force-group-allocation")
    set(MLH_LOCALISED ON)
  else()
    message(STATUS "${CMAKE_LINKER} cannot make one object of many: the static library offers its inner names, too")
  endif()
endif()

# The pattern of the linker names of a C++ function: mlh::Arrange becomes _ZN3mlh7Arrange[EB]*, with E before its
# parameters and B before a tag.
function(mlh_linker_name name result)
  if(name MATCHES "::")
    string(REPLACE "::" ";" parts "${name}")
    set(pattern "_ZN")
    foreach(part ${parts})
      string(LENGTH "${part}" length)
      string(APPEND pattern "${length}${part}")
    endforeach()
    set(name "${pattern}[EB]*")
  endif()
  set(${result} "${name}" PARENT_SCOPE)
endfunction()

function(mlh_add_static target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "OBJECTS;LISTS")
  if(NOT MLH_LOCALISED)
    add_library(${target} STATIC ${arg_OBJECTS})
    return()
  endif()
  set(patterns "")
  foreach(list ${arg_LISTS})
    file(STRINGS ${list} names REGEX "^[A-Za-z]")
    foreach(name ${names})
      mlh_linker_name(${name} pattern)
      string(APPEND patterns "${pattern}\n")
    endforeach()
  endforeach()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${arg_LISTS})
  set(kept ${PROJECT_BINARY_DIR}/${target}.symbols)
  file(CONFIGURE OUTPUT ${kept} CONTENT "${patterns}" @ONLY)
  set(object ${PROJECT_BINARY_DIR}/CMakeFiles/${target}.o)
  add_custom_command(OUTPUT ${object} DEPENDS ${arg_OBJECTS} ${kept} COMMAND_EXPAND_LISTS VERBATIM
    COMMAND ${CMAKE_LINKER} -r --force-group-allocation -o ${object} ${arg_OBJECTS}
    COMMAND ${CMAKE_OBJCOPY} --wildcard --keep-global-symbols=${kept} ${object}
    COMMENT "Keeping the promised names of ${target}")
  # From the source, which is empty, CMake knows that hosts in C need the C++ library.
  set(language ${PROJECT_BINARY_DIR}/CMakeFiles/${target}.language.cpp)
  file(CONFIGURE OUTPUT ${language} CONTENT "")
  add_library(${target} STATIC ${object} ${language})
  set_source_files_properties(${object} PROPERTIES EXTERNAL_OBJECT TRUE GENERATED TRUE)
endfunction()
