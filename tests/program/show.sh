#!/bin/bash
# show.sh PROGRAM NETS: pictures of nets and trees by a stand-in for Graphviz's program, which keeps the graph that it
# was given, and by Graphviz itself where it is installed.
set -uo pipefail
program=$(realpath "$1") nets=$(realpath "$2")
work=$(mktemp -d) bin=$(mktemp -d) path=$PATH
trap 'rm -rf "$work" "$bin"' EXIT
cd "$work" || exit 1
failures=0

# expect WHAT COMMAND...
expect() {
  local what=$1
  shift
  "$@" && return
  echo "FAILED: $what"
  failures=$((failures + 1))
}
# holds FILE TEXT...
holds() {
  local file=$1 text
  shift
  for text in "$@"; do
    grep -qF -- "$text" "$file" || { echo "no '$text' in $file"; return 1; }
  done
}
refused() { # MESSAGE COMMAND...
  local message=$1
  shift
  "$@" 2>"$bin/errors" && return 1
  holds "$bin/errors" "$message"
}
holds_only() { [ "$(ls -A)" = "$1" ]; }

# Called as: dot -q -TFORMAT -o PICTURE GRAPH
printf '#!/bin/sh\ncp "$5" "%s/graph"\necho "picture $2" >"$4"\nexit $(cat "%s/code")\n' "$bin" "$bin" >"$bin/dot"
chmod +x "$bin/dot"
echo 0 >"$bin/code"
export PATH="$bin:$path"

expect "a net" "$program" show "$nets/chest_clinic.dne" -f Dyspnea=present --likelihood XRay=0.8,0.3 -o a.SVG
expect "the format" holds a.SVG "picture -Tsvg"
expect "boxes" holds "$bin/graph" '<B>Shortness of breath</B>' '<B>present</B>' 'rounded,filled,bold' \
  'rounded,filled,dashed' '"Smoking" -> "Bronchitis"' '>100</TD>'
rm a.SVG
expect "a decision net" "$program" show "$nets/oil_wildcatter.dne" -o b.png
expect "its shapes" holds "$bin/graph" 'shape=hexagon' '"Seismic" -> "Drill" [style=dashed]' '<B>Profit</B>'
expect "a tree" "$program" show "$nets/chest_clinic.dne" --tree -o b.png
expect "cliques" holds "$bin/graph" 'c0 [label=<VisitAsia, Tuberculosis<BR/>' ' -- c0_1 -- c1;'

printf '// ~->[DNET-1]->~\nbnet Odd {title = "a<b & \\"c\\"";\n' >odd.dne
printf 'node X {kind = NATURE; discrete = TRUE; states = (x, y); title = "</TD>&amp; caf\xc3\xa9 \xe9"; probs = (0.25, 0.75);};\n' >>odd.dne
printf 'node Y {kind = NATURE; discrete = TRUE; states = (x, y); parents = (X);};};\n' >>odd.dne
expect "a net that can't be compiled" "$program" show odd.dne -o b.png 2>errors.txt
expect "why" holds errors.txt "drawn without probabilities"
expect "special characters" holds "$bin/graph" 'a&lt;b &amp; &quot;c&quot;' '&lt;/TD&gt;&amp;amp; café é'
rm odd.dne errors.txt

echo 3 >"$bin/code"
expect "a failure" refused "failed with exit code 3" "$program" show "$nets/chest_clinic.dne" -o b.png
expect "the old picture" holds b.png "picture -Tpng"
expect "nothing else" holds_only b.png
rm "$bin/dot"
expect "no Graphviz" refused "apt install graphviz" env PATH="$bin" "$program" show "$nets/chest_clinic.dne" -o b.png
expect "another format" refused ".svg, .png or .pdf" "$program" show "$nets/chest_clinic.dne" -o b.gif
expect "still nothing else" holds_only b.png

export PATH=$path
if command -v dot >/dev/null; then
  {
    printf '// ~->[DNET-1]->~\nbnet Large {\n'
    for ((i = 0; i < 1000; ++i)); do
      printf 'node N%d {kind = NATURE; discrete = TRUE; states = (x, y);' $i
      ((i == 0)) || printf ' parents = (N%d);' $((i * 7 / 10))
      printf '};\n'
    done
    printf '};\n'
  } >large.dne
  expect "a thousand nodes" "$program" show large.dne -o large.svg
  expect "all of them" [ "$(grep -c 'class="node"' large.svg)" = 1000 ]
  for format in svg png pdf; do
    expect "$format" "$program" show "$nets/chest_clinic.dne" -o "a.$format"
  done
  expect "text as text" holds a.svg 'Shortness of breath</text>' '>absent</text>'
  expect "a PNG file" [ "$(head -c 4 a.png | tail -c 3)" = PNG ]
  expect "a PDF file" [ "$(head -c 4 a.pdf)" = %PDF ]
fi
echo "$failures failures"
[ $failures = 0 ]
