#!/bin/bash
# check.sh CMAKE BUILD SOURCE CC GENERATOR SANITIZERS: installs the build into a fresh tree and there builds and runs
# examples/hello.c in C89, by the CMake package (shared and static) and by pkg-config.
set -euo pipefail
cmake=$1 build=$2 source=$3 cc=$4 generator=$5 sanitize=${6:+-fsanitize=$6}
work=$(mktemp -d)
trap 'cat "$work/log"; rm -rf "$work"' EXIT
tree=$work/moved
strict="-std=c89 -pedantic -Wall -Wextra -Werror $sanitize"

"$cmake" --install "$build" --prefix "$work/tree" >>"$work/log"
mv "$work/tree" "$tree"
mkdir "$work/host"
cp "$source/tests/install/host/CMakeLists.txt" "$source/examples/hello.c" "$work/host"
"$cmake" -G "$generator" -S "$work/host" -B "$work/host/build" -DCMAKE_PREFIX_PATH="$tree" -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_C_FLAGS="$strict" >>"$work/log"
"$cmake" --build "$work/host/build" >>"$work/log"
"$work/host/build/hello_shared" >"$work/shared.txt"
"$work/host/build/hello_static" >"$work/static.txt"

pc=$(find "$tree" -name bravic.pc)
export PKG_CONFIG_PATH=${pc%/*}
# shellcheck disable=SC2086,SC2046
"$cc" $strict "$source/examples/hello.c" $(pkg-config --cflags --libs bravic) -o "$work/hello"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir bravic) "$work/hello" >"$work/pkgconfig.txt"
[ "$(pkg-config --modversion bravic)" = "$(sed -n 's/^project(bravic VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")" ]

grep -q 'no findings' "$work/shared.txt"
cmp "$work/shared.txt" "$work/static.txt"
cmp "$work/shared.txt" "$work/pkgconfig.txt"
