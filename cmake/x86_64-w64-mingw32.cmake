# 64-bit Windows.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(BRAVIC_MINGW x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
