# One test program per component: tests/<room>/<Component>_test.cpp.
find_package(GTest REQUIRED)

# Where the programs of the build are, as they would call each other: Wine shows this machine's files as drive Z.
set(MLH_PROGRAMS_DIR ${PROJECT_BINARY_DIR})
if(WIN32 AND CMAKE_CROSSCOMPILING)
  set(MLH_PROGRAMS_DIR "Z:${PROJECT_BINARY_DIR}")
endif()

file(GLOB MLH_SUPPORT_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/support/*.cpp)
list(FILTER MLH_SUPPORT_SOURCES EXCLUDE REGEX "_test\\.cpp$")
add_library(mlh_test_support INTERFACE)
if(MLH_SUPPORT_SOURCES)
  add_library(mlh_test_support_objects STATIC ${MLH_SUPPORT_SOURCES})
  target_include_directories(mlh_test_support_objects PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/tests)
  target_compile_options(mlh_test_support_objects PRIVATE -Wall -Wextra -ffp-contract=off)
  set_source_files_properties(${PROJECT_SOURCE_DIR}/tests/support/Paths.cpp PROPERTIES COMPILE_DEFINITIONS
    "MLH_SOURCE_DIR=\"${PROJECT_SOURCE_DIR}\";MLH_BINARY_DIR=\"${MLH_PROGRAMS_DIR}\"")
  target_link_libraries(mlh_test_support INTERFACE mlh_test_support_objects)
endif()

# What the tests of tests/validation use beside the project: recordings of any format, and a pitch tracker of
# other make. Without them those tests skip.
find_package(PkgConfig)
if(PkgConfig_FOUND)
  pkg_check_modules(MLH_SNDFILE IMPORTED_TARGET sndfile)
  pkg_check_modules(MLH_AUBIO IMPORTED_TARGET aubio)
endif()

set(MLH_TEST_TIMEOUT 600)
if(MLH_COVERAGE)
  set(MLH_TEST_TIMEOUT 3600)  # counting takes its time
endif()

# Programs that run once per processor level, each level a process of its own (see tests/dsp/LevelMain.h).
set(MLH_LEVEL_TESTS dsp_OperationTable_test dsp_Fft_test dsp_CrossCorrelation_test dsp_Autocorrelation_test
    dsp_HarmonicOperations_test dsp_PaddedSpectrum_test dsp_VoiceOperations_test api_Threads_test)

file(GLOB MLH_TEST_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/*/*_test.cpp)
if(NOT MLH_KERNEL_OBJECTS OR NOT CMAKE_OBJDUMP OR CMAKE_CROSSCOMPILING OR MLH_COVERAGE)
  list(FILTER MLH_TEST_SOURCES EXCLUDE REGEX "/Instructions_test\\.cpp$")
endif()
if(CMAKE_CROSSCOMPILING)
  list(FILTER MLH_TEST_SOURCES EXCLUDE REGEX "/tests/scripts/")
