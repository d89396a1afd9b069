#!/bin/bash
# readme.sh PROGRAM HELLO SOURCE: what the readme shows of the program and of examples/hello.c is what they print.
set -euo pipefail
program=$1 hello=$2 source=$3
cd "$source"
indented=$(sed -n 's/^    //p' README.md)
shown=0
while IFS= read -r line; do
  grep -qxF -- "$line" <<<"$indented" || { echo "hello prints, but the readme does not show: $line"; exit 1; }
  shown=$((shown + 1))
done < <("$hello")
[ $shown = 3 ]

# The lines after each "$ bravic ...", up to the end of its block, against what the commands print.
expected=$(awk '/^    \$ bravic /{inside=1; next} !/^    /{inside=0} inside{print substr($0, 5)}' README.md)
actual=$(grep '^    \$ bravic ' README.md | sed 's/^    \$ bravic //' | while IFS= read -r command; do
  eval "'$program' $command"
done)
[ -n "$expected" ]
diff <(echo "$expected") <(echo "$actual")
