#!/bin/bash
# version.sh VERSION SOURCE [PROGRAM]: what says the version by itself says that of the build.
version=$1 source=$2 program=${3:-}
failures=0
says() { # WHAT FOUND
  [ "$2" = "$version" ] || { echo "FAILED: $1 says '$2', not '$version'"; failures=$((failures + 1)); }
}
# The first "version" of npm's package, and the first two of its lock file, are the package's own.
own() { sed -n 's/^ *"version": "\(.*\)",$/\1/p' "$source/js/$1" | head -n "$2" | uniq | paste -sd ' '; }
says js/package.json "$(own package.json 1)"
says js/package-lock.json "$(own package-lock.json 2)"
says CHANGELOG.md "$(sed -n 's/^## \[\([0-9.]*\)\] - 20[0-9][0-9]-[01][0-9]-[0-3][0-9]$/\1/p' "$source/CHANGELOG.md" | head -n 1)"
[ -z "$program" ] || says 'bravic --version' "$("$program" --version | sed 's/^bravic //')"
[ $failures = 0 ]
