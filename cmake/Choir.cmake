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

# What gets installed: each stands alone, with the core inside and the functions of the list outside.
set(MLH_CHOIR_LIST ${PROJECT_SOURCE_DIR}/cmake/choir-exports.txt)
set(choir_objects $<TARGET_OBJECTS:mlhchoir_objects> $<TARGET_OBJECTS:mlh_objects> ${MLH_KERNEL_OBJECTS})
mlh_add_static(mlhchoir_static OBJECTS ${choir_objects} LISTS ${MLH_CHOIR_LIST})
set_target_properties(mlhchoir_static PROPERTIES OUTPUT_NAME mlhchoir)
target_include_directories(mlhchoir_static PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)

if(EMSCRIPTEN)
  return() # There are no shared libraries in a browser.
endif()
add_library(mlhchoir_shared SHARED ${choir_objects})
set_target_properties(mlhchoir_shared PROPERTIES OUTPUT_NAME mlhchoir VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
target_include_directories(mlhchoir_shared PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)
mlh_export(mlhchoir_shared mlhchoir LIST ${MLH_CHOIR_LIST} NODE MLHCHOIR_1 SHARED MLH_CHOIR_SHARED)
if(MLH_COVERAGE)
  target_link_options(mlhchoir_static INTERFACE --coverage)
  target_link_options(mlhchoir_shared PRIVATE --coverage)
endif()
