#!/usr/bin/env bash
# Fails when a program, stripped, is larger than the limit.
#   check_size.sh STRIP PROGRAM KILOBYTES
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$1" -o "$work/stripped" "$2"
size=$(stat -c %s "$work/stripped")
echo "$2: $size bytes stripped, limit $3 kB"
((size <= $3 * 1000))
