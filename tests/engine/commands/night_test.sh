#!/usr/bin/env bash
# Whether the story of examples/night comes to its end, and what its ledger says then: night_test.sh NIGHT PROGRAM
set -euo pipefail
night=$1 program=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
same() { [ "$2" = "$3" ] || { echo "$1: $2, not $3"; failed=1; }; }
has() { grep -qF -- "$1" "$work/told" || { echo "the story does not say: $1"; failed=1; }; }

mkdir "$work/night"
"$night" "$program" "$work/night" </dev/null >"$work/told" 2>"$work/errors" || { cat "$work/told" "$work/errors"; exit 1; }
same 'standard error' "$(cat "$work/errors")" ''
same 'the last line' "$(tail -n 1 "$work/told")" 'The ledger is sound.'
same 'answers that are no acknowledgements' "$(grep -vc '^{"seq":[0-9]*}$' "$work/night/answers")" 0
same 'events' "$(grep -c . "$work/night/answers")" 24
has 'Acknowledged 1 alarm.'
has 'Shelved 1 alarm.'
has 'Silenced: 1 shelved, 1 out of service. --shelved lists them.'
has 'Acknowledged 8 missed alarms.'
has 'No faults are active.'
has 'Chattering: 1 (raised again more than 5 times in 10 minutes)'

# The ledger tells the same afterwards.
export POLAIGA_LEDGER=$work/night/ledger.db
same 'active' "$("$program" active --all --json)" ''
same 'missed' "$("$program" missed --json)" ''
same 'maintenance' "$("$program" maintenance --json)" ''
same 'alarms' "$("$program" history --limit 0 --json | grep -c .)" 11
actions=$("$program" tail --no-follow --after 0 --json | sed -n 's/.*"change":"\([a-z_]*\)".*"action":.*/\1/p' | xargs)
same 'actions' "$actions" 'acknowledged shelved out_of_service back_in_service'

# Nothing is left behind without a directory of its own.
mkdir "$work/tmp"
TMPDIR=$work/tmp "$night" "$program" </dev/null >"$work/told"
same 'the last line' "$(tail -n 1 "$work/told")" 'The ledger is sound.'
same 'what is left' "$(ls -A "$work/tmp")" ''

[ "$failed" -eq 0 ] && echo "night: passed"
exit "$failed"
