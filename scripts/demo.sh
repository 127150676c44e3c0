#!/usr/bin/env bash
# Builds the daemon and runs it on the emulated panel: first a short session that draws a screen, lights LEDs, presses a
# key and turns an encoder, then scalable text, then an intercom menu, a controlling application that starts the daemon.
# In a terminal the menu is there to be worked, in the terminal and as a web page, until it is left; elsewhere it is
# worked by a script. Leaves pictures of the screens.
#   scripts/demo.sh [PORT]       the web page's port (default 8096)
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
export PATH="$PWD/build/demo/bin:$PATH" # where the menu finds the daemon
if [[ -t 0 && -t 1 && -t 2 ]]; then
  step "The intercom menu (examples/menu.cpp), in this terminal and at http://127.0.0.1:${1:-8096}/; q ends it"
  read -rp "Press Enter to go on. "
  beltpack_sim --term --web "${1:-8096}" -- example_menu
else
  step "The intercom menu (examples/menu.cpp), worked by a script"
  beltpack_sim --web 0 --script tests/examples/menu.panel --gif build/demo/menu.gif --scale 4 -- example_menu
fi
step "The screens are $PWD/build/demo/screen.png, scalable_text.png and, without a terminal, menu.gif beside it"
