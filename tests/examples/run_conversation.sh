#!/usr/bin/env bash
# Holds a controlling application against a conversation: a stand-in for the daemon says what is written, and what
# the application answers, leaves on standard error and ends with has to be as written, too.
#   run_conversation.sh CONVERSATION-FOLDER OUTPUT-FOLDER CONTROLLER...
# A conversation holds, each of them only where it is wanted,
#   events      the daemon's lines; it then closes its output and reads to the end
#   daemon      instead of events: a shell script that is the daemon and leaves what it reads in the file "commands"
#   command     instead of both: the command line that the application is told to start
#   answers     the application's commands without the drawing, which is held against pictures elsewhere
#   stderr      what it leaves on standard error
#   status      its exit status, when it is not 0
set -euo pipefail
conversation=$(realpath "$1")
mkdir -p "$2"
cd "$2"
shift 2
rm -f answers commands status stderr

if [[ -e $conversation/command ]]; then
  read -ra daemon <"$conversation/command"
elif [[ -e $conversation/daemon ]]; then
  daemon=(sh "$conversation/daemon")
else
  daemon=(sh -c 'cat "$0"; exec cat >commands' "$conversation/events")
fi
touch commands status
status=0
"$@" --idle 1000 "${daemon[@]}" </dev/null 2>stderr || status=$?
((status == 0)) || echo "$status" >status
sed '/^g:/d' commands >answers

result=0
for name in answers stderr status; do
  expected=$conversation/$name
  [[ -e $expected ]] || expected=/dev/null
  diff -u "$expected" "$name" || result=1
done
exit "$result"
