#!/usr/bin/env bash
# Runs every session of tests/cases with the release build's daemon under valgrind, as many at a time as there are
# processors: it must neither touch memory that is not its own, nor use what was never set, nor leave memory behind.
#   scripts/memcheck.sh [CASE...]       (default all)
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/release
cmake --preset release >/dev/null
cmake --build --preset release --target beltpack_fpui beltpack_sim beltpack_shim

out=$build/memcheck
mkdir -p "$out"
(($# > 0)) || set -- $(cd tests/cases && dirname */session)

# The sessions have their fonts and pictures beside them; a report is kept beside what else a session leaves.
one() {
  local log=$2/$1.log
  if tests/memcheck_case.sh "$3/bin/beltpack_sim" "$3/bin/beltpack_fpui" "tests/cases/$1" "$2/$1" >"$log" 2>&1; then
    echo "$1: nothing found"
  else
    echo "$1: FAILED"
    cat "$log"
    return 1
  fi
}
export -f one
printf '%s\n' "$@" | xargs -P "$(nproc)" -I{} bash -c "one {} '$out' '$build'"
echo "$# sessions: nothing found."
