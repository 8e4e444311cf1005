# The choir library, a guest of the core.
if(NOT TARGET nlohmann_json::nlohmann_json)
  find_package(nlohmann_json REQUIRED)
endif()

file(GLOB_RECURSE MLH_CHOIR_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/choir/*.cpp)
add_library(mlhchoir_objects OBJECT ${MLH_CHOIR_SOURCES})
target_include_directories(mlhchoir_objects PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
target_include_directories(mlhchoir_objects PRIVATE ${PROJECT_SOURCE_DIR}/src)
target_compile_options(mlhchoir_objects PRIVATE ${MLH_COMPILE_OPTIONS})
target_link_libraries(mlhchoir_objects PRIVATE nlohmann_json::nlohmann_json)

# For the command, tests and tools, beside mlh_internal; not installed.
add_library(mlhchoir_internal STATIC $<TARGET_OBJECTS:mlhchoir_objects>)
target_include_directories(mlhchoir_internal PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(mlhchoir_internal PUBLIC mlh_internal)
