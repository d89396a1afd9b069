#!/bin/bash
# folds.sh PROGRAM DATA: ten folds of foretelling a target of two spreadsheets by naive Bayes, a tree-augmented and
# searched nets, as a table of log loss, error rate, area under the ROC curve and processor time. DATA holds
# passengers.csv and census.csv; what is not there is skipped.
set -euo pipefail
program=$(realpath "$1") data=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
TIMEFORMAT=%U

# folds NAME TARGET NET: a row for each method.
folds() {
  local method seconds totals
  for method in naive tan hill; do
    seconds=$({ time "$program" validate "$data/$1.csv" --net "$3" --method "$method" --target "$2" \
      >"$work/rows" 2>/dev/null; } 2>&1)
    totals=$(tail -n 1 "$work/rows" | awk -F'\t' '{ printf "%.4f | %.4f | %.4f", $3, $5, $6 }')
    echo "| $1: $2 | $method | $totals | $seconds s |"
  done
}
echo "| data | links | log loss | error rate | ROC area | processor time |"
echo "|---|---|---|---|---|---|"
for name in passengers census; do
  [ -e "$data/$name.csv" ] || { echo "no $name.csv in $data: skipped" >&2; continue; }
  case $name in
    passengers)
      "$program" discretize "$data/$name.csv" --node Age --node Fare --target Survived --omit PassengerId --omit Name \
        --omit Ticket --omit Cabin -o "$work/$name.dne" >/dev/null 2>&1
      folds $name Survived "$work/$name.dne"
      ;;
    census)
      "$program" structure "$data/$name.csv" -o "$work/$name.dne" >/dev/null
      folds $name Income "$work/$name.dne"
      ;;
  esac
done
