#!/usr/bin/env bash
# Tries the program that exports the outputs, on a folder in place of /sys/class/gpio.
#   check_lines.sh EXPORT-LINES OUTPUT-FOLDER
set -euo pipefail
program=$1
class=$2/gpio
group=$(id -gn)
rm -rf "$2"
mkdir -p "$class"

fail() {
  echo "$*"
  exit 1
}
# What the kernel does at an export.
make_line() {
  mkdir "$class/new"
  echo in >"$class/new/direction"
  echo 1 >"$class/new/value"
  chmod 644 "$class/new"/*
  mv "$class/new" "$class/gpio$1"
}

# A line that is exported already is taken over as it is.
make_line 9
"$program" -c "$class" -t 0 "$group" 9 || fail "an exported line was refused"
[[ $(stat -c %a "$class/gpio9/value" "$class/gpio9/direction" | sort -u) == 664 ]] || fail "the group cannot write"
[[ $(cat "$class/gpio9/direction" "$class/gpio9/value") == $'in\n1' ]] || fail "the line was changed"

# A line of which there is no controller is named, and the others are still handed over.
make_line 105
if "$program" -c "$class" -t 1 "$group" 254 105 2>"$2/errors"; then
  fail "a line that does not exist was had"
fi
[[ $(cat "$2/errors") == "GPIO line 254 cannot be had" ]] || fail "it says: $(cat "$2/errors")"
[[ $(stat -c %a "$class/gpio105/value") == 664 ]] || fail "the second line was not handed over"

# Lines that are not exported yet are exported.
rm -f "$class/export"
mkfifo "$class/export"
(
  exec 3<>"$class/export"
  while [[ ! -d $class/gpio255 ]] && read -r -t 30 number <&3; do
    [[ -d $class/gpio$number ]] || make_line "$number"  # a second request is EBUSY to the kernel
  done
) &
"$program" -c "$class" "$group" 254 255 || fail "a line was not exported"
wait $!
[[ $(stat -c %a "$class/gpio255/value") == 664 ]] || fail "an exported line was not handed over"
