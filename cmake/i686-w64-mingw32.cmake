# 32-bit Windows.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(BRAVIC_MINGW i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
# SSE2 arithmetic, so that results are those of every other build; callbacks may come with a 4-byte stack.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse -mstackrealign")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse -mstackrealign")
