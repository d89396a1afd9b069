#!/bin/bash
# shown.sh PROGRAM SOURCE PAGE...: what the pages show of commands is what these print, errors included. In a page a
# command is an indented line "$ bravic ...", and the lines below it are what it prints; those of one page run one after
# the other in a folder of their own, which has the examples.
set -uo pipefail
program=$(realpath "$1") source=$(realpath "$2")
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin"
ln -s "$program" "$work/bin/bravic"
export PATH=$work/bin:$PATH
failures=0 commands=0
for page; do
  rm -rf "$work/here" && mkdir "$work/here" && cd "$work/here" || exit 1
  ln -s "$source/examples" examples
  # A block ends at its first line that is not indented, or blank.
  awk '/^    \$ /{inside = 1; print "$ " substr($0, 7); next} !/^    /{inside = 0} inside{print substr($0, 5)}' \
    "$source/$page" >../shown
  grep '^\$ ' ../shown >../commands || { echo "FAILED: $page shows no command"; failures=$((failures + 1)); continue; }
  while IFS= read -r command; do
    commands=$((commands + 1))
    echo "$command"
    eval "${command#\$ }" 2>&1 </dev/null | sed 's/[[:space:]]*$//'
  done <../commands >../printed
  diff <(sed 's/[[:space:]]*$//' ../shown) ../printed || { echo "FAILED: $page"; failures=$((failures + 1)); }
done
echo "$commands commands, $failures pages that show something else"
[ $failures = 0 ]
