#!/bin/bash
# learning.sh PROGRAM SOURCE: learning from files that are compressed, cut off, or hold what no node has; and validation.
set -uo pipefail
program=$(realpath "$1") source=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/tmp"
export TMPDIR=$work/tmp
cd "$work" || exit 1
ln -s "$source/examples" examples
failures=0
fails() { echo "FAILED: $*"; failures=$((failures + 1)); }

cases=examples/cases/patients.csv
"$program" discretize $cases --node Age --target Cancer --omit Patient -o patients.dne >out.txt &&
  "$program" structure $cases --start patients.dne -o learned.dne >out.txt 2>err.txt || fails "$(cat err.txt)"

# refuses TEXT COMMAND...: exit code 1, the text in its message, and nothing temporary left.
refuses() {
  local text=$1 got
  shift
  "$program" "$@" >out.txt 2>err.txt
  got=$?
  [ $got = 1 ] && grep -qF -- "$text" err.txt || fails "$*: $got $(cat err.txt)"
  [ -z "$(ls -A "$TMPDIR")" ] || fails "$*: temporary files stay"
}
discretize() { "$program" discretize "$1" --node Age --omit Patient -o "$2"; }
if "$program" discretize "$cases" --node Age --omit Patient -o plain.dne >plain.txt; then
  gzip -c "$cases" >packed.csv.gz
  if discretize packed.csv.gz packed.dne >packed.txt 2>err.txt; then
    cmp plain.txt packed.txt && cmp plain.dne packed.dne || fails "packed cases are others"
    cmp plain.txt <(gzip -c "$cases" | discretize - piped.dne) || fails "packed cases from a pipe are others"
    refuses "unpacks to more than the limit" discretize packed.csv.gz --memory-limit 1 --node Age -o no.dne
    head -c 1000 packed.csv.gz >cut.csv.gz
    refuses "couldn't unpack file 'cut.csv.gz'" discretize cut.csv.gz --node Age -o no.dne
  else
    grep -q 'without zlib' err.txt || fails "$(cat err.txt)"
  fi
fi
printf 'Smoking,Dyspnea\nsmoker,present\nsmokes,absent\n' >odd.csv
"$program" infer learned.dne odd.csv --target Cancer >out.txt 2>err.txt || fails "$(cat err.txt)"
[ "$(wc -l <out.txt)" = 3 ] && grep -q "'smokes' for 'Smoking' on line 3, column 1" err.txt || fails "no warning"
refuses 'odd.csv:3: ' infer learned.dne odd.csv --target Cancer --strict
refuses 'odd.csv:3: ' learn learned.dne odd.csv --strict -o no.dne
refuses "'old' in column 'Smoking'" discretize <(printf 'Smoking,Age\nold,1\n') --node Smoking -o no.dne
refuses "more than 2 different entries" discretize "$cases" --node Age --max-states 2 -o no.dne
refuses "has states of its own" discretize "$cases" --net learned.dne --node Smoking -o no.dne
refuses "too few for 10 folds" validate odd.csv --method naive --target Smoking
refuses "no column 'Weight'" validate "$cases" --method naive --omit Weight --target Cancer
[ ! -e no.dne ] || fails "a refused command has written"

# Folds depend on the seed alone, and the totals on all folds.
validate() { "$program" validate "$cases" --net learned.dne --target Cancer "$@" 2>/dev/null; }
cmp <(validate --seed 3) <(validate --seed 3 --threads 2) || fails "threads make a difference"
cmp -s <(validate --seed 3) <(validate --seed 4) && fails "the seed makes none"
validate --folds 7 | awk -F'\t' '$1 != "*" { n += $2; loss += $2 * $3; if ($2 < 71 || $2 > 72) exit 1 }
  $1 == "*" { exit !($2 == n && n > 490 && loss / n - $3 < 1e-4 && $3 - loss / n < 1e-4) }' || fails "totals"
[ "$failures" = 0 ]
