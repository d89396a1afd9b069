# Linux systems from 2014 on (glibc 2.17), with zig's clang and C++ library, which is linked in. Variables of the environment:
# BRAVIC_ZIG, the folder with zig-cc, zig-c++ and zig-ar (script/common), and BRAVIC_OLD_LINUX, the processor.
set(CMAKE_C_COMPILER $ENV{BRAVIC_ZIG}/zig-cc)
set(CMAKE_CXX_COMPILER $ENV{BRAVIC_ZIG}/zig-c++)
set(CMAKE_AR $ENV{BRAVIC_ZIG}/zig-ar)
set(CMAKE_RANLIB $ENV{BRAVIC_ZIG}/zig-ranlib)
set(CMAKE_C_FLAGS_INIT "-target $ENV{BRAVIC_OLD_LINUX}-linux-gnu.2.17 -fomit-frame-pointer")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
