#!/usr/bin/env bash
# Builds the daemon and runs it on the emulated panel with a short session: it draws a screen, lights LEDs, presses a
# key and turns an encoder. Shows the daemon's event lines and leaves two pictures of the screen.
set -euo pipefail
cd "$(dirname "$0")/.."

step() { printf '\n== %s\n' "$*"; }

step "Packages"
scripts/setup.sh run
step "Building"
cmake --preset release -DBELTPACK_BENCH=OFF -DBELTPACK_TESTS=OFF -B build/demo
cmake --build build/demo
step "The session (examples/demo.panel); what follows are the daemon's own lines"
build/demo/bin/beltpack_sim --script examples/demo.panel --artifacts build/demo --scale 8 --trace 2>build/demo/trace
step "What reached the lights and the display's contrast meanwhile (all of it is in build/demo/trace)"
grep -E 'brightness|spidev3.0 81' build/demo/trace
step "Scalable text (examples/scalable_text.panel)"
mkdir -p build/demo/font
ln -sf /usr/share/fonts/truetype/dejavu/DejaVuSans.ttf build/demo/font/sans.ttf
(cd build/demo && bin/beltpack_sim --script ../../examples/scalable_text.panel --scale 8)
step "The screens are $PWD/build/demo/screen.png and scalable_text.png beside it"
