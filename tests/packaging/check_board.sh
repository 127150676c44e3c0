#!/usr/bin/env bash
# Compiles the panel's device tree as part of a board's, without a warning, and looks for what the daemon relies on.
#   check_board.sh PROJECT OUTPUT-FOLDER
set -euo pipefail
mkdir -p "$2"
tree=$2/board.dtb
dtc -i "$1/packaging/board" -O dtb -o "$tree" "$1/tests/packaging/board.dts" 2>"$2/warnings"
if [[ -s $2/warnings ]]; then
  cat "$2/warnings"
  exit 1
fi

# has NODE PROPERTY VALUE...
has() {
  local got
  got=$(fdtget "$tree" "$1" "$2")
  [[ $got == "${*:3}" ]] || { echo "$1 $2 is $got instead of ${*:3}"; exit 1; }
}

has /aliases spi3 /soc/spi@2014000
has /aliases spi4 /soc/spi@2018000
has /soc/spi@2014000/display-command@0 reg 0
has /soc/spi@2014000/display-data@1 reg 1
has /soc/spi@2018000/microphone-gain@0 reg 0
leds=/soc/i2c@21a8000/leds@60
[[ $(for led in $(fdtget -l "$tree" $leds); do fdtget "$tree" "$leds/$led" label; done | sort | xargs) == \
  "grn:c1 grn:c2 grn:t1 grn:t2 red:c1 red:c2 red:t1 red:t2" ]] || { echo "the lights are others"; exit 1; }
code=100
for key in Call_2:call-2 Talk_2:talk-2 Menu:menu Talk_1:talk-1 Call_1:call-1 Hp_Detect:hp-detect; do
  has "/panel-keys/${key#*:}" label "${key%:*}"
  has "/panel-keys/${key#*:}" linux,code "$code"
  code=$((code + 1))
done
# Probed in this order, the encoders become event1 to event3.
[[ $(fdtget -l "$tree" / | grep encoder | xargs) == "encoder-left encoder-right encoder-rear" ]]
