#!/bin/bash
# The program while the n-th request for memory, opening, write, read, change of names, flush or start of a thread fails:
# it does its work as ever, or says why not and leaves the old file as it was and nothing temporary. Every n of calls that
# are few; of requests for memory some.
#   failures.sh PROGRAM NETS SHIM [every]
program=$1 nets=$2 shim=$3 every=${4:-}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
mkdir work temporary && cd work || exit 1
export TMPDIR=$folder/temporary
cp "$nets/chest_clinic.dne" . || exit 1
"$program" sample chest_clinic.dne -n 300 --seed 3 -o cases.cas || exit 1
"$program" convert chest_clinic.dne clinic.xdsl || exit 1
gzip -k cases.cas
failures=0
fails() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

# What the command with its output in OUT does, with nothing failing, and the steps by which n grows.
try() {
  local call=$1 stays=$2 n=1 got
  shift 2
  while :; do
    echo old >out.dne
    rm -f ../mark
    env FAIL_MARK="$folder/mark" FAIL_CALL="$call" FAIL_AT=$n ${stays:+FAIL_STAYS=1} LD_PRELOAD="$shim" \
      "$program" "$@" >../printed 2>../said
    got=$?
    if [ ! -e ../mark ]; then
      [ $got = 0 ] || fails "$*, with nothing failing: $got $(cat ../said)"
      break
    fi
    if [ $got = 0 ]; then
      cmp -s out.dne ../expected || fails "$call $n of $*: the file is another"
      cmp -s ../printed ../expected_print || fails "$call $n of $*: it prints something else"
    else
      [ "$got" -le 2 ] || fails "$call $n of $*: ended with $got: $(tail -1 ../said)"
      grep -q . ../said || fails "$call $n of $*: does not say why"
      [ "$(cat out.dne)" = old ] || cmp -s out.dne ../expected || fails "$call $n of $*: half a file"
    fi
    # A file in the place of the old one, which could not be renamed, is the host's to look at.
    [ -z "$(ls -A "$TMPDIR"; ls -A | grep -E '^\.bravic')" ] || {
      fails "$call $n of $*: temporary files stay"
      find "$TMPDIR" . -name ".bravic*" -delete
    }
    rm -f Err*
    if [ "$call" = memory ] && [ -z "$every" ]; then n=$((n + 1 + n / 4)); else n=$((n + 1)); fi
  done
  tried=$((tried + n - 1))
}

for command in "compile chest_clinic.dne" "learn chest_clinic.dne cases.cas -o out.dne" \
  "convert clinic.xdsl out.dne" "sample chest_clinic.dne -n 50 --seed 1 -o out.dne" \
  "em chest_clinic.dne cases.cas.gz --iterations 3 --threads 2 -o out.dne" \
  "structure cases.cas --restarts 1 --threads 2 -o out.dne" \
  "beliefs chest_clinic.dne --finding Dyspnea=present"; do
  echo old >out.dne
  read -ra words <<<"$command"
  "$program" "${words[@]}" >../expected_print 2>../said || fails "$command: $(cat ../said)"
  cp out.dne ../expected
  for call in memory open write read rename flush thread; do
    tried=0
    try $call "" "${words[@]}"
    try $call stays "${words[@]}"
    [ -n "$every" ] && echo "$command: $call $tried"
  done
done
[ $failures = 0 ]
