# Debian's mingw-w64 for 64-bit Windows, the flavour whose standard library has threads. Programs run under Wine
# where that is installed, so that ctest can run the tests.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# The libraries that scripts/windows-libraries builds, then those of Debian; never those of this machine.
get_filename_component(MLH_WINDOWS_LIBRARIES ${CMAKE_CURRENT_LIST_DIR}/../../build/windows-libraries ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${MLH_WINDOWS_LIBRARIES} /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${MLH_WINDOWS_LIBRARIES}/lib/pkgconfig)
set(PKG_CONFIG_ARGN --static)

# The compiler's own libraries become part of each program: Windows has none of them.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

find_program(MLH_WINE NAMES wine64 wine PATHS /usr/lib/wine)
if(MLH_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${MLH_WINE})
endif()
