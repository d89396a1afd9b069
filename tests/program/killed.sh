#!/bin/bash
# The program is killed (SIGKILL) at random moments while it saves, appends and learns: its file is then the old one or
# the new one and never anything between, and the next run works.
#   killed.sh PROGRAM NETS [how often]
program=$1 nets=$2 times=${3:-10}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
export TMPDIR=$folder
# A net whose saving takes a while, and cases for it.
{
  printf '// ~->[DNET-1]->~\nbnet Long {\n'
  for i in $(seq 2000); do
    printf 'node n%d {kind = NATURE; discrete = TRUE; states = (x, y, z); parents = (%s); probs = %s;};\n' "$i" \
      "$([ "$i" = 1 ] || echo "n$((i - 1))")" "$([ "$i" = 1 ] && echo '(0.5, 0.25, 0.25)' || echo '((0.5, 0.25, 0.25), (0.25, 0.5, 0.25), (0.25, 0.25, 0.5))')"
  done
  echo '};'
} >long.dne
"$program" sample long.dne -n 200 --seed 5 -o cases.cas || exit 1
failures=0 numOld=0 numNew=0

# kills WHAT OLD COMMAND...: the command makes "file" of the old one.
kills() {
  local what=$1 old=$2 full i
  shift 2
  cp "$old" file
  full=$(date +%s%N)
  "$program" "$@" >/dev/null 2>message || { echo "FAILED: $what: $(cat message)"; failures=$((failures + 1)); return; }
  full=$(($(date +%s%N) - full))
  cp file new
  cmp -s "$old" new && { echo "FAILED: $what changes nothing"; failures=$((failures + 1)); }
  for ((i = 0; i < times; ++i)); do
    cp "$old" file
    "$program" "$@" >/dev/null 2>&1 &
    # Most often towards the end, where files are written.
    sleep "$(awk -v full=$full -v draw=$RANDOM 'BEGIN { printf "%.4f", full / 1e9 * (1.15 - (draw / 32768) ^ 2) }')"
    kill -9 $! 2>/dev/null
    wait $! 2>/dev/null
    if cmp -s file "$old"; then
      numOld=$((numOld + 1))
    elif cmp -s file new; then
      numNew=$((numNew + 1))
    else
      echo "FAILED: $what: the file is torn"
      failures=$((failures + 1))
    fi
  done
  cp "$old" file
  "$program" "$@" >/dev/null 2>message && cmp -s file new || { echo "FAILED: $what afterwards: $(cat message)"; failures=$((failures + 1)); }
  rm -f Err* .bravic*
}

"$program" sample long.dne -n 20 --seed 6 -o old.cas
kills "saving a net" long.dne format long.dne -o file
kills "learning" long.dne learn file cases.cas -o file
kills "writing cases" old.cas sample long.dne -n 400 --seed 7 -o file
kills "appending cases" old.cas sample long.dne -n 400 --seed 7 --append -o file
kills "learning by iterations" long.dne em file cases.cas --iterations 1 -o file
kills "converting" long.dne convert long.dne file --to xdsl
echo "killed $((numOld + numNew)) times: $numOld old files, $numNew new ones"
[ "$times" -lt 10 ] || { [ $numOld -gt 0 ] && [ $numNew -gt 0 ]; } || { echo "FAILED: never in between"; failures=1; }
[ $failures = 0 ]