endif()
foreach(source ${MLH_TEST_SOURCES})
  get_filename_component(name ${source} NAME_WE)
  get_filename_component(room ${source} DIRECTORY)
  get_filename_component(room ${room} NAME)
  set(target ${room}_${name})
  add_executable(${target} ${source})
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_compile_options(${target} PRIVATE -Wall -Wextra -ffp-contract=off)
  target_link_libraries(${target} PRIVATE mlh_test_support)
  if(room MATCHES "^(choir|validation)$" AND TARGET mlhchoir_internal)
    target_link_libraries(${target} PRIVATE mlhchoir_internal nlohmann_json::nlohmann_json)
  endif()
  if(room STREQUAL "cli" AND TARGET mlh_command)
    target_link_libraries(${target} PRIVATE mlh_command nlohmann_json::nlohmann_json)
  endif()
  target_link_libraries(${target} PRIVATE mlh_internal GTest::gmock GTest::gtest_main)
  if(room STREQUAL "validation" AND MLH_SNDFILE_FOUND)
    target_link_libraries(${target} PRIVATE PkgConfig::MLH_SNDFILE)
    target_compile_definitions(${target} PRIVATE MLH_HAVE_SNDFILE)
  endif()
  if(room STREQUAL "validation" AND MLH_AUBIO_FOUND)
    target_link_libraries(${target} PRIVATE PkgConfig::MLH_AUBIO)
    target_compile_definitions(${target} PRIVATE MLH_HAVE_AUBIO)
  endif()
  if(MLH_KERNEL_OBJECTS)
    target_compile_definitions(${target} PRIVATE MLH_KERNELS)
  endif()
  if(target IN_LIST MLH_LEVEL_TESTS)
    foreach(level 0 3 4 5 6)
      add_test(NAME ${room}/${name}/level${level} COMMAND ${target} --level=${level})
      set_tests_properties(${room}/${name}/level${level} PROPERTIES TIMEOUT ${MLH_TEST_TIMEOUT} SKIP_RETURN_CODE 77)
    endforeach()
  else()
    add_test(NAME ${room}/${name} COMMAND ${target})
    set_tests_properties(${room}/${name} PROPERTIES TIMEOUT ${MLH_TEST_TIMEOUT} SKIP_RETURN_CODE 77)
  endif()
endforeach()

if(TARGET choir_Library_test AND TARGET mlhchoir_shared)
  add_dependencies(choir_Library_test mlhchoir_shared)
endif()

