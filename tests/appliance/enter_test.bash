#!/bin/bash
# appliance/enter seen from outside: how it ends, what it passes on, and that nothing is left behind.
# usage: enter_test.bash CHECKOUT BUILD
set -u
enter=("$1/appliance/enter" --build "$2")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0

# expect WHAT WANTED GOT
expect() {
  [[ $2 == "$3" ]] || { echo "FAILED: $1: wanted '$2', got '$3'" && ((++failures)); }
}
# endsWith WANTED COMMAND...: the exit code of a command whose words do not matter
endsWith() {
  local wanted=$1
  shift
  "$@" >/dev/null 2>&1 </dev/null
  expect "exit code of ${*: -3}" "$wanted" $?
}
# becomesTrue WHAT COMMAND...
becomesTrue() {
  local what=$1 tries
  shift
  for ((tries = 0; tries < 100; ++tries)); do
    "$@" && return
    sleep 0.05
  done
  expect "$what" true false
}
# gone ARGUMENT: no process has it; the brackets keep the search from finding itself
gone() { ! grep -qsa -- "[${1:0:1}]${1:1}" /proc/[0-9]*/cmdline; }

mounts=$(</proc/self/mountinfo)

# The command's own end is the end; the appliance's own failures are told apart from it.
endsWith 7 "${enter[@]}" -- bash -c 'exit 7'
endsWith 137 "${enter[@]}" -- bash -c 'kill -KILL $$'
endsWith 127 "${enter[@]}" -- no-such-command
endsWith 126 "${enter[@]}" -- /etc/passwd
endsWith 125 "${enter[@]}"
endsWith 125 "$1/appliance/enter" --build "$scratch" -- true
expect 'sentences for a missing build' 1 "$("$1/appliance/enter" --build "$scratch" -- true 2>&1 | wc -l)"

# Signals reach the command, also during the boot; a signal to its own group stays inside.
endsWith 124 timeout -s TERM -k 10 0.3 "${enter[@]}" -- sleep 20
endsWith 124 timeout -s TERM -k 10 0.01 "${enter[@]}" -- sleep 20
endsWith 143 "${enter[@]}" -- bash -c 'kill -TERM 0; sleep 20'
"${enter[@]}" -- bash -c "trap 'exit 9' TERM; echo up; sleep 20 & wait" >"$scratch/up" &
becomesTrue 'the command runs' test -s "$scratch/up"
kill -TERM $! && wait $!
expect 'exit code of a command that answers SIGTERM' 9 $?

# Nothing outlives it, however it ends.
mark=20.$$
"${enter[@]}" -- bash -c "trap '' TERM; sleep $mark & setsid sleep $mark & exit 0"
becomesTrue 'background processes end with the command' gone "$mark"
"${enter[@]}" -- bash -c "trap '' TERM; echo up; sleep $mark" >"$scratch/up2" &
becomesTrue 'the command runs' test -s "$scratch/up2"
kill -KILL $! && wait $! 2>/dev/null
becomesTrue 'killing the outside ends the inside' gone "$mark"

# What it changes stays inside, or in the state.
"${enter[@]}" -- bash -c "touch /etc/left-$$ /usr/left-$$ '$1/left-$$' /tmp/left-$$; rm /etc/passwd"
expect 'files left behind' '' "$(ls -d /etc/left-$$ /usr/left-$$ "$1/left-$$" /tmp/left-$$ 2>/dev/null)"
"${enter[@]}" --state "$scratch/state" -- bash -c 'echo one >/etc/admin/file; rm /etc/hotswap.conf; echo two >/volume/v1/file'
expect 'kept state' 'one two' "$("${enter[@]}" --state "$scratch/state" -- \
  bash -c 'echo $(cat /etc/admin/file /volume/v1/file); ls /etc/hotswap.conf' 2>/dev/null)"
"${enter[@]}" --state "$scratch/state" -- bash -c 'echo up; sleep 20' >"$scratch/up3" &
becomesTrue 'the command runs' test -s "$scratch/up3"
endsWith 125 "${enter[@]}" --state "$scratch/state" -- true
kill -TERM $! && wait $!

# It starts the command where it was called.
expect 'current folder' "$1/src" "$(cd "$1/src" && "${enter[@]}" pwd)"
expect 'mounts outside' "$mounts" "$(</proc/self/mountinfo)"
((failures == 0)) && echo 'all as promised'
exit $((failures > 0))
