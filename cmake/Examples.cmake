# The hosts in examples/: the C one through the shared library, the C++ one through the classes.
add_executable(example_host_c ${PROJECT_SOURCE_DIR}/examples/host.c)
target_compile_options(example_host_c PRIVATE -Wall -Wextra -pedantic)
target_link_libraries(example_host_c PRIVATE mlh_shared)
add_executable(example_host_cpp ${PROJECT_SOURCE_DIR}/examples/host.cpp)
target_compile_options(example_host_cpp PRIVATE -Wall -Wextra)
target_link_libraries(example_host_cpp PRIVATE mlh_static)
