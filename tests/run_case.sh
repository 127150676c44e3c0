#!/usr/bin/env bash
# Runs one session of the daemon on the emulated panel and holds what came out against what the case's folder says.
#   run_case.sh SIMULATOR CASE-FOLDER OUTPUT-FOLDER [--update] [further options of the simulator]
# A case holds
#   session       the script; pictures that it names lie beside it
#   check         a program that is run afterwards in the case's folder, with the output folder (it holds log.json, the
#                 log with its times) as its argument, and must succeed, if any
#   sim-options   further options of the simulator, if any
#   stdout        the daemon's standard output; the milliseconds of event lines are told as MS
#   log           every bus transfer, attribute access and system-log message in order, in the simulator's words
# and all but the session may be missing. With --update they are written, and so are the pictures: look at them.
set -euo pipefail
simulator=$(realpath "$1")
case=$(realpath "$2")
mkdir -p "$3"
out=$(realpath "$3")
update=${4:-}
further=("${@:4}")
[[ $update != --update ]] || further=("${@:5}")

options=()
[[ ! -e $case/sim-options ]] || read -ra options <"$case/sim-options"
options+=("${further[@]}")
[[ $update != --update ]] || options+=(--update-pictures)

cd "$case"
status=0
"$simulator" --script session --artifacts "$out" --log "$out/log.json" "${options[@]}" >"$out/stdout.raw" || status=$?
if ((status != 0)); then
  echo "the session ended with status $status"
  exit "$status"
fi

# An event line's milliseconds depend on the moment; -1, in the lines of the start, does not.
sed -E 's/(OnFpKey\(-?[0-9]+,-?[0-9]+,)[0-9]+\)/\1MS)/' "$out/stdout.raw" >"$out/stdout"
sed -E 's/,"ms":[0-9.]+//' "$out/log.json" >"$out/log"

for name in stdout log; do
  [[ -e $case/$name ]] || continue
  if [[ $update == --update ]]; then
    cp "$out/$name" "$case/$name"
  elif ! diff -u "$case/$name" "$out/$name"; then
    echo "$name differs; the session's own is $out/$name"
    status=1
  fi
done
if [[ -x $case/check ]] && ! "$case/check" "$out"; then
  status=1
fi
exit "$status"
