#!/usr/bin/env bash
# The unit of a program that reads a fleet's database is right and lets the service do no more than it needs:
# fleet_unit_test.sh SOURCE NAME PROGRAM
# NAME is web-fleet or alertmanager-fleet, PROGRAM is polaiga-NAME. It is run as its unit runs it.
set -euo pipefail
source=$1 name=$2 program=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source "$(dirname "$0")/unit.sh"

directory=$(dirname "$program")
unit=$work/polaiga-$name.service
sed "s|@bindir@|$directory|" "$source/packaging/systemd/polaiga-$name.service.in" >"$unit"
verify_unit "$unit" PrivateMounts=yes

# It uses the network, whichever addresses its options name.
may='DeviceAllow IPAddressDeny PrivateNetwork RestrictAddressFamilies_AF_INET_INET6 RestrictAddressFamilies_AF_UNIX RootDirectoryOrRootImage'
case $name in
  web-fleet)
    # The server asks who it is that connects to its Unix socket.
    may=${may/PrivateNetwork/PrivateNetwork PrivateUsers}
    after='network.target postgresql.service'
    own=(WatchdogSec=30 StateDirectory=polaiga-web-fleet StateDirectoryMode=0700 RuntimeDirectory=polaiga-web-fleet RuntimeDirectoryMode=0750 LimitNOFILE=2048)
    secrets= ;;
  alertmanager-fleet)
    after='network.target postgresql.service prometheus-alertmanager.service'
    own=(WatchdogSec=30 RestartPreventExitStatus=2 PrivateUsers=yes LimitNOFILE=128)
    # A secret, its option, and the option without which it is of no use.
    secrets='credentials:--credentials-file:--a key:--tls-key:--tls-cert' ;;
  *) fail "there is no unit of $name" ;;
esac
locked_in "$unit" "$may"
printf '%s\n' "${own[@]}" | has_lines "$unit"
has_lines "$unit" <<END
After=$after
StartLimitIntervalSec=0
Type=notify
EnvironmentFile=-/etc/default/polaiga-$name
LoadCredential=polaiga-$name.pgpass
ExecReload=/bin/sh -c 'kill -HUP "\$\$MAINPID"'
StandardInput=null
Restart=on-failure
RestartSec=5
TimeoutStopSec=15
User=polaiga-$name
Group=polaiga-$name
UMask=0077
PrivateIPC=yes
SystemCallFilter=@system-service
SystemCallFilter=~@privileged @resources
SystemCallErrorNumber=EPERM
END
# It stops with nobody else, and no other user's files are its own.
! grep -E '^(Requires|Requisite|BindsTo|PartOf|Wants|SupplementaryGroups)=' "$unit" || fail "the service depends on another"
grep -q "^u polaiga-$name - " "$source/packaging/systemd/polaiga-$name.conf" || fail "polaiga-$name.conf does not make the user"

# words_of NAME: the value of the line Environment=NAME=VALUE or Environment="NAME=VALUE" of the unit, without quotes.
words_of() { sed -n "s/^Environment=\"\\{0,1\\}$1=\\(.*\\)/\\1/p" "$unit" | sed 's/"$//'; }

