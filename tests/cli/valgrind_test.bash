#!/bin/bash
# The nas1 command under valgrind: no line of a working day may read what was never written, or lose memory.
# Without plan and verify, whose copies take a system call that valgrind does not know. Runs inside the throw-away
# appliance; says "skipped: " where valgrind is missing.
set -u
[[ -e /run/appliance/marker ]] || { echo 'this is no throw-away appliance' && exit 1; }
command -v valgrind >/dev/null || { echo 'skipped: valgrind is not installed (package valgrind)' && exit 0; }
report=$(mktemp)
failures=0

# watched WORD...: the exit code is the command's own, 99 when valgrind has found something.
watched() {
  valgrind -q --leak-check=full --errors-for-leak-kinds=definite --error-exitcode=99 --log-file="$report" \
    "$(command -v nas1)" "$@" >/dev/null 2>&1
}

while read -r wanted words; do
  [[ -n $wanted ]] || continue
  watched $words </dev/null
  got=$?
  ((got == wanted)) || { echo "FAILED: nas1 $words: ends with $got, not $wanted" && cat "$report" && ((++failures)); }
done <<'END'
0 share add docs /volume/v1/docs --comment letters
0 user add anna --no-password
0 group add staff
0 group join staff anna
0 perm add docs user:anna=1 group:staff=2
0 perm explain anna docs
0 nfs set docs 192.0.2.1=rw 192.0.2.2=ro
0 config set CIFS_GROUP_NAME OFFICE
0 config list
0 snapshot set v1 --reserved 21
0 module add radio
0 event raise 11
0 log --json
0 share list --json
0 share mod docs --path /volume/v1/letters
0 user list
0 status
0 db check
0 db backup /tmp/backup
0 state export /tmp/state
0 batch -
0 state import /tmp/state
0 share list
0 user del anna --yes
0 share del docs --yes
0 completion bash
2 share lits
3 share show docs
9 share add bad /volume/v1/../../etc
END
((failures == 0)) && echo 'nothing to complain about'
exit $((failures > 0))
