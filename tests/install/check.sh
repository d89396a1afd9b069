#!/bin/bash
# check.sh CMAKE BUILD SOURCE CC GENERATOR SANITIZERS: installs the build into a fresh tree and there builds and runs
# examples/hello.c in C89, by the CMake package (shared and static) and by pkg-config, and a host of the library of
# formats; looks at what else is installed.
set -euo pipefail
cmake=$1 build=$2 source=$3 cc=$4 generator=$5 sanitize=${6:+-fsanitize=$6}
work=$(mktemp -d)
trap 'cat "$work/log"; rm -rf "$work"' EXIT
tree=$work/moved
strict="-std=c89 -pedantic -Wall -Wextra -Werror $sanitize"
fail() { echo "$1"; exit 1; }

"$cmake" --install "$build" --prefix "$work/tree" >>"$work/log"
mv "$work/tree" "$tree"
mkdir "$work/host"
cp "$source"/tests/install/host/* "$source/examples/hello.c" "$work/host"
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

# The library of formats, found and linked in the same three ways; the shared one needs no pugixml.
if [ -e "$tree/include/bravic_formats.h" ]; then
  host=$work/host/build
  "$host/convert" >"$work/shared.txt"
  "$host/convert_static" >"$work/static.txt"
  # shellcheck disable=SC2086,SC2046
  "$cc" $strict "$work/host/convert.c" $(pkg-config --cflags --libs bravic_formats) -o "$work/convert"
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir bravic) "$work/convert" >"$work/pkgconfig.txt"
  grep -q 'variable "Rain?"' "$work/shared.txt"
  cmp "$work/shared.txt" "$work/static.txt"
  cmp "$work/shared.txt" "$work/pkgconfig.txt"
  ! readelf -d "$tree"/lib*/libbravic_formats.so "$tree"/lib/*/libbravic_formats.so 2>/dev/null | grep pugixml ||
    fail 'the shared library needs pugixml'
fi

# The build's folders are not told, and each text is in its place.
if [ -z "$sanitize" ] && ! grep -q '^CMAKE_BUILD_TYPE:STRING=Debug' "$build/CMakeCache.txt"; then
  ! grep -rlF "$source" "$tree" || fail 'these know where they were built'
fi
for text in doc/bravic/LICENSE doc/bravic/NOTICES.md doc/bravic/README.md doc/bravic/docs/errors.md bravic/explorer.html; do [ -s "$tree/share/$text" ]; done
[ -x "$tree/bin/bravic" ] || exit 0
for text in man/man1/bravic.1 zsh/site-functions/_bravic fish/vendor_completions.d/bravic.fish; do
  for word in beliefs stored findings; do grep -q "$word" "$tree/share/$text" || fail "no '$word' in $text"; done
done
# What bash offers after these words of a command line.
offered() {
  bash -c 'source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _bravic; echo "${COMPREPLY[*]}"' \
    "$tree/share/bash-completion/completions/bravic" "$@"
}
cd "$work/host"
[ "$(offered bravic be)" = beliefs ]
[ "$(offered bravic sample x.dne --app)" = --append ]
[ "$(offered bravic learn hel)" = hello.c ]
[ "$(offered bravic beliefs x.dne --finding hel)" = '' ]
