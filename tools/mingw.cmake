# What both toolchains for Windows share: MinGW with POSIX threads. Its runtime is linked in, so that
# what is built needs nothing but the system's own libraries. Programs run here under Wine, in a
# prefix of the build's own. CMAKE_SYSTEM_PROCESSOR says which machine it is, the processor's name is
# that of the compilers.
set(CMAKE_SYSTEM_NAME Windows)

set(CMAKE_C_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(link "-static -s -Wl,--dynamicbase,--nxcompat,--no-insert-timestamp,--fatal-warnings")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${link} -Wl,--enable-reloc-section")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${link} -Wl,--enable-reloc-section")

# run_under_wine takes the kind of prefix and the program that starts others.
macro(run_under_wine architecture program)
  set(CMAKE_CROSSCOMPILING_EMULATOR
      env WINEPREFIX=${CMAKE_BINARY_DIR}/wine WINEARCH=${architecture} WINEDEBUG=-all
      WINEDLLOVERRIDES=mscoree,mshtml,winemenubuilder.exe= ${program})
endmacro()
