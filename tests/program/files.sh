#!/bin/bash
# files.sh PROGRAM NETS: what is written goes where it should, lost output is told, and nothing temporary stays.
set -uo pipefail
program=$(realpath "$1") nets=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/tmp" "$work/here"
export TMPDIR=$work/tmp
cd "$work/here" || exit 1
cp "$nets/chest_clinic.dne" "$nets/heat_pump.dne" .
failures=0

# wants WHAT COMMAND...: the command must succeed and leave no temporary file.
wants() {
  local what=$1
  shift
  "$@" >../out.txt 2>../err.txt || { echo "FAILED: $what"; cat ../err.txt; failures=$((failures + 1)); }
  [ -z "$(ls -A "$TMPDIR"; ls -A | grep -E '^(\.bravic|Err)')" ] || { echo "FAILED: $what: files stay"; exit 1; }
}
# answers CODE COMMAND...: the command fails with that code and says why.
answers() {
  local code=$1 got
  shift
  "$@" 2>../message.txt
  got=$?
  [ $got = "$code" ] && grep -q '^bravic: ' ../message.txt || { echo "answers $got and: $(cat ../message.txt)" >&2; return 1; }
}
sample() { "$program" sample chest_clinic.dne -n 5 --seed 3 "$@"; }
format() { "$program" format chest_clinic.dne "$@"; }

for writes in sample format; do
  for file in new link; do
    ln -sf new link
    rm -f new
    wants "$writes to $file" $writes -o $file
    chmod 640 new
    wants "$writes over $file" $writes -o $file
    wants "$writes: the link and the permissions stay" \
      test "$(readlink link)-$(stat -c %a new)-$(wc -l <new)" = "new-640-$($writes | wc -l)"
  done
  mkfifo fifo
  timeout 30 cat fifo >through.txt &
  wants "$writes to a pipe" $writes -o fifo
  wait $!
  wants "$writes: the pipe stays and has it all" eval "[ -p fifo ] && cmp through.txt <($writes)"
  rm -f fifo
  wants "$writes to /dev/stdout" eval "$writes -o /dev/stdout | cmp - <($writes)"
  ln -sf circle circle
  wants "$writes to links in a circle" answers 1 $writes -o circle
  wants "$writes to a folder" answers 1 $writes -o "$work"
  cp chest_clinic.dne kept
  chmod 444 kept
  wants "$writes to a protected file" answers 1 $writes -o kept
  wants "$writes: the protected file stays" cmp kept chest_clinic.dne
  rm -f kept Err*
  wants "$writes into a full device" answers 1 eval "$writes >/dev/full"
  wants "$writes into closed output" answers 1 eval "$writes >&-"
done
wants "a net from a pipe, its errors too" eval "'$program' check <(cat chest_clinic.dne) && ! '$program' check <(echo)"
wants "closed output without need" eval "format -o new >&-"
for command in --help "beliefs chest_clinic.dne" "check chest_clinic.dne --json"; do
  wants "$command into a full device" answers 1 eval "'$program' $command >/dev/full"
done
wants "output nobody reads" eval "'$program' sample chest_clinic.dne -n 200000 2>/dev/null | head -1; [ \${PIPESTATUS[0]} = 141 ]"

{
  printf '// ~->[DNET-1]->~\nbnet Hostile {\n'
  for i in $(seq 25); do echo "node a$i {states = (x, y); };"; done
  echo "node c {states = (x, y); parents = ($(seq -s , -f a%g 25)); probs = (0.5, 0.5);};};"
} >hostile.dne
wants "a table beyond the limit of memory" answers 1 "$program" check hostile.dne --memory-limit 50000
wants "which table it is" grep -q "not enough memory to read table of node 'c'" ../message.txt

# ends SIGNAL CODE COMMAND...: the signal, sent while the command works, ends it with the code.
ends() {
  local signal=$1 code=$2 got
  shift 2
  "$@" <&0 >../out.txt 2>../message.txt &
  local running=$!
  while kill -0 $running && ! grep -q '^SigCgt:.*[2367abef]$' "/proc/$running/status"; do sleep 0.05; done
  sleep 0.2
  kill -"$signal" $running || return 1
  wait $running
  got=$?
  [ $got = "$code" ] || { echo "ended with $got" >&2; return 1; }
}
for signal in INT=130 TERM=143 HUP=129; do
  wants "$signal while searching" ends ${signal/=/ } "$program" compile heat_pump.dne --search 100
  wants "$signal while drawing" ends ${signal/=/ } "$program" sample chest_clinic.dne -n 100000000 -o never
  mkfifo fifo
  exec 7<>fifo
  wants "$signal while waiting for input" eval "ends ${signal/=/ } '$program' learn chest_clinic.dne - <fifo"
  wants "$signal while waiting for a pipe" ends ${signal/=/ } "$program" check fifo
  exec 7>&-
  rm fifo
done
wants "no half of a file" test ! -e never
[ $failures = 0 ]
