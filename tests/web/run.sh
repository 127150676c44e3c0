#!/usr/bin/env bash
# Runs the tests of the web page; what they need has been installed by scripts/setup.sh test.
#   BELTPACK_SIM      the simulator program
#   BELTPACK_RESULTS  a folder for what failing tests leave
set -euo pipefail
cd "$(dirname "$0")"
[[ -d node_modules ]] || {
  echo "tests/web/node_modules is not there: run scripts/setup.sh test" >&2
  exit 1
}
exec node --test-reporter=spec "${1:-all.mjs}"
