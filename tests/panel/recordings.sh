#!/usr/bin/env bash
# Recordings of the real daemon, played again as they are and with one thing changed.
#   recordings.sh SIMULATOR DAEMON OUTPUT-FOLDER
set -euo pipefail
simulator=$(realpath "$1")
daemon=$(realpath "$2")
here=$(dirname "$(realpath "$0")")
mkdir -p "$3"
cd "$3"
rm -rf ./*

fail() {
  echo "$*" >&2
  exit 1
}

# Plays a recording; the exit status has to be this one. What was told is in the file told.
replay() {
  local wanted=$1 status=0
  shift
  "$simulator" "$@" --scale 1 --timeout 50 >told 2>&1 || status=$?
  ((status == wanted)) || fail "replay $*: status $status, not $wanted"$'\n'"$(<told)"
}
tells() {
  [[ $(<told) == *"$1"* ]] || fail "no \"$1\" in:"$'\n'"$(<told)"
}

# A script, in both speeds.
"$simulator" --script "$here/../../examples/demo.panel" --timeout 50 --record demo.rec --gif demo.gif --frames frames >/dev/null
replay 0 --replay demo.rec --speed max
tells 'demo.rec: equal, 26 inputs, 13 lines, 3 frames'
replay 0 --replay demo.rec --speed 2
tells 'demo.rec: equal'
[[ $(head -c 6 demo.gif) == GIF89a ]] || fail "no GIF"
[[ $(cut -f 1,3 frames/index.tsv | tail -n 1) == $'3\tframe-000003.png' ]] || fail "no index"

# Another drawing: the same commands but for one corner of a bar, from 40 to 41: one column of four pixels.
sed 's/g:rect 0 40 42 34 4 white white/g:rect 0 41 42 33 4 white white/' demo.rec >drawing.rec
replay 1 --replay drawing.rec --speed max
tells 'drawing.rec:30: not as recorded, after line g:flush 0 (record 29)'
tells 'expected: frame 2, see ./drawing.frame-2.png'
tells 'got:      4 different pixels, see ./drawing.frame-2.got.png'
[[ -s drawing.frame-2.diff.png ]] || fail "no difference picture"

# Another display than the recorded one is fitted, and the daemon is not told.
replay 1 --replay demo.rec --speed max --panel 1
tells 'expected: frame 2, see ./demo.frame-2.png'
# It is told.
replay 0 --replay demo.rec --speed max --panel 1 --disptype 1

# Another line.
sed 's/"OnDisplayInfo1(1,96,64)"/"OnDisplayInfo1(1,96,65)"/' demo.rec >line.rec
replay 1 --replay line.rec --speed max
tells $'expected: line OnDisplayInfo1(1,96,65)\n  got:      line OnDisplayInfo1(1,96,64)'

# A controller, and a person's typing: the daemon is played by itself.
"$simulator" --record controller.rec -- "$here/controller.sh" "$daemon"
replay 0 --replay controller.rec --speed max
tells '9 lines, 2 frames'
printf 'g:info\ng:flush 0\na:set 9 1\n' | "$simulator" --record typed.rec >/dev/null
replay 0 --replay typed.rec --speed max
tells '8 lines, 2 frames'
