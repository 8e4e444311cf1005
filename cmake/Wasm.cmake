# For browsers: WebAssembly by Emscripten, static libraries with the plain loops of level 0. Allocations that fail are
# exceptions inside; the page must be built and linked with -fexceptions too.
add_compile_options(-fexceptions)
add_link_options(-fexceptions)
set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
