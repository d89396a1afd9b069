# WebAssembly behind its system interface, with zig's clang and C++ library. BRAVIC_ZIG (a variable of the environment):
# the folder with zig-cc, zig-c++ and zig-ar, which script/wasm makes.
set(CMAKE_SYSTEM_NAME WASI)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})
set(CMAKE_C_COMPILER $ENV{BRAVIC_ZIG}/zig-cc)
set(CMAKE_CXX_COMPILER $ENV{BRAVIC_ZIG}/zig-c++)
set(CMAKE_AR $ENV{BRAVIC_ZIG}/zig-ar)
set(CMAKE_RANLIB $ENV{BRAVIC_ZIG}/zig-ranlib)
# Vectors of 16 bytes, which every browser has had since 2023; nothing whose bits depend on the machine.
set(CMAKE_C_FLAGS_INIT "-target wasm32-wasi -msimd128")
# No exceptions: a browser is asked for no more than it needs, and where memory ends (at 4 gigabytes) the module ends.
set(CMAKE_CXX_FLAGS_INIT "-target wasm32-wasi -msimd128 -fno-exceptions -DPUGIXML_NO_EXCEPTIONS -DPUGIXML_NO_XPATH")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
