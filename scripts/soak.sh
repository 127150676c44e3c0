#!/usr/bin/env bash
# Sends 10 million commands and 1 million events through one process of the daemon on the emulated panel: memory and
# descriptors have to stay flat, no line may be lost, and the last frame has to be right. Prints what it measures.
#   scripts/soak.sh [BUILD-FOLDER [CYCLES]]       (default build/release and 10000 cycles of 1000 commands each)
set -euo pipefail
root=$(realpath "$(dirname "$0")/..")
build=$(realpath "${1:-$root/build/release}")
cycles=${2:-10000}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
python3 -B "$root/tests/faults/files.py" "$work"
cd "$work"
"$build/tests/soak/soak" "$build/bin/beltpack_fpui" "$build/bin/libbeltpack_shim.so" "$cycles"
