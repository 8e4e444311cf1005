# The core: one set of objects, linked into a shared library that exports the C functions alone, into a static one
# that offers the classes of the headers too, and into an archive for the tests, which use what is inside.
file(GLOB_RECURSE MLH_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.cpp)
list(FILTER MLH_SOURCES EXCLUDE REGEX "/src/dsp/kernels/")

# Rounding is part of the contract: no contraction of multiply-adds and no fast-math, in any build type. Nobody
# reads errno, for whose sake a root would be a call.
set(MLH_COMPILE_OPTIONS -Wall -Wextra -ffp-contract=off -fno-math-errno -fvisibility=hidden -fvisibility-inlines-hidden)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Static members would else be one for the whole process, whatever options the linker gets, and never be unloaded.
  list(APPEND MLH_COMPILE_OPTIONS -fno-gnu-unique)
endif()
if(MLH_FUZZ)
  # What samples are compared with is of no use to the fuzzing engine, and watching it takes half of the time.
  list(APPEND MLH_COMPILE_OPTIONS -fno-sanitize-coverage=trace-cmp)
endif()
if(MLH_COVERAGE)
  # Of the library alone. Little is merged and nothing inlined before it is counted, so that counts belong to lines.
  list(APPEND MLH_COMPILE_OPTIONS --coverage -O1 -fno-early-inlining -finline-small-functions)
endif()

add_library(mlh_objects OBJECT ${MLH_SOURCES})
target_include_directories(mlh_objects PUBLIC ${PROJECT_SOURCE_DIR}/include PRIVATE ${PROJECT_SOURCE_DIR}/src)
target_compile_options(mlh_objects PRIVATE ${MLH_COMPILE_OPTIONS})
include(${CMAKE_CURRENT_LIST_DIR}/Kernels.cmake)

set(MLH_EXPORT_LIST ${PROJECT_SOURCE_DIR}/cmake/exports.txt)
set(MLH_CLASS_LIST ${PROJECT_SOURCE_DIR}/cmake/classes.txt)
include(${CMAKE_CURRENT_LIST_DIR}/Localised.cmake)
mlh_add_static(mlh_static OBJECTS $<TARGET_OBJECTS:mlh_objects> ${MLH_KERNEL_OBJECTS} LISTS ${MLH_EXPORT_LIST} ${MLH_CLASS_LIST})
set_target_properties(mlh_static PROPERTIES OUTPUT_NAME mlh)
target_include_directories(mlh_static PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)

# For tests, tools and benchmarks; not installed. A program links this one or mlh_static.
add_library(mlh_internal STATIC $<TARGET_OBJECTS:mlh_objects> ${MLH_KERNEL_OBJECTS})
target_include_directories(mlh_internal PUBLIC ${PROJECT_SOURCE_DIR}/include)

if(EMSCRIPTEN)
  return() # There are no shared libraries in a browser.
endif()

add_library(mlh_shared SHARED $<TARGET_OBJECTS:mlh_objects> ${MLH_KERNEL_OBJECTS})
set_target_properties(mlh_shared PROPERTIES OUTPUT_NAME mlh VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
target_include_directories(mlh_shared PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)

if(MLH_COVERAGE)
  # Before the callers' objects, whose own copies of inline functions count nothing.
  target_link_options(mlh_static INTERFACE --coverage)
  target_link_options(mlh_internal INTERFACE --coverage LINKER:--whole-archive,$<TARGET_FILE:mlh_internal>,--no-whole-archive)
  target_link_options(mlh_shared PRIVATE --coverage)
endif()

include(${CMAKE_CURRENT_LIST_DIR}/Exports.cmake)
mlh_export(mlh_shared mlh LIST ${MLH_EXPORT_LIST} NODE MLH_1 SHARED MLH_SHARED)
