#!/usr/bin/env bash
# Measures what the tests reach of the daemon's own code and holds it against the promise: every line but those in
# tests/coverage/unreachable.txt, and 95 of 100 branches, without those that only an exception of the C++ library takes.
#   scripts/coverage.sh
# Leaves the whole report, line by line, in build/coverage/report/index.html. Tests of speed and memory say nothing here
# and are left out, as are the tests of the simulator, which is the release build's.
set -euo pipefail
cd "$(dirname "$0")/.."

folders=(app freetype graphics hw)
least_branches=95
build=build/coverage

# Compiling changes the counters' places, and the programs list their tests when they are built: counting begins after.
forget_counts() { find "$build" -name '*.gcda' -delete; }

cmake --preset release >/dev/null
cmake --build --preset release --target beltpack_sim beltpack_shim
cmake --preset coverage >/dev/null
forget_counts
cmake --build --preset coverage
forget_counts
log=$build/tests.log
ctest --preset coverage -j "$(nproc)" >"$log" || {
  grep -v -e ' Passed ' -e '^ *Start ' "$log"
  exit 1
}
grep 'tests passed' "$log"

mkdir -p "$build/report"
gcovr --root . "${folders[@]/#/--filter=}" --exclude-throw-branches --json "$build/report.json" \
  --html-details "$build/report/index.html" --txt -j "$(nproc)" "$build"
tests/coverage/check.py "$build/report.json" tests/coverage/unreachable.txt "$least_branches"
