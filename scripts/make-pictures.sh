#!/usr/bin/env bash
# Makes the pictures in docs/pictures anew from the daemon on the emulated panel: it plays the sessions in
# tests/cases that name them, and the examples of docs/protocol.md, all of which otherwise hold them against what the
# daemon draws. Look at what has changed.
#   scripts/make-pictures.sh [BUILD-FOLDER]       (default build/release)
set -euo pipefail
build=$(realpath "${1:-$(dirname "$0")/../build/release}")
cd "$(dirname "$0")/.."

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
grep -l docs/pictures tests/cases/*/session | while read -r session; do
  case=$(dirname "$session")
  echo "$case"
  tests/run_case.sh "$build/bin/beltpack_sim" "$case" "$out/$(basename "$case")" --update >"$out/log" 2>&1 </dev/null ||
    { cat "$out/log" && exit 1; }
done
echo docs/protocol.md
tests/manual/check_examples.py "$build/bin/beltpack_sim" "$out/protocol" --update
