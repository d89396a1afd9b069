#!/bin/bash
# shown_c.sh PROGRAM SOURCE PAGE [FILE [PAGE...]]: the page shows each line that the example prints, indented, and its blocks
# of C, and those of the further pages, are pieces of the example's file.
set -euo pipefail
program=$(realpath "$1") page=$2/$3 file=${4:+$2/$4}
cd "$2"
indented=$(sed -n 's/^    //p' "$page")
shown=0
while IFS= read -r line; do
  grep -qxF -- "$line" <<<"$indented" || { echo "$program prints, but $page does not show: $line"; exit 1; }
  shown=$((shown + 1))
done < <("$program")
[ $shown -ge 3 ]
[ -n "$file" ] || exit 0
check_blocks() {
  awk -v file="$file" '
    BEGIN { while ((getline line < file) > 0) text = text line "\n" }
    /^```c$/ { inside = 1; block = ""; next }
    /^```$/ && inside {
      inside = 0; ++blocks
      if (index(text, block) == 0) { print "not in " file ":\n" block; failed = 1 }
      next
    }
    inside { block = block $0 "\n" }
    END { exit failed || !blocks }' "$1"
}
check_blocks "$page"
shift 4
for page; do check_blocks "$page"; done
