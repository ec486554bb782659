# Cross build for 64-bit Windows with Debian's MinGW-w64 (posix thread model, so std::thread and
# friends work) and everything linked statically, so that the executables and plug-ins need no
# MinGW run-time DLLs beside them. Test programs run under Wine through the emulator setting.
#   cmake -S . -B build-win -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(TV_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${TV_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TV_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${TV_MINGW_TRIPLE}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${TV_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# No pkg-config of the build machine: its libraries are Linux ones.
set(PKG_CONFIG_EXECUTABLE "" CACHE FILEPATH "" FORCE)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")
# Wine 8's 64-bit loader; the test leg keeps one wineserver running for all of them.
find_program(TV_WINE64 NAMES wine64 PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
if(TV_WINE64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${TV_WINE64})
endif()
