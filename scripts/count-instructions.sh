#!/usr/bin/env bash
# Counts the instructions of each drawing operation with callgrind and holds them against their limits.
#   scripts/count-instructions.sh [BUILD-FOLDER]       (default build/release, built with BELTPACK_BENCH)
# Counts are exact from run to run of one binary. Exit status 1 when an operation is over its limit.
set -euo pipefail
build=${1:-$(dirname "$0")/../build/release}

# Operation and the most instructions it may take in a release build for x86-64; - where no limit is set.
limits='
scene   60000
test   120000
pack     8000
text     5000
utext   60000
utextfit 60000
rect        -
line        -
bmp8      80000
bmp24     80000
bmp32     80000
bmp8key  100000
bmp24key 100000
bmp32key 100000
bmpalpha 200000
shape    8000
lookup      -
'

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0
printf '%-8s %12s %8s\n' operation instructions limit
while read -r operation limit; do
  [[ -n $operation ]] || continue
  valgrind --tool=callgrind --collect-atstart=no --callgrind-out-file="$work/out" \
    "$build/bin/count_instructions" "$operation" 2>"$work/log"
  count=$(awk '/Collected/ {print $NF}' "$work/log")
  printf '%-8s %12s %8s\n' "$operation" "$count" "$limit"
  if [[ $limit != - ]] && ((count > limit)); then
    status=1
  fi
done <<<"$limits"
exit "$status"
