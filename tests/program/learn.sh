#!/bin/bash
# learn.sh LEARN SOURCE: what examples/learn.c learns is near the net and begins as the readme shows.
set -euo pipefail
learn=$1 source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
"$learn" "$source/examples/nets/chest_clinic.dne" >shown.txt
[ "$(ls)" = shown.txt ]
[ "$(wc -l <shown.txt)" = 19 ]
head -n 4 shown.txt | while IFS= read -r line; do
  grep -qxF -- "    $line" "$source/README.md" || { echo "not in the readme: $line"; exit 1; }
done
# Rows of 200 patients and more: within 0.1, as 10000 patients allow.
awk 'NR > 1 { split($0, part, /[()]/); sub("of ", "", part[2])
              if (part[2] >= 200 && ($2 - $3 > 0.1 || $3 - $2 > 0.1)) { print "far off: " $0; exit 1 } }' shown.txt
