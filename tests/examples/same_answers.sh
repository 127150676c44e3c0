#!/usr/bin/env bash
# Tells two controlling applications the same long row of events; they have to answer with the same commands, the
# drawing included.
#   same_answers.sh OUTPUT-FOLDER ONE OTHER
set -euo pipefail
mkdir -p "$1"
cd "$1"

# Keys change between pressed and released, knobs turn either way, in a fixed order that looks random.
awk 'function random(n) { seed = seed * 16807 % 2147483647; return seed % n }
  BEGIN {
    seed = 20
    print "OnFpId(\"beltpack\",1,96,64)"
    for (i = 0; i < 1500; ++i) {
      code = random(9) + 1
      if (code == 9) code = 99
      knob = code >= 6 && code <= 8
      down[code] = !down[code]
      event = knob ? (random(2) ? 2 : -2) : down[code] ? 1 : -1
      printf "OnFpKey(%d,%d,%d)\n", code, event, random(600)
    }
  }' >events

number=0
for controller in "$2" "$3"; do
  number=$((number + 1))
  "$controller" --idle 1000 sh -c 'cat events; exec cat >"$0"' "commands.$number" </dev/null
done
test -s commands.1
cmp commands.1 commands.2
