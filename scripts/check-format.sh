#!/usr/bin/env bash
# Fails, naming the places, when a C or C++ file is not formatted as .clang-format says. With --fix it formats them.
set -euo pipefail
cd "$(dirname "$0")/.."

folders=(app bench examples freetype fuzz graphics hw sim tests tools)
mapfile -t files < <(find "${folders[@]}" -name '*.cpp' -o -name '*.h' -o -name '*.c')
if [[ ${1:-} == --fix ]]; then
  exec clang-format-14 -i "${files[@]}"
fi
clang-format-14 --dry-run -Werror "${files[@]}"
echo "${#files[@]} files are formatted."
