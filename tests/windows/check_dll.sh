#!/bin/bash
# check_dll.sh OBJDUMP EXPORTS DLL [DATA...]: the DLL must export the functions of the list in both spellings, each pair at one
# address, and the data, all without decoration, and nothing else; and it must need system DLLs and Bravic.dll alone.
set -euo pipefail
export LC_ALL=C
objdump=$1 exports=$2 dll=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$objdump" -p "$dll" >"$work/headers"

{
  cat "$exports"
  tr '[:lower:]' '[:upper:]' <"$exports"
  [ $# = 0 ] || printf '%s\n' "$@"
} | sort >"$work/wanted"
sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\] *//p' "$work/headers" | awk '{print $NF}' |
  sort >"$work/named"
diff "$work/wanted" "$work/named" || { echo "the list (<) and the DLL (>) differ"; exit 1; }
# Every address but the data's is there twice.
addresses=$(sed -n 's/^\t\[ *[0-9]*\] +base\[ *[0-9]*\] *\([0-9a-f]*\) Export RVA$/\1/p' "$work/headers" | sort)
[ "$(uniq -u <<<"$addresses" | wc -l)" = $# ] || { echo "spellings at different addresses"; exit 1; }
[ "$(wc -l <<<"$addresses")" = "$(wc -l <"$work/wanted")" ] || { echo "exported by number alone"; exit 1; }

needed=$(sed -n 's/^\tDLL Name: //p' "$work/headers" | tr '[:upper:]' '[:lower:]' | sort -u)
[ -n "$needed" ] || { echo "no imports found"; exit 1; }
others=$(grep -vxE '(kernel32|user32|msvcrt|bravic)\.dll' <<<"$needed" || true)
[ -z "$others" ] || { echo "needs $others"; exit 1; }
echo "$(wc -l <"$work/wanted") exports; needs" $needed
