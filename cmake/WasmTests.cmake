# Programs of the project's tests that run under Node, each one file: this compiler's loader would look for a second one
# on a web server where Node has a function named fetch.
file(GLOB MLH_WASM_SUPPORT CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/support/SyntheticSinger.cpp
     ${PROJECT_SOURCE_DIR}/tests/support/Recordings.cpp ${PROJECT_SOURCE_DIR}/tests/support/Paths.cpp)
set_source_files_properties(${PROJECT_SOURCE_DIR}/tests/support/Paths.cpp PROPERTIES COMPILE_DEFINITIONS
  "MLH_SOURCE_DIR=\"${PROJECT_SOURCE_DIR}\";MLH_BINARY_DIR=\"${PROJECT_BINARY_DIR}\"")
function(add_wasm_tool name)
  add_executable(tool_${name} ${PROJECT_SOURCE_DIR}/tests/tools/${name}.cpp ${MLH_WASM_SUPPORT})
  set_target_properties(tool_${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tools)
  target_include_directories(tool_${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_compile_options(tool_${name} PRIVATE -Wall -Wextra -ffp-contract=off)
  target_link_libraries(tool_${name} PRIVATE ${ARGN})
  target_link_options(tool_${name} PRIVATE -sSINGLE_FILE=1 -sALLOW_MEMORY_GROWTH=1)
endfunction()
add_wasm_tool(Fingerprint mlh_internal)
if(TARGET mlhchoir_internal)
  add_wasm_tool(ChoirFingerprint mlhchoir_internal)
endif()
