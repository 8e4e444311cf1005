# The kernels: one object library per processor level, each from the same sources with the level's compiler flags.
# Nothing else is compiled with these flags. Without them (another processor, another compiler) level 0 serves.
set(MLH_KERNEL_OBJECTS "")

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$" AND CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  target_compile_definitions(mlh_objects PRIVATE MLH_KERNELS)

  function(mlh_add_kernels name level sources)
    add_library(${name} OBJECT ${sources})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src)
    target_compile_definitions(${name} PRIVATE MLH_LEVEL=${level})
    target_compile_options(${name} PRIVATE ${MLH_COMPILE_OPTIONS} ${ARGN})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # The butterflies fill all registers: scheduled before they are handed out, a tenth to a sixth is gained.
      target_compile_options(${name} PRIVATE -fschedule-insns -fsched-pressure)
    endif()
    if(WIN32 AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # This compiler does not align its stack for 32-byte vectors there.
      target_compile_options(${name} PRIVATE -Wa,-muse-unaligned-vector-move)
    endif()
    set(MLH_KERNEL_OBJECTS ${MLH_KERNEL_OBJECTS} $<TARGET_OBJECTS:${name}> PARENT_SCOPE)
  endfunction()

  set(operations ${PROJECT_SOURCE_DIR}/src/dsp/kernels/Operations.cpp ${PROJECT_SOURCE_DIR}/src/dsp/kernels/HarmonicOperations.cpp
                 ${PROJECT_SOURCE_DIR}/src/dsp/kernels/PaddedSpectrum.cpp ${PROJECT_SOURCE_DIR}/src/dsp/kernels/VoiceOperations.cpp)
  set(fft ${PROJECT_SOURCE_DIR}/src/dsp/kernels/RealFft.cpp ${PROJECT_SOURCE_DIR}/src/dsp/kernels/Autocorrelation.cpp)
  mlh_add_kernels(mlh_kernels_sse2 3 "${operations};${fft}" -msse2)
  mlh_add_kernels(mlh_kernels_sse3 4 "${fft}" -msse3)
  mlh_add_kernels(mlh_kernels_sse4 5 "${operations};${fft}" -msse4.2)
  mlh_add_kernels(mlh_kernels_avx 6 "${operations};${fft}" -mavx)
  mlh_add_kernels(mlh_kernels_avx_fma 6 "${fft}" -mavx -mfma)
endif()