# What the scripts of the project measure with: tests/tools/<Tool>.cpp, built only when asked for.
file(GLOB MLH_TOOL_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/tools/*.cpp)
foreach(source ${MLH_TOOL_SOURCES})
  get_filename_component(name ${source} NAME_WE)
  add_executable(tool_${name} EXCLUDE_FROM_ALL ${source})
  set_target_properties(tool_${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tools)
  target_include_directories(tool_${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_compile_options(tool_${name} PRIVATE -Wall -Wextra -ffp-contract=off)
  target_link_libraries(tool_${name} PRIVATE mlh_test_support mlh_internal)
  if(name MATCHES "^(TrackMelody|TranscribeMelody|ChoirFingerprint|GrowthJob)$")
    target_link_libraries(tool_${name} PRIVATE mlhchoir_internal)
  endif()
  if(MLH_SNDFILE_FOUND)
    target_link_libraries(tool_${name} PRIVATE PkgConfig::MLH_SNDFILE)
    target_compile_definitions(tool_${name} PRIVATE MLH_HAVE_SNDFILE)
  endif()
endforeach()

if(TARGET base_Version_test)
  target_compile_definitions(base_Version_test PRIVATE MLH_PROJECT_VERSION="${PROJECT_VERSION}")
endif()

# Built with the tests, so that it goes along with the choir library.
set_target_properties(tool_ChoirFingerprint PROPERTIES EXCLUDE_FROM_ALL FALSE)

# Instructions are counted in the build that the bounds were made with.
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND MLH_KERNEL_OBJECTS AND NOT MLH_SANITIZE
   AND NOT MLH_COVERAGE AND NOT CMAKE_CROSSCOMPILING)
  set_target_properties(tool_CountedJob tool_GrowthJob PROPERTIES EXCLUDE_FROM_ALL FALSE)
  add_test(NAME bench/InstructionCounts COMMAND ${PROJECT_SOURCE_DIR}/scripts/count-instructions --built ${PROJECT_BINARY_DIR})
  set_tests_properties(bench/InstructionCounts PROPERTIES TIMEOUT 600 SKIP_RETURN_CODE 77)
endif()

# Each object and the level whose instructions it may use.
if(TARGET architecture_Instructions_test)
  set(objects "0 $<JOIN:$<TARGET_OBJECTS:mlh_objects>,\n0 >\n")
  foreach(level_and_library 3=sse2 4=sse3 5=sse4 6=avx 6fma=avx_fma)
    string(REGEX MATCH "(.*)=(.*)" unused ${level_and_library})
    string(APPEND objects "${CMAKE_MATCH_1} $<JOIN:$<TARGET_OBJECTS:mlh_kernels_${CMAKE_MATCH_2}>,\n${CMAKE_MATCH_1} >\n")
  endforeach()
  file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/objects-by-level.txt CONTENT "${objects}")
  target_compile_definitions(architecture_Instructions_test PRIVATE
    MLH_OBJDUMP="${CMAKE_OBJDUMP}" MLH_LIBRARY="$<TARGET_FILE:mlh_shared>")
  add_dependencies(architecture_Instructions_test mlh_shared)
endif()

# A level's object must not bring functions that other objects might share with it.
if(MLH_KERNEL_OBJECTS AND CMAKE_NM AND NOT MLH_SANITIZE AND NOT MLH_COVERAGE)
  add_test(NAME dsp/KernelSymbols
    COMMAND ${CMAKE_COMMAND} "-DNM=${CMAKE_NM}" "-DOBJECTS=$<JOIN:${MLH_KERNEL_OBJECTS},|>"
            -P ${PROJECT_SOURCE_DIR}/cmake/CheckKernelSymbols.cmake)
endif()

# The static libraries' names are those of the lists.
if(MLH_LOCALISED AND CMAKE_NM)
  if(TARGET mlhchoir_static)
    add_test(NAME choir/StaticSymbols
      COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DARCHIVE=$<TARGET_FILE:mlhchoir_static> "-DLISTS=${MLH_CHOIR_LIST}"
              -P ${PROJECT_SOURCE_DIR}/cmake/CheckStaticSymbols.cmake)
  endif()
  add_test(NAME api/StaticSymbols
    COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DARCHIVE=$<TARGET_FILE:mlh_static> "-DLISTS=${MLH_EXPORT_LIST}|${MLH_CLASS_LIST}"
            -P ${PROJECT_SOURCE_DIR}/cmake/CheckStaticSymbols.cmake)
endif()

if(WIN32)
  add_test(NAME api/Dll COMMAND ${CMAKE_COMMAND} -DOBJDUMP=${CMAKE_OBJDUMP} -DDLL=$<TARGET_FILE:mlh_shared>
    -DLIST=${MLH_EXPORT_LIST} -P ${PROJECT_SOURCE_DIR}/cmake/windows/CheckDll.cmake)
  if(TARGET mlhchoir_shared)
    add_test(NAME choir/Dll COMMAND ${CMAKE_COMMAND} -DOBJDUMP=${CMAKE_OBJDUMP} -DDLL=$<TARGET_FILE:mlhchoir_shared>
      -DLIST=${MLH_CHOIR_LIST} -P ${PROJECT_SOURCE_DIR}/cmake/windows/CheckDll.cmake)
  endif()
endif()

# An outside project finds, links and runs what was installed.
if(NOT MLH_SANITIZE AND NOT MLH_COVERAGE AND NOT CMAKE_CROSSCOMPILING)
  set(choir_internal $<$<TARGET_EXISTS:mlhchoir_internal>:|$<TARGET_FILE:mlhchoir_internal>>)
  add_test(NAME install/OutsideProject
    COMMAND ${CMAKE_COMMAND} -DBINARIES=${PROJECT_BINARY_DIR} -DSOURCE=${PROJECT_SOURCE_DIR}/tests/install/outside
            -DWORK=${PROJECT_BINARY_DIR}/install-test "-DLISTS=${MLH_EXPORT_LIST}|${MLH_CLASS_LIST}"
            "-DINTERNAL=$<$<BOOL:${MLH_LOCALISED}>:$<TARGET_FILE:mlh_internal>${choir_internal}>"
            -DCHOIR_LIST=$<$<TARGET_EXISTS:mlhchoir_shared>:${MLH_CHOIR_LIST}> -DNM=${CMAKE_NM} -P ${PROJECT_SOURCE_DIR}/tests/install/check.cmake)
endif()
