#!/usr/bin/env bash
# Makes the animation of docs/simulator.md: the wearer turns the volume up and talks, while a controller draws.
#   scripts/make-demo-gif.sh [BUILD-FOLDER] [FILE]     (default build/release, docs/pictures/demo.gif)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/release}
file=${2:-docs/pictures/demo.gif}

# The session: each function prints steps for the simulator.
screen() {
  cat <<'END'
send g:clear 0
send g:rect 0 0 0 96 11 white white
send g:font 0 F9x5p
send g:text 0 3 2 'Intercom 1' black
send g:rtext 0 -2 2 '12:47' black
send g:text 0 2 15 'A: Stage left' white
send g:text 0 2 26 'B: Party line' white
send g:text 0 2 40 'Volume' white
send g:line 0 0 52 96 52 white
END
}
volume() {
  echo "send g:rect 0 38 40 56 8 white black"
  echo "send g:rect 0 40 42 $1 4 white white"
  echo "send g:flush 0"
  echo "pause 100"
}
talk() {
  echo "send g:rect 0 0 54 96 10 black black"
  echo "send g:ctext 0 0 54 '$1' white"
  echo "send g:flush 0"
  echo "pause $2"
}
session() {
  local width
  echo "wait line OnFpKey(99,*"
  screen
  volume 10
  talk 'Listening' 700
  for width in {12..44..4}; do
    printf '%s\n' "turn Left 1" "wait line OnFpKey(7,2,*"
    volume "$width"
  done
  printf '%s\n' "press Talk_1" "wait line OnFpKey(1,1,*"
  talk 'Talk 1 on' 1200
  printf '%s\n' "release Talk_1" "wait line OnFpKey(1,-1,*"
  talk 'Listening' 800
}

script=$(mktemp)
trap 'rm -f "$script"' EXIT
session >"$script"
mkdir -p "$(dirname "$file")"
"$build/bin/beltpack_sim" --script "$script" --gif "$file" --scale 3 >"$script.lines" || {
  cat "$script.lines"
  exit 1
}
rm -f "$script.lines"
echo "$file"
