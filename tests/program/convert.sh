#!/bin/bash
# convert.sh PROGRAM NETS: nets in other programs' forms through the program, as their users would have them.
set -uo pipefail
program=$(realpath "$1") nets=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/tmp"
export TMPDIR=$work/tmp LC_ALL=C
cd "$work" || exit 1
cp "$nets"/*.dne .
failures=0
bravic() { "$program" "$@"; }

# wants WHAT COMMAND...: the command must succeed.
wants() {
  local what=$1
  shift
  "$@" >out.txt 2>err.txt || { echo "FAILED: $what"; head -20 out.txt err.txt; failures=$((failures + 1)); }
  [ -z "$(ls -A "$TMPDIR"; ls -A | grep -E '^(\.bravic|Err)')" ] || { echo "FAILED: $what: files stay"; exit 1; }
}
# silently COMMAND...: it succeeds and says nothing on the error stream.
silently() { "$@" 2>said.txt && [ ! -s said.txt ]; }
# refuses PATTERN COMMAND...: it ends with code 1, and a line of the error stream matches.
refuses() {
  local pattern=$1
  shift
  "$@" 2>said.txt >/dev/null
  [ $? = 1 ] && grep -qE -- "$pattern" said.txt
}

# --- Names as people have them: blanks, signs and brackets, 60 characters.

long=Temperature_measured_in_the_morning_before_the_first_meal_01
[ ${#long} = 60 ] || exit 1
cat >patient.net <<END
% Made by hand.
net { name = "Patient"; node_size = (80 40); }
node $long
{
  label = "Value >= 5.5 (high)";
  position = (120 40);
  states = ("< 5.5" "Value >= 5.5 (high)" "no = none");
}
node Sick
{
  states = ("true" "100% sure (\\"yes\\")" "0.5-1.0");
}
potential ($long) { data = (0.5 0.25 0.25); }
potential (Sick | $long)
{
  data = ((0.5 0.25 0.25)
          (0.25 0.5 0.25)  % high
          (1 0 0));
}
END
finding='Value >= 5.5 (high)=Value >= 5.5 (high)'
wants "a NET file becomes ours" silently bravic convert patient.net patient.dne
for net in patient.dne patient.net; do
  wants "$net by the title" eval "bravic beliefs $net --finding '$finding' --node Sick | grep -P '\t0.5\t$'"
  wants "$net by the name of 60" eval "bravic beliefs $net -f '$long=no = none' --node Sick | grep -P '\t1\t$'"
  wants "$net by a state with signs" eval "bravic beliefs $net -f 'Sick=100% sure (\"yes\")' | grep -P '^\*\tfindings\t0.25$'"
  wants "$net from a pipe" eval "bravic beliefs - --not 'Sick=0.5-1.0' <$net | grep -P '^\*\tfindings\t0.8125$'"
done
wants "and NET again" silently bravic convert patient.dne back.net
wants "with the same states" eval "diff <(grep -o 'states = .*' patient.net) <(grep -o 'states = .*' back.net)"
wants "and title and place" eval "grep -q '\"Value >= 5.5 (high)\"' back.net && grep -qE 'position *= *\(120 40\)' back.net"
wants "which stays so" eval "bravic convert back.net again.net && cmp back.net again.net"
wants "IN and OUT are one file, also where rows are normalized" eval "sed 's/0.5 0.25 0.25)/2 1 1)/' patient.net >counts.net &&
  bravic convert counts.net counts.net && grep -q '0.25' counts.net"
wants "IN and OUT are one clean file" eval "silently bravic convert again.net again.net && cmp back.net again.net"
# What comes back: spellings from some, titles from others.
for format in "bif=$long=Value >= 5.5 (high)" "bifxml=$long=Value >= 5.5 (high)" "xdsl=Value >= 5.5 (high)=#1"; do
  file=p.${format%%=*}
  wants "to $file and back" eval "bravic convert patient.dne $file && silently bravic convert $file p.net &&
    cmp <(bravic beliefs p.net -f '${format#*=}' | cut -f3) <(bravic beliefs patient.net -f '$finding' | cut -f3)"
done
wants "the spelling of a BIF node comes back" eval "grep -q '$long' p.bif"
wants "a pipe on both sides" eval "bravic convert - - --to bif <patient.net | bravic convert - - --from bif --to bif | cmp - p.bif"
wants "the standard output has our own form" eval "bravic convert patient.net - | cmp - patient.dne"
wants "names are lost in UAI, in one line" eval "bravic convert patient.net p.uai && [ \$(wc -l <err.txt) = 1 ]"
wants "and the numbers are not" eval "bravic beliefs p.uai -f X0=s1 | tail -1 | grep -P '\t0.25$'"

# --- Every command takes any format, and writes what the extension says.

bravic convert chest_clinic.dne clinic.bif 2>/dev/null
for command in "beliefs NET -f Dyspnea=present" "mpe NET" "check NET --json" "compile NET" \
  "sample NET -n 0" "infer NET cases.cas"; do
  bravic sample chest_clinic.dne -n 5 --seed 2 -o cases.cas
  sed -i '3s/Dyspnea/Dyspnoea/' cases.cas
  hides='peak_memory|"net"|^bnet|title|comment|user'
  wants "$command" eval "diff <(bravic ${command/NET/chest_clinic.dne} 2>&1 | grep -vE '$hides' | tr -d '[:space:]' | cut -c1-400) \
    <(bravic ${command/NET/- <clinic.bif} 2>&1 | grep -vE '$hides' | tr -d '[:space:]' | cut -c1-400)"
done
wants "learn writes NET" eval "bravic learn clinic.bif cases.cas -o learned.net 2>/dev/null; grep -q '^potential' learned.net"
wants "absorb writes XDSL" eval "bravic absorb clinic.bif -n XRay -o rest.xdsl && head -3 rest.xdsl | grep -q '<smile'"
wants "format writes our own" eval "bravic format clinic.bif -o own.bif && head -1 own.bif | grep -q DNET"
for format in net xml xdsl; do
  wants "a decision network in $format" eval "bravic convert oil_wildcatter.dne oil.$format &&
    diff <(bravic decide oil.$format) <(bravic decide oil_wildcatter.dne)"
done

# --- Decisions: the parents that matter alone, what is forgotten as it is drawn, what it is worth to know.

wants "a decision's table" test "$(bravic decide umbrella.dne | tr '\t\n' ' /')" = \
  "Umbrella Forecast=sunny leave/Umbrella Forecast=cloudy leave/Umbrella Forecast=rainy take/* expected utility 77/"
wants "utilities that add up" eval "bravic decide oil_wildcatter_two_utilities.dne | grep -qx '\*.expected utility.22.5'"
wants "what to observe" test "$(bravic decide oil_wildcatter.dne --observe Seismic --observe Oil | tr '\t\n' ' /')" = \
  "Seismic Drill 0/Oil Test 32.5/Oil Drill 32.5/"
wants "nothing left to decide" refuses 'no decision is left' bravic decide oil_wildcatter.dne --observe Seismic -f Drill=drill
cat >blind.dne <<END
// ~->[DNET-1]->~
bnet Blind {
node Rain {kind = NATURE; discrete = TRUE; states = (no, yes); parents = (); probs = (0.75, 0.25);};
node Look {kind = DECISION; discrete = TRUE; states = (do, dont); parents = (Rain);};
node Step {kind = NATURE; discrete = TRUE; states = (out, in); parents = (Look); probs = ((1, 0), (0, 1));};
node Coat {kind = DECISION; discrete = TRUE; states = (take, leave); parents = (Step);};
node Joy {kind = UTILITY; discrete = FALSE; measure = RATIO; parents = (Rain, Coat); functable = ((0, 4), (4, 0));};
};
END
wants "limited where a link is missing" test "$(bravic decide blind.dne | tr '\t\n' ' /')" = \
  "Look do/Coat leave/* expected utility 3/"
wants "but not when full is asked for" refuses "decision 'Coat' depends on 'Rain'" bravic decide blind.dne --method full

# --- What is refused leaves things as they were.

cat >bad.bif <<END
network n { }
variable A { type discrete [ 2 ] { yes, no }; }
variable B { type discrete [ 2 ] { yes, no }; }
probability ( A ) { table 0.5 0.4; }
probability ( B | C ) { table 0.5 0.5; }
END
echo "the old file" >out.net
for command in "convert bad.bif out.net" "check bad.bif" "convert bad.bif -"; do
  wants "$command names each line" eval "refuses '^bad.bif:4: ' bravic $command && grep -q '^bad.bif:5: ' said.txt"
done
wants "another command names the first" refuses '^bad.bif:4: ' bravic beliefs bad.bif
wants "from a pipe too" refuses '^<standard input>:4: ' eval "bravic check - <bad.bif"
wants "our own form too" refuses '^typo.dne:[0-9]+: warning: unknown data field' \
  eval "sed 's/title/tilte/' oil_wildcatter.dne >typo.dne; bravic convert typo.dne typo.dne"
wants "no decisions in BIF" refuses '^bravic: out.bif: .*decision' bravic convert oil_wildcatter.dne out.bif
wants "nothing was written" eval "[ ! -e out.bif ] && [ \"\$(cat out.net)\" = 'the old file' ]"
wants "a Markov field is named" refuses '<standard input>:.*MARKOV' eval "printf 'MARKOV\n1\n2\n1\n1 0\n2 1 1\n' | bravic check -"
wants "what is no net" refuses '^bravic: <standard input>: ' eval "echo Hello | bravic convert - x.net"
wants "a file that is missing" refuses '^bravic: missing.net: ' bravic convert missing.net x.net
for line in "convert patient.net x.foo" "convert patient.net x.net --to ned" "convert patient.net x.net --from foo"; do
  wants "$line" eval "bravic $line 2>said.txt; [ \$? = 2 ] && grep -q '^bravic: ' said.txt"
done

# --- Findings from files.

printf '2 0 1 1 2\n' >one.evid
printf '2\n1 1 0\n1 0 2\n' >two.evid
wants "a file of findings" eval "bravic beliefs p.uai --evidence one.evid | tail -1 | grep -P '\t0.0625$'"
wants "of several cases" eval "bravic beliefs p.uai --evidence two.evid --case 2 | tail -1 | grep -P '\t0.25$'"
wants "by number in other nets" eval "bravic beliefs patient.net --evidence two.evid | tail -1 | grep -P '\t0.5625$'"
wants "no such case" refuses 'two.evid.* case 3' bravic beliefs p.uai --evidence two.evid --case 3
wants "no such variable" refuses 'three.evid' eval "printf '1 7 0\n' >three.evid; bravic beliefs p.uai --evidence three.evid"
[ $failures = 0 ]
