#!/usr/bin/env bash
# Whatever the daemon opens, the units let it open and the device rules give to its group; and nothing else.
#   check_devices.sh DAEMON UNIT-FOLDER PROJECT
# The paths are read from the program itself.
set -euo pipefail
daemon=$1
service=$2/beltpack-fpui.service
lines=$2/beltpack-fpui-lines.service
controller=$3/packaging/systemd/controller.service
rules=$3/packaging/udev/70-beltpack-fpui.rules

status=0
# same TITLE EXPECTED GOT: two lists, one word a line.
same() {
  if ! diff <(sort -u <<<"$2") <(sort -u <<<"$3") >/dev/null; then
    printf '%s: expected\n%s\nbut it has\n%s\n' "$1" "$2" "$3"
    status=1
  fi
}

paths=$(grep -aoE '/(dev/(spidev|input/)|sys/class/leds/)[A-Za-z0-9_./:]+' "$daemon" | sort -u)
nodes=$(grep ^/dev/ <<<"$paths")
lights=$(sed -n 's,^\(/sys/class/leds/.*\)/brightness$,\1,p' <<<"$paths")
[[ $(wc -l <<<"$nodes") == 7 && $(wc -l <<<"$lights") == 8 ]] || {
  echo "unexpected paths in $daemon: $paths"
  exit 1
}

for unit in "$service" "$controller"; do
  same "DeviceAllow= of $unit" "$nodes" "$(sed -n 's/^DeviceAllow=\([^ ]*\) .*/\1/p' "$unit")"
  same "devices that $unit waits for" "$(tr / - <<<"${nodes//\/dev\//dev-}" | sed 's/$/.device/')" \
    "$(grep ^After= "$unit" | grep -o 'dev-[^ ]*')"
done
same "lights that $service waits for" "$(sed 's,/sys/class/leds/\(.*\),sys-class-leds-\1.device,' <<<"$lights")" \
  "$(grep ^After= "$service" | grep -o 'sys-class-leds-[^ ]*')"
same "writable lights of $service" "$lights" \
  "$(grep ^ReadWritePaths= "$service" | grep -o '/sys/class/leds/[^ ]*')"

# The lines stand in the daemon's table as numbers.
numbers=$(grep -oE '\{[0-9]+, -1, "' "$3/hw/ibp_gpio.cpp" | grep -oE '[0-9]+' | grep -v '^1$')
same "exported lines" "$numbers" "$(sed -n 's/^ExecStart=.* beltpack //p' "$lines" | tr ' ' '\n')"
same "writable lines of $service" "$numbers" \
  "$(grep ^ReadWritePaths= "$service" | grep -oE 'gpio[0-9]+' | grep -oE '[0-9]+')"

# ruled SUBSYSTEM NAME: a rule of this subsystem matches the kernel's name.
ruled() {
  local patterns pattern
  patterns=$(sed -n "s/^SUBSYSTEM==\"$1\", KERNEL==\"\([^\"]*\)\".*/\1/p" "$rules" | tr '|' '\n')
  while read -r pattern; do
    # shellcheck disable=SC2053  # a pattern, as in the rule
    [[ $2 == $pattern ]] && return 0
  done <<<"$patterns"
  return 1
}
expect_rule() { ruled "$@" || { echo "no rule for $*"; status=1; }; }
expect_no_rule() { ! ruled "$@" || { echo "a rule for $*"; status=1; }; }

for node in $nodes; do
  if [[ $node == /dev/input/* ]]; then
    expect_rule input "${node##*/}"
  else
    expect_rule spidev "${node##*/}"
  fi
done
for light in $lights; do
  expect_rule leds "${light##*/}"
done
expect_no_rule input event0
expect_no_rule input event5
expect_no_rule input event10
expect_no_rule spidev spidev4.1
expect_no_rule leds pca963x:grn:x1
exit "$status"
