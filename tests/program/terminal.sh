#!/bin/bash
# terminal.sh PROGRAM NETS: on a terminal beliefs are drawn with bars; an interrupt ends a long search at once.
set -euo pipefail
program=$1 nets=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C

if command -v script >/dev/null; then
  script -qec "'$program' beliefs '$nets/chest_clinic.dne' -f VisitAsia=visit" /dev/null </dev/null |
    tr -d '\r' >"$work/shown.txt"
  grep -q '^Chest clinic$' "$work/shown.txt"
  grep -qE '^VisitAsia +visit +100\.0000%  #+ <- finding$' "$work/shown.txt"
  grep -qE '^ +absent +95\.0000%  #+$' "$work/shown.txt"
  [ "$(tail -n 1 "$work/shown.txt")" = 'Probability of the findings: 0.01' ]
fi

"$program" compile "$nets/heat_pump.dne" --search 100000 >"$work/out.txt" 2>"$work/err.txt" &
search=$!
while kill -0 $search && ! grep -q '^SigCgt:.*[2367abef]$' "/proc/$search/status"; do sleep 0.05; done
sleep 0.3
kill -INT $search  # fails the test when the search has ended by itself
code=0
wait $search || code=$?
cat "$work/err.txt"
[ $code = 130 ]
grep -q '^bravic: interrupted' "$work/err.txt"
