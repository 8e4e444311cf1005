# For browsers: WebAssembly by Emscripten, static libraries with the plain loops of level 0. Allocations that fail are
# exceptions inside; the page must be built and linked with -fexceptions too.
add_compile_options(-fexceptions)
add_link_options(-fexceptions)
set(CMAKE_POSITION_INDEPENDENT_CODE OFF)

# The JSON library is headers alone, and those of this machine serve; but nothing beside them may be seen.
find_path(MLH_NLOHMANN nlohmann/json.hpp PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include)
file(CREATE_LINK ${MLH_NLOHMANN}/nlohmann ${PROJECT_BINARY_DIR}/include/nlohmann SYMBOLIC)
add_library(nlohmann_json INTERFACE)
add_library(nlohmann_json::nlohmann_json ALIAS nlohmann_json)
target_include_directories(nlohmann_json SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/include)
