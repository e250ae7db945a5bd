#!/usr/bin/env bash
# The units of polaiga-ipmi and of the engines of several servers are right, belong together, and lock their services in:
# ipmi_unit_test.sh SOURCE PROGRAM IPMI
set -euo pipefail
source=$1 program=$2 ipmi=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source "$(dirname "$0")/unit.sh"

directory=$(dirname "$ipmi")
# A template is checked as the unit of one server.
own=$work/polaiga-ipmi.service of_many=$work/polaiga-ipmi@web1.service engine=$work/polaiga@web1.service
sed "s|@bindir@|$directory|" "$source/packaging/systemd/polaiga-ipmi.service.in" >"$own"
sed "s|@bindir@|$directory|" "$source/packaging/systemd/polaiga-ipmi@.service.in" >"$of_many"
engine_unit "$source" "$directory" '' yes >"$engine"
for unit in "$own" "$of_many" "$engine"; do verify_unit "$unit" PrivateMounts=yes; done

# One asks the controller's device and nothing else, the other one any address. Each sends to an engine's socket.
locked_in "$own" 'DeviceAllow PrivateDevices PrivateUsers RestrictAddressFamilies_AF_UNIX RootDirectoryOrRootImage SupplementaryGroups'
locked_in "$of_many" 'DeviceAllow IPAddressDeny PrivateNetwork PrivateUsers RestrictAddressFamilies_AF_INET_INET6 RestrictAddressFamilies_AF_UNIX RootDirectoryOrRootImage SupplementaryGroups'
# The engine of one of several servers may what the server's own may.
engine_unit "$source" "$directory" '' no >"$work/polaiga.service"
locked_in "$engine" "$(open_to "$work/polaiga.service")"

for unit in "$own" "$of_many"; do
  has_lines "$unit" <<'END'
StartLimitIntervalSec=0
Type=notify
EnvironmentFile=-/etc/default/polaiga-ipmi
ExecReload=/bin/sh -c 'kill -HUP "$$MAINPID"'
StandardInput=null
Restart=on-failure
RestartPreventExitStatus=2
RestartSec=5
WatchdogSec=3min
User=polaiga-ipmi
Group=polaiga-ipmi
SupplementaryGroups=polaiga
StateDirectoryMode=0700
UMask=0077
MemoryMax=64M
SystemCallErrorNumber=EPERM
END
done
has_lines "$own" <<'END'
Wants=polaiga.service
DevicePolicy=closed
DeviceAllow=char-ipmidev rw
StateDirectory=polaiga-ipmi
PrivateNetwork=yes
END
has_lines "$of_many" <<'END'
Wants=polaiga@%i.service network-online.target
After=polaiga@%i.service network-online.target
AssertPathExists=/etc/polaiga/ipmi/%i
LoadCredential=server:/etc/polaiga/ipmi/%i
StateDirectory=polaiga-ipmi/%i
END
has_lines "$engine" <<'END'
StateDirectory=polaiga polaiga/%i
RuntimeDirectory=polaiga polaiga/%i
RuntimeDirectoryPreserve=yes
END
grep -q '^u polaiga-ipmi - ' "$source/packaging/systemd/polaiga-ipmi.conf" || fail "polaiga-ipmi.conf does not make the user"
grep -q ' GROUP="polaiga-ipmi", MODE="0660"$' "$source/packaging/systemd/polaiga-ipmi.rules" || fail "the device is not given to the group"
# An engine listens where its source sends.
for unit in "$engine:$of_many" "$work/polaiga.service:$own"; do
  listens=$(sed -n 's/^ExecStart=.* --socket \([^ ]*\) .*/\1/p' "${unit%%:*}")
  sends=$(sed -n 's/^ExecStart=.* --socket \([^ ]*\) .*/\1/p' "${unit#*:}")
  [ -n "$listens" ] || fail "${unit%%:*} names no socket"
  [ "$sends" = "$listens" ] || fail "${unit#*:} sends to '$sends', and the engine listens at '$listens'"
done
# The programs know the options that the units give them.
for unit in "$own" "$of_many"; do
  for option in $(sed -n 's/^ExecStart=//p' "$unit" | grep -o -- '--[a-z-]*'); do
    "$ipmi" --help | grep -q -- "^ *$option " || fail "polaiga-ipmi does not know $option"
  done
done
for option in $(sed -n 's/^ExecStart=//p' "$engine" | grep -o -- '--[a-z-]*'); do
  "$program" run --help | grep -q -- "^ *$option " || fail "the engine does not know $option"
done
echo "ipmi unit: passed"
