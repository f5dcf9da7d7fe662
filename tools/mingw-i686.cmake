# The toolchain for 32-bit Windows: MinGW with POSIX threads. Its runtime is linked in, so that what
# is built needs nothing but the system's own libraries. Programs run here under Wine, in a prefix
# of the build's own.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)

set(CMAKE_C_COMPILER i686-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)

set(CMAKE_FIND_ROOT_PATH /usr/i686-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# SSE2 is everywhere that this system still runs. The system promises four octets of stack alignment
# and SSE needs sixteen: functions align their own frames.
set(machine "-msse2 -mstackrealign")
set(CMAKE_C_FLAGS_INIT "${machine}")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")

set(link "-static -s -Wl,--dynamicbase,--nxcompat,--no-insert-timestamp,--fatal-warnings")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${link} -Wl,--enable-reloc-section")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${link} -Wl,--enable-reloc-section")

set(CMAKE_CROSSCOMPILING_EMULATOR
    env WINEPREFIX=${CMAKE_BINARY_DIR}/wine WINEARCH=win32 WINEDEBUG=-all
    WINEDLLOVERRIDES=mscoree,mshtml,winemenubuilder.exe= wine)
