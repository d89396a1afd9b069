#!/bin/bash
# run_cases.sh PROGRAM CASES NETS [WITHOUT...]: runs each command line of CASES in a fresh folder that holds the nets, but
# for those in which one of the texts WITHOUT occurs.
#   $ ARGUMENTS    a command line (bravic itself is left out); begins a case
#   > TEXT         a line of the output; without any, the output must be empty; ">..." skips lines up to the next one
#   ! PATTERN      a line of the error stream, as a pattern of the shell; without any, it must be empty
#   ? CODE         the exit code, 0 when left out
set -uo pipefail
program=$(realpath "$1") cases=$(realpath "$2") nets=$3
shift 3
without=("$@")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$nets"/*.dne "$(dirname "$cases")"/*.dne "$work"
cd "$work" || exit 1
failures=0 count=0

fail() {
  printf 'FAILED: bravic %s\n  %s\n' "$command" "$1"
  failures=$((failures + 1))
}

# matches EXPECTED ACTUAL: line by line, the expected lines being patterns, "..." any number of lines.
matches() {
  local expected=() actual=() at=0 skip=0 line
  [ -z "$1" ] || mapfile -t expected <<<"$1"
  [ -z "$2" ] || mapfile -t actual <<<"$2"
  for line in "${expected[@]}"; do
    if [ "$line" = ... ]; then skip=1; continue; fi
    # shellcheck disable=SC2053
    while [ $skip = 1 ] && [ $at -lt ${#actual[@]} ] && [[ ${actual[at]} != $line ]]; do at=$((at + 1)); done
    # shellcheck disable=SC2053
    [ $at -lt ${#actual[@]} ] && [[ ${actual[at]} == $line ]] || return 1
    at=$((at + 1)) skip=0
  done
  [ $skip = 1 ] || [ $at = ${#actual[@]} ]
}

finish() {
  [ -n "$command" ] || return
  local text
  for text in "${without[@]}"; do [[ $command != *"$text"* ]] || return; done
  count=$((count + 1))
  local status
  eval "'$program' $command" >out.txt 2>err.txt </dev/null
  status=$?
  [ $status = "$code" ] || fail "exit code $status, not $code"
  matches "$out" "$(cat out.txt)" || fail "$(printf 'printed\n%s\ninstead of\n%s' "$(cat out.txt)" "$out")"
  matches "$err" "$(cat err.txt)" || fail "$(printf 'complained\n%s\ninstead of\n%s' "$(cat err.txt)" "$err")"
}

command='' out='' err='' code=0
while IFS= read -r line; do
  case $line in
    '$ '*) finish; command=${line#??} out='' err='' code=0 ;;
    '>'*) line=${line#>}; out+=${out:+$'\n'}${line# } ;;
    '!'*) line=${line#!}; err+=${err:+$'\n'}${line# } ;;
    '? '*) code=${line#??} ;;
  esac
done <"$cases"
finish
echo "$count command lines, $failures failures"
[ $failures = 0 ] && [ $count -gt 20 ]
