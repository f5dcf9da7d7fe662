# The toolchain for 64-bit Windows.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)

# Debian's `wine` starts the loader of 32 bits where both are installed.
set(loader /usr/lib/wine/wine64)
run_under_wine(win64 ${loader})
list(INSERT CMAKE_CROSSCOMPILING_EMULATOR 1 WINELOADER=${loader})
