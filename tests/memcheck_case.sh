#!/usr/bin/env bash
# Runs one session, see run_case.sh, with the daemon under valgrind: it fails as well when the daemon reads or writes what
# it may not, uses what was never set, or leaves memory behind.
#   memcheck_case.sh SIMULATOR DAEMON CASE-FOLDER OUTPUT-FOLDER
set -euo pipefail
tests=$(dirname "$(realpath "$0")")
daemon=$(realpath "$2")
case=$3
mkdir -p "$4"
out=$(realpath "$4")

# It has the daemon's name, by which the simulator knows whose time is virtual. A report is a different exit status, which
# no session expects.
report=$out/valgrind
wrapper=$out/beltpack_fpui
rm -f "$report".*
cat >"$wrapper" <<END
#!/bin/sh
exec valgrind --quiet --log-file='$report.%p' --error-exitcode=99 --leak-check=full \\
  --errors-for-leak-kinds=definite,possible --suppressions='$tests/memcheck.supp' \\
  --child-silent-after-fork=yes '$daemon' "\$@"
END
chmod +x "$wrapper"

options=(--timeout 100)
grep -qs -e '--clock' "$case/sim-options" || options+=(--clock virtual)
status=0
"$tests/run_case.sh" "$1" "$case" "$out" "${options[@]}" -- "$wrapper" || status=$?
if [[ -n $(cat "$report".*) ]]; then
  cat "$report".*
  status=1
fi
exit "$status"
