# Windows with Debian's mingw-w64; BRAVIC_MINGW is the compiler's prefix.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${BRAVIC_MINGW}-gcc)
set(CMAKE_CXX_COMPILER ${BRAVIC_MINGW}-g++)
set(CMAKE_RC_COMPILER ${BRAVIC_MINGW}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${BRAVIC_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
# Header-only packages (CLI11, nlohmann-json, GoogleTest's sources) come from the building machine.
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
