#!/usr/bin/env bash
# No path of the machine that built them is in these files: check_paths.sh FOLDER FILE...
set -euo pipefail
folder=$1
shift
status=0
for file; do
  if grep -aoF "$folder" "$file" | head -1 | grep -q .; then
    echo "$file names $folder"
    status=1
  fi
done
exit "$status"
