#!/bin/bash
# check_lists.sh EXPORTS HEADER LIBRARY [DATA...]: the three must name the same functions, the library in both spellings
# and with the exported data, and nothing else.
set -euo pipefail
export LC_ALL=C
exports=$1 header=$2 library=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sort "$exports" >"$work/exports"
[ -z "$(uniq -d "$work/exports")" ] || { echo "named twice: $(uniq -d "$work/exports")"; exit 1; }
# Declarations only: comments and the callback's type are dropped first.
tr '\n' ' ' <"$header" | sed 's:/\*:\n/*:g; s:\*/:*/\n:g' | sed '/^\/\*/d' | tr '\n' ' ' |
  grep -oE 'BRAVIC_CALL +[A-Za-z]+_(bn|ns) *\(' | sed -E 's/BRAVIC_CALL +//; s/ *\($//' | sort >"$work/header"
{
  cat "$work/exports"
  tr '[:lower:]' '[:upper:]' <"$work/exports"
  [ $# = 0 ] || printf '%s\n' "$@"
} | sort >"$work/wanted"
nm -D --defined-only "$library" | awk '{print $NF}' | sed 's/@.*//' | sort >"$work/library"

diff "$work/exports" "$work/header" || { echo "exports.txt (<) and the header (>) differ"; exit 1; }
diff "$work/wanted" "$work/library" || { echo "exports.txt (<) and the library (>) differ"; exit 1; }
