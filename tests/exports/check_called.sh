#!/bin/bash
# check_called.sh EXPORTS OBJECT: every export must be referred to by the object.
set -euo pipefail
export LC_ALL=C
missing=$(comm -23 <(sort "$1") <(nm -u "$2" | awk '{print $NF}' | sort))
[ -z "$missing" ] || { printf 'never called:\n%s\n' "$missing"; exit 1; }
