#!/usr/bin/env bash
# A controlling application that starts the daemon by itself, by its path, as a child process with a pipe at either
# end; and the test that runs it on the emulated panel with the daemon's lines looked at.
#   controller.sh test SIMULATOR DAEMON
#   controller.sh DAEMON            the controller: exit status 0 when the daemon has answered and ended in order
set -euo pipefail

fail() {
  echo "$*" >&2
  exit 1
}

# Reads the daemon's lines up to this one.
await() {
  local line
  while IFS= read -r -t 10 -u "${daemon[0]}" line; do
    [[ $line != "$1" ]] || return 0
  done
  fail "no line $1"
}

control() {
  coproc daemon { exec "$1"; }
  local pid=$daemon_PID to=${daemon[1]} rest status=0
  await 'OnFpKey(99,-1,-1)'
  echo 'g:info' >&"$to"
  await 'OnDisplayInfo1(1,96,64)'
  echo 'g:nonsense' >&"$to"
  await "OnError(\"command 'nonsense' was not recognized, ignored\")"
  exec {to}>&-
  # The end of its output comes with its own end.
  ! IFS= read -r -t 10 -u "${daemon[0]}" rest || fail "unexpected line $rest"
  wait "$pid" || status=$?
  ((status == 0)) || fail "the daemon ended with status $status"
}

expect_lines() {
  local line
  for line in '< g:info' '> OnDisplayInfo1(1,96,64)' '< g:nonsense' '> OnFpId("beltpack",1,96,64)'; do
    grep -qxF -- "$line" <<<"$1" || fail "no \"$line\" in:"$'\n'"$1"
  done
}

if [[ $1 == test ]]; then
  shown=$("$2" --lines -- "$0" "$3" 2>&1) || fail "$shown"
  expect_lines "$shown"
  shown=$("$2" -- "$0" "$3" 2>&1) || fail "$shown"
  [[ -z $shown ]] || fail "lines without being asked: $shown"
else
  control "$1"
fi
