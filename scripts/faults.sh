#!/usr/bin/env bash
# Lets every call of the daemon fail with every error that fits it, once and for good, one in each run of a session on
# the emulated panel, and holds what comes against tests/faults/fault_rules.py.
#   scripts/faults.sh [BUILD-FOLDER [OPTIONS]]      (default build/release; e.g. --brief, --every 20, --call 107, -j 4)
# A quarter of an hour of processor time. Exit status 1 when something does not hold.
set -euo pipefail
root=$(realpath "$(dirname "$0")/..")
build=$(realpath "${1:-$root/build/release}")

exec python3 -B "$root/tests/faults/run_faults.py" \
  --simulator "$build/bin/beltpack_sim" \
  --daemon "$build/bin/beltpack_fpui" \
  --faults "$build/tests/faults/libbeltpack_faults.so" \
  "${@:2}"
