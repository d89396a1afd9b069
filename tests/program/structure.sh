#!/bin/bash
# structure.sh PROGRAM NETS: from a file of cases to a net with links and tables.
set -uo pipefail
program=$(realpath "$1") nets=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
cp "$nets/chest_clinic.dne" .
failures=0

# wants WHAT COMMAND...: the command must succeed.
wants() {
  local what=$1
  shift
  "$@" >out.new 2>err.new || { echo "FAILED: $what"; cat out.new err.new; failures=$((failures + 1)); }
  # What a check of the last command's output prints is nothing new.
  [ "$1" = grep ] || [ "$1" = test ] || { mv out.new out.txt && mv err.new err.txt; }
}
# refuses PATTERN COMMAND...: the command fails, says that, and writes nothing.
refuses() {
  local pattern=$1
  shift
  rm -f refused.dne
  if "$@" >out.txt 2>err.txt || ! grep -q "$pattern" err.txt || [ -e refused.dne ]; then
    echo "FAILED: $* should be refused by: $pattern"
    cat err.txt
    failures=$((failures + 1))
  fi
}
learn() { "$program" structure cases.cas "$@"; }
score_of() { grep '^\*' "$1" | cut -f3; }

"$program" sample chest_clinic.dne -n 5000 --seed 7 -o cases.cas || exit 1
wants "links and their score" learn -o found.dne
cp out.txt first.txt
wants "a score at the end" grep -qP '^\*\tscore\t-[0-9.]+$' first.txt
wants "the link that is strongest" grep -qP '^(LungCancer\tTbOrCancer|TbOrCancer\tLungCancer)$' first.txt
wants "a net that compiles" "$program" check found.dne
learn --threads 2 --seed 0 -o again.dne >again.txt
wants "the same links on two threads" cmp first.txt again.txt
wants "the same net" cmp found.dne again.dne
learn --start found.dne -o more.dne >more.txt
wants "no loss from a start" awk "BEGIN { exit !($(score_of more.txt) >= $(score_of first.txt)) }"
wants "a required link" learn --require VisitAsia:Smoking --max-parents 2 -o required.dne
wants "the link that is required" grep -qP '^VisitAsia\tSmoking$' out.txt
wants "few entries" learn --max-entries 40 -o small.dne
wants "no more than those" "$program" check small.dne --estimate
wants "a net without two columns" learn --omit VisitAsia --omit XRay --strict -o fewer.dne
wants "no node of theirs" test "$(grep -cE '^node (VisitAsia|XRay) ' fewer.dne)" = 0
wants "no warning of them" test ! -s err.txt
refuses 'excludes' learn --omit XRay --start found.dne -o refused.dne
for method in order exact tree; do
  wants "$method" learn --method $method -o $method.dne
done
wants "a classifier" learn --method tan --target Dyspnea -o tan.dne
wants "seven links from the target" test "$(grep -c '^Dyspnea	' out.txt)" = 7

refuses 'needs a target' learn --method tan -o refused.dne
refuses 'required and forbidden' learn --require Smoking:XRay --forbid Smoking:XRay -o refused.dne
refuses "'Nobody'" learn --require Smoking:Nobody -o refused.dne
refuses 'is no method' learn --method guess -o refused.dne
refuses 'entries before any link' learn --max-entries 3 -o refused.dne
printf 'A,B\nx,y\nx\n' >ragged.csv
refuses 'line 3' "$program" structure ragged.csv -o refused.dne
printf 'A,B\n' >empty.csv
refuses 'empty.csv' "$program" structure empty.csv -o refused.dne
printf 'A,B\nx,y\nx,z\n' >constant.csv
wants "a constant column" "$program" structure constant.csv -o constant.dne
wants "a word about it" grep -q "'A'" err.txt
printf 'A,B\nx,y\n' | "$program" structure - -o one.dne >out.txt 2>err.txt
wants "one row" "$program" check one.dne
[ $failures = 0 ] || exit 1
