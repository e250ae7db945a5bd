#!/usr/bin/env bash
# The unit is right, and the service is locked in: unit_test.sh SOURCE PROGRAM
set -euo pipefail
source=$1 program=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source "$(dirname "$0")/unit.sh"

directory=$(dirname "$program")
unit=$work/polaiga.service
# The options that the unit for controllers gives the program.
options=$(sed -n 's/^    set(unit_options "\(.*\)")$/\1/p' "$source/packaging/CMakeLists.txt")
[ -n "$options" ] || fail "packaging/CMakeLists.txt has no options for the unit of controllers"
engine_unit "$source" "$directory" "$options" no >"$unit"
verify_unit "$unit" PrivateNetwork=yes

# What the service could do is this, and nothing else that systemd knows of: it lives in the system's own
# root, talks over local sockets, lets the group read, may read the clock, sees which users connect, and
# gives its control socket to a group of which it is a member.
may='DeviceAllow PrivateUsers RestrictAddressFamilies_AF_UNIX RootDirectoryOrRootImage SupplementaryGroups SystemCallFilter_privileged UMask'
locked_in "$unit" "$may"

# What systemd does not weigh.
has_lines "$unit" <<'END'
StartLimitIntervalSec=0
Type=notify
EnvironmentFile=-/etc/default/polaiga
ExecReload=/bin/sh -c 'kill -HUP "$$MAINPID"'
StandardInput=null
Restart=on-failure
RestartSec=5
TimeoutStartSec=5min
TimeoutStopSec=15
WatchdogSec=30
Group=polaiga
SupplementaryGroups=polaiga-operators
StateDirectory=polaiga
StateDirectoryMode=0750
RuntimeDirectory=polaiga
RuntimeDirectoryMode=0711
RuntimeDirectoryPreserve=yes
UMask=0027
MemoryMax=128M
TasksMax=8
LimitNOFILE=256
PrivateIPC=yes
SystemCallErrorNumber=EPERM
END
# It uses the places that its documents name.
for option in --ledger=/var/lib/polaiga/ledger.db --socket=/run/polaiga/events.sock --control=/run/polaiga/control.sock; do
  grep -q "^ExecStart=.* ${option/=/ } " "$unit" || fail "the unit has no $option"
done
# The group of those who act on alarms is made, is the service's own, and gets the control socket.
grep -qxF 'g polaiga-operators -' "$source/packaging/systemd/polaiga.conf" || fail "polaiga.conf does not make the group of the operators"
grep -q '^ExecStart=.* --control-group polaiga-operators ' "$unit" || fail "the unit does not give the control socket to the operators"
# Of the calls that were taken away, it may make those that change the group of a file, and no others.
filter=$(sed -n 's/^SystemCallFilter=//p' "$unit" | paste -sd '|')
[ "$filter" = '@system-service|~@privileged @resources|lchown lchown32 fchownat' ] || fail "SystemCallFilter: $filter"
# The program knows the options that the unit gives it.
for option in $(sed -n 's/^\(ExecStart\|Environment\)=//p' "$unit" | grep -o -- '--[a-z-]*'); do
  "$program" run --help | grep -q -- "^ *$option " || fail "the program does not know $option"
done
# Words, not one argument, as systemd splits them, too.
# shellcheck disable=SC2086
"$program" run --ledger "$work/ledger.db" $options </dev/null 2>"$work/told" || fail "the program refuses $options: $(cat "$work/told")"
# The unit's limit of open files is enough for all clients. With less the engine would say so.
clients_fit() {
  rm -f "$work/told"
  (
    ulimit -n "$1"
    # shellcheck disable=SC2086
    exec "$program" run --ledger "$work/ledger.db" --socket "$work/e.sock" --control "$work/c.sock" $options </dev/null 2>"$work/told"
  ) &
  engine=$!
  until grep -qs ready: "$work/told"; do
    kill -0 "$engine" || break
    sleep 0.05
  done
  kill "$engine"
  wait "$engine" || fail "the engine fails with $1 open files: $(cat "$work/told")"
  ! grep -q RLIMIT_NOFILE "$work/told"
}
files=$(sed -n 's/^LimitNOFILE=//p' "$unit")
clients_fit "$files" || fail "LimitNOFILE=$files is not enough: $(cat "$work/told")"
! clients_fit 128 || fail "the engine does not tell that 128 open files are few"
echo "unit: passed"
