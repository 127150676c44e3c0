#!/usr/bin/env bash
# Records one session of the daemon, see run_case.sh, and plays the recording again as fast as it goes: all lines and
# frames have to come again.
#   replay_case.sh SIMULATOR CASE-FOLDER OUTPUT-FOLDER
set -euo pipefail
simulator=$(realpath "$1")
case=$(realpath "$2")
mkdir -p "$3"
out=$(realpath "$3")

# A machine that builds beside its tests may stand still for seconds.
options=(--timeout 50)
more=()
[[ ! -e $case/sim-options ]] || read -ra more <"$case/sim-options"

cd "$case"
"$simulator" --script session --artifacts "$out" --record "$out/session.rec" "${options[@]}" "${more[@]}" >/dev/null
"$simulator" --replay "$out/session.rec" --speed max --artifacts "$out" "${options[@]}"
