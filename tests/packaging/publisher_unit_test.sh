#!/usr/bin/env bash
# The unit of a publisher is right and lets the service do no more than it needs, and the engine's unit lets its user move
# its cursor: publisher_unit_test.sh SOURCE PROGRAM NAME PUBLISHER
# PROGRAM is polaiga, PUBLISHER is polaiga-NAME.
set -euo pipefail
source=$1 program=$2 name=$3 publisher=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source "$(dirname "$0")/unit.sh"

directory=$(dirname "$publisher")
unit=$work/polaiga-$name.service
sed "s|@bindir@|$directory|" "$source/packaging/systemd/polaiga-$name.service.in" >"$unit"
verify_unit "$unit" PrivateMounts=yes

# The subagent of snmpd uses no network. The others use it, whichever addresses their options name.
if [ "$name" = snmp ]; then
  locked_in "$unit" 'DeviceAllow PrivateUsers RestrictAddressFamilies_AF_UNIX RootDirectoryOrRootImage SupplementaryGroups'
else
  locked_in "$unit" 'DeviceAllow IPAddressDeny PrivateNetwork PrivateUsers RestrictAddressFamilies_AF_INET_INET6 RestrictAddressFamilies_AF_UNIX RootDirectoryOrRootImage SupplementaryGroups'
fi
has_lines "$unit" <<END
StartLimitIntervalSec=0
Type=notify
EnvironmentFile=-/etc/default/polaiga-$name
ExecReload=/bin/sh -c 'kill -HUP "\$\$MAINPID"'
StandardInput=null
Restart=on-failure
RestartPreventExitStatus=2
RestartSec=5
TimeoutStopSec=15
WatchdogSec=30
User=polaiga-$name
Group=polaiga-$name
SupplementaryGroups=polaiga polaiga-operators
UMask=0077
LimitNOFILE=128
PrivateIPC=yes
SystemCallFilter=@system-service
SystemCallFilter=~@privileged @resources
SystemCallErrorNumber=EPERM
END
case $name in
  snmp) after=snmpd.service ;;
  mqtt) after='network.target mosquitto.service' ;;
  alertmanager) after='network.target prometheus-alertmanager.service' ;;
esac
grep -qxF "After=polaiga.service $after" "$unit" || fail "the service does not start after $after"
# It does not stop with the engine, nor with whom it tells.
! grep -E '^(Requires|Requisite|BindsTo|PartOf|Wants)=' "$unit" || fail "the service depends on another"
grep -q "^u polaiga-$name - " "$source/packaging/systemd/polaiga-$name.conf" || fail "polaiga-$name.conf does not make the user"

# words_of NAME UNIT: the value of the line Environment=NAME=VALUE or Environment="NAME=VALUE" of the unit, without
# quotes. systemd splits it into words where ExecStart has $NAME.
words_of() { sed -n "s/^Environment=\"\\{0,1\\}$1=\\(.*\\)/\\1/p" "$2" | sed 's/"$//'; }

# The engine's unit takes the publisher's user from the drop-in, and has none of its own.
variable=POLAIGA_${name^^}
engine=$source/packaging/systemd/polaiga.service.in
[ "$(words_of "$variable" "$source/packaging/systemd/polaiga.service.d/polaiga-$name.conf")" = "--publisher polaiga-$name" ] ||
  fail "the engine is told: $(words_of "$variable" "$source/packaging/systemd/polaiga.service.d/polaiga-$name.conf")"
grep -q "^ExecStart=.* \\\$$variable " "$engine" || fail "the engine's unit takes no $variable"
grep -qx "Environment=$variable=" "$engine" || fail "the engine's unit has a $variable of its own"

# What the service runs, with the programs in a directory that the test chooses: (start DIRECTORY CREDENTIALS OPTIONS...)
if [ "$name" = snmp ]; then
  command=$(sed -n 's/^ExecStart=//p' "$unit")
  start() {
    # shellcheck disable=SC2086
    set -- "${command//$directory/$1}" "${@:3}"
    # shellcheck disable=SC2086
    exec ${1% \$*} "${@:2}"
  }
else
  script=$(sed -n "/^ExecStart=\\/bin\\/sh -c /,/\\\$${variable}_OPTIONS\$/p" "$unit" |
    sed -e "1s/^ExecStart=\\/bin\\/sh -c '//" -e "\$s/' polaiga-$name \\\$${variable}_OPTIONS\$//" -e 's/ *\\$//' -e 's/\$\$/$/g' | paste -sd ' ')
  [ -n "$script" ] || fail "the unit starts nothing"
  start() { exec env CREDENTIALS_DIRECTORY="$2" /bin/sh -c "${script//$directory/$1}" "polaiga-$name" "${@:3}"; }
fi

# First with a program that tells its arguments.
mkdir "$work/bin" "$work/none" "$work/store"
printf '#!/bin/sh\nprintf "%%s " "${0##*/}" "$@"\n' >"$work/bin/polaiga-$name"
chmod 755 "$work/bin/polaiga-$name"
told() { [ "$1" = "$2" ] || fail "the service runs $1, not $2"; }
common="polaiga-$name --ledger /var/lib/polaiga/ledger.db --control /run/polaiga/control.sock"
told "$(start "$work/bin" "$work/none" --a b)" "$common --a b "
# A secret, its option, and the option without which it is of no use.
case $name in
  mqtt) secrets='password:--password-file:--user key:--tls-key:--tls-cert' ;;
  alertmanager) secrets='credentials:--credentials-file:--a key:--tls-key:--tls-cert' ;;
  *) secrets= ;;
esac
for secret in $secrets; do
  IFS=: read -r stored option of <<<"$secret"
  file=$work/store/polaiga-$name.$stored
  grep -qxF "LoadCredential=polaiga-$name.$stored" "$unit" || fail "the service does not load ${file##*/}"
  : >"$file"
  told "$(start "$work/bin" "$work/store" $of b)" "$common $of b $option $file "
  told "$(start "$work/bin" "$work/store" $of b "$option" other)" "$common $of b $option other "
  told "$(start "$work/bin" "$work/store" $of b "$option=other")" "$common $of b $option=other "
  [ "$of" = --a ] || told "$(start "$work/bin" "$work/store" --a b)" "$common --a b "
  rm "$file"
done

# The program knows the options that the unit gives it, and takes them.
options=$(words_of "${variable}_OPTIONS" "$unit" | sed 's/%H/rack-7/')
for option in $(sed -n '/^ExecStart=/,/_OPTIONS$/p' "$unit" | grep -o -- '--[a-z-]*' | sort -u) $(grep -o -- '--[a-z-]*' <<<"$options"); do
  "$publisher" --help | grep -q -- "^ *\\(-[a-z],\\)\\?$option\\b" || fail "the program does not know $option"
done
# It runs with them until it is stopped, although nobody is there whom it could tell.
if [ "$name" = snmp ]; then options="--agentx unix:$work/agentx"; fi
# shellcheck disable=SC2086
"$publisher" --ledger "$work/ledger.db" --control "$work/control.sock" $options 2>"$work/said" &
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
"$program" run --help | grep -q -- '^ *--publisher ' || fail "the engine does not know --publisher"
echo "publisher unit: passed ($name)"
