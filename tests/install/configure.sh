#!/bin/bash
# configure.sh CMAKE SOURCE CC CXX GENERATOR: what configuring makes of Bravic as a part of another project, and of an
# absolute library folder.
set -euo pipefail
cmake=$1 source=$2 cc=$3 cxx=$4 generator=$5
work=$(mktemp -d)
trap 'cat "$work/log"; rm -rf "$work"' EXIT
configure() {
  local folder=$1
  shift
  "$cmake" -G "$generator" -S "$folder" -B "$work/build" -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" "$@" \
    >"$work/log" 2>&1
}

mkdir "$work/host"
cp "$source/tests/install/part/CMakeLists.txt" "$source/tests/install/host/convert.c" "$source/examples/hello.c" "$work/host"
configure "$work/host" -DBRAVIC="$source" -DWANTED_TYPE=STATIC_LIBRARY
formats=()
! [ -e /usr/include/pugixml.hpp ] || formats=(-DBRAVIC_FORMATS=ON)
configure "$work/host" -DBUILD_SHARED_LIBS=ON -DWANTED_TYPE=SHARED_LIBRARY "${formats[@]}"
! grep -q bravic "$work/build/bravic/cmake_install.cmake" "$work"/build/bravic/*/cmake_install.cmake

rm -r "$work/build"
configure "$source" -DBRAVIC_TOOLS=OFF -DCMAKE_INSTALL_LIBDIR=/somewhere/lib
export PKG_CONFIG_PATH=$work/build
[ "$(pkg-config --libs bravic)" = '-L/somewhere/lib -lbravic ' ] || [ "$(pkg-config --libs bravic)" = '-L/somewhere/lib -lbravic' ]
