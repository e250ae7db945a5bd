#!/usr/bin/env bash
# The unit of the web server is right and lets the service do no more than it needs, and the engine's unit takes the
# server as a gateway: web_unit_test.sh SOURCE PROGRAM WEB
# PROGRAM is polaiga, WEB is polaiga-web. Both are run as their units run them.
set -euo pipefail
source=$1 program=$2 web=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source "$(dirname "$0")/unit.sh"

directory=$(dirname "$web")
unit=$work/polaiga-web.service
sed "s|@bindir@|$directory|" "$source/packaging/systemd/polaiga-web.service.in" >"$unit"
verify_unit "$unit" PrivateMounts=yes

# Beside what the engine's service may, it uses the network, whichever addresses its options name, and it gives no
# socket to another group.
locked_in "$unit" 'DeviceAllow IPAddressDeny PrivateNetwork PrivateUsers RestrictAddressFamilies_AF_INET_INET6 RestrictAddressFamilies_AF_UNIX RootDirectoryOrRootImage SupplementaryGroups'
has_lines "$unit" <<'END'
After=polaiga.service network.target
StartLimitIntervalSec=0
Type=notify
EnvironmentFile=-/etc/default/polaiga-web
ExecReload=/bin/sh -c 'kill -HUP "$$MAINPID"'
StandardInput=null
Restart=on-failure
TimeoutStopSec=15
WatchdogSec=30
User=polaiga-web
Group=polaiga-web
SupplementaryGroups=polaiga polaiga-operators
StateDirectory=polaiga-web
StateDirectoryMode=0700
RuntimeDirectory=polaiga-web
RuntimeDirectoryMode=0750
UMask=0077
MemoryMax=512M
TasksMax=64
LimitNOFILE=2048
PrivateIPC=yes
SystemCallFilter=@system-service
SystemCallFilter=~@privileged @resources
SystemCallErrorNumber=EPERM
END
# It does not stop with the engine.
! grep -E '^(Requires|Requisite|BindsTo|PartOf|Wants)=' "$unit" || fail "the service depends on another"
grep -q '^u polaiga-web - ' "$source/packaging/systemd/polaiga-web.conf" || fail "polaiga-web.conf does not make the user"

# words_of NAME UNIT: the value of the line Environment=NAME=VALUE or Environment="NAME=VALUE" of the unit, without
# quotes. systemd splits it into words where ExecStart has $NAME.
words_of() { sed -n "s/^Environment=\"\\{0,1\\}$1=\\(.*\\)/\\1/p" "$2" | sed 's/"$//'; }

# Becomes what the service runs, with places of the test's own: (start STATE LISTEN OPTIONS...)
script=$(sed -n '/^ExecStart=\/bin\/sh -c /,/\$POLAIGA_WEB_OPTIONS$/p' "$unit" |
  sed -e "1s/^ExecStart=\\/bin\\/sh -c '//" -e "\$s/' polaiga-web \\\$POLAIGA_WEB_OPTIONS\$//" -e 's/ *\\$//' -e 's/\$\$/$/g' | paste -sd ' ')
[ -n "$script" ] || fail "the unit starts nothing"
start() { exec env STATE_DIRECTORY="$1" POLAIGA_WEB_LISTEN="$2" /bin/sh -c "$script" polaiga-web "${@:3}"; }

# First with a program that tells its arguments.
mkdir "$work/bin" "$work/state"
printf '#!/bin/sh\nprintf "%%s " "${0##*/}" "$@"\n' >"$work/bin/polaiga-web"
chmod 755 "$work/bin/polaiga-web"
real=$script script=${script//$directory/$work/bin}
common="--ledger /var/lib/polaiga/ledger.db --control /run/polaiga/control.sock --program $work/bin/polaiga --state $work/state"
told() { [ "$1" = "$2" ] || fail "the service runs $1, not $2"; }
listen=$(words_of POLAIGA_WEB_LISTEN "$unit")
[ "$listen" = 127.0.0.1:8080 ] || fail "the service listens at $listen"
told "$(start "$work/state" "$listen")" "polaiga-web $common --listen 127.0.0.1:8080 "
told "$(start "$work/state" '[::]:8443' --push-retry 5)" "polaiga-web $common --listen [::]:8443 --push-retry 5 "
: >"$work/state/users"
told "$(start "$work/state" "$listen" --push-local)" "polaiga-web $common --listen $listen --users $work/state/users --push-local "
for other in '--users /other' '--users=/other'; do
  # shellcheck disable=SC2086
  told "$(start "$work/state" "$listen" $other)" "polaiga-web $common --listen $listen $other "
done
rm "$work/state/users"

# Then with the server itself, beside the engine as its unit starts it. The user of this test takes the part of the
# server's.
script=${real//\/var\/lib\/polaiga\/ledger.db/$work/ledger.db}
script=${script//\/run\/polaiga\/control.sock/$work/control.sock}
gateway=$(words_of POLAIGA_GATEWAY "$source/packaging/systemd/polaiga.service.d/polaiga-web.conf")
[ "$gateway" = '--gateway polaiga-web' ] || fail "the engine is told: $gateway"
grep -q '^ExecStart=.* \$POLAIGA_GATEWAY ' "$source/packaging/systemd/polaiga.service.in" || fail "the engine's unit takes no gateway"
grep -qx 'Environment=POLAIGA_GATEWAY=' "$source/packaging/systemd/polaiga.service.in" || fail "the engine's unit has a gateway of its own"
processes=()
stop() { for process in "${processes[@]}"; do kill "$process" 2>/dev/null && wait "$process" || true; done; }
trap 'stop; rm -rf "$work"' EXIT
# ready FILE PROCESS: waits until the process has written to the file that it is ready.
ready() {
  until grep -qs ready: "$1"; do
    kill -0 "$2" 2>/dev/null || fail "$(cat "$1")"
    sleep 0.05
  done
}
# shellcheck disable=SC2086
"$program" run --ledger "$work/ledger.db" --socket "$work/e.sock" --control "$work/control.sock" ${gateway/polaiga-web/$(id -un)} \
  </dev/null 2>"$work/engine" &
processes+=($!)
ready "$work/engine" $!
printf 'a long password\n' | "$web" passwd --users "$work/state/users" --role operator anna >"$work/log"
(start "$work/state" "unix:$work/http.sock") 2>"$work/web" &
processes+=($!)
ready "$work/web" $!
ask() { curl --silent --show-error --max-time 60 --unix-socket "$work/http.sock" "$@"; }
answer=$(ask --user 'anna:a long password' --json '{"do":"maintain","dn":"sys/rack-unit-1","comment":"swap","for":600}' http://localhost/api/v1/actions)
[[ $answer == *'"changes":1'* ]] || fail "the action was answered with $answer"
answer=$("$program" maintenance --json --ledger "$work/ledger.db")
[[ $answer == *'"anna"'* ]] || fail "the ledger does not know who acted: $answer"
echo "web unit: passed"
