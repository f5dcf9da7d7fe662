# The toolchain for 32-bit Windows.
set(CMAKE_SYSTEM_PROCESSOR i686)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)

# SSE2 is everywhere that this system still runs. The system promises four octets of stack alignment
# and SSE needs sixteen: functions align their own frames.
set(machine "-msse2 -mstackrealign")
set(CMAKE_C_FLAGS_INIT "${machine}")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")

run_under_wine(win32 wine)