# What the service runs, with the program in a directory that the test chooses: (start DIRECTORY CREDENTIALS OPTIONS...)
variable=POLAIGA_${name^^}
variable=${variable//-/_}
script=$(sed -n "/^ExecStart=\\/bin\\/sh -c /,/\\\$${variable}_OPTIONS\$/p" "$unit" |
  sed -e "1s/^ExecStart=\\/bin\\/sh -c '//" -e "\$s/' polaiga-$name \\\$${variable}_OPTIONS\$//" -e 's/ *\\$//' -e 's/\$\$/$/g' | paste -sd ' ')
[ -n "$script" ] || fail "the unit starts nothing"
database=$(words_of "${variable}_DATABASE")
[ "$database" = postgresql://polaiga_viewer@localhost/polaiga ] || fail "the service reads the database $database"
listen=$(words_of "${variable}_LISTEN")
mkdir "$work/bin" "$work/none" "$work/store" "$work/state"
start() {
  exec env -u PGPASSFILE CREDENTIALS_DIRECTORY="$2" STATE_DIRECTORY="$work/state" "${variable}_DATABASE=$database" \
    "${variable}_LISTEN=$listen" /bin/sh -c "${script//$directory/$1}" "polaiga-$name" "${@:3}"
}

# First with a program that tells its arguments, and where the password of the database is.
printf '#!/bin/sh\nprintf "%%s " "${0##*/}" "$@" "${PGPASSFILE-}"\n' >"$work/bin/polaiga-$name"
chmod 755 "$work/bin/polaiga-$name"
told() { [ "$1" = "$2" ] || fail "the service runs $1, not $2"; }
common="polaiga-$name --fleet $database"
if [ "$name" = web-fleet ]; then
  [ "$listen" = 127.0.0.1:8080 ] || fail "the service listens at $listen"
  common+=" --listen $listen"
fi
told "$(start "$work/bin" "$work/none" --a b)" "$common --a b  "
: >"$work/store/polaiga-$name.pgpass"
told "$(start "$work/bin" "$work/store" --a b)" "$common --a b $work/store/polaiga-$name.pgpass "
rm "$work/store/polaiga-$name.pgpass"
for secret in $secrets; do
  IFS=: read -r stored option of <<<"$secret"
  file=$work/store/polaiga-$name.$stored
  grep -qxF "LoadCredential=polaiga-$name.$stored" "$unit" || fail "the service does not load ${file##*/}"
  : >"$file"
  told "$(start "$work/bin" "$work/store" $of b)" "$common $of b $option $file  "
  told "$(start "$work/bin" "$work/store" $of b "$option" other)" "$common $of b $option other  "
  told "$(start "$work/bin" "$work/store" $of b "$option=other")" "$common $of b $option=other  "
  [ "$of" = --a ] || told "$(start "$work/bin" "$work/store" --a b)" "$common --a b  "
  rm "$file"
done
if [ "$name" = web-fleet ]; then
  : >"$work/state/users"
  told "$(start "$work/bin" "$work/none" --a b)" "$common --users $work/state/users --a b  "
  for other in '--users /other' '--users=/other'; do
    # shellcheck disable=SC2086
    told "$(start "$work/bin" "$work/none" $other)" "$common $other  "
  done
  rm "$work/state/users"
fi

# The program knows the options that the unit gives it.
options=$(words_of "${variable}_OPTIONS")
for option in $(sed -n '/^ExecStart=/,/_OPTIONS$/p' "$unit" | grep -o -- '--[a-z][a-z-]*' | sort -u) $(grep -o -- '--[a-z-]*' <<<"$options"); do
  "$program" --help | grep -q -- "^ *\\(-[a-z],\\)\\?$option\\b" || fail "the program does not know $option"
done
# It runs with them until it is stopped, although there is no database. Port 1 is nobody's.
database=postgresql://polaiga_viewer@127.0.0.1:1/polaiga listen=unix:$work/http.sock
# shellcheck disable=SC2086
(start "$directory" "$work/none" $options) 2>"$work/said" &
process=$!
trap 'kill "$process" 2>/dev/null || true; rm -rf "$work"' EXIT
for _ in $(seq 400); do
  if grep -q ready: "$work/said"; then break; fi
  kill -0 "$process" 2>/dev/null || fail "polaiga-$name ended: $(cat "$work/said")"
  sleep 0.05
done
grep -q ready: "$work/said" || fail "polaiga-$name does not say that it is ready: $(cat "$work/said")"
kill "$process"
status=0
wait "$process" || status=$?
[ "$status" -eq 0 ] || fail "polaiga-$name ends with the status $status: $(cat "$work/said")"
echo "fleet unit: passed ($name)"
