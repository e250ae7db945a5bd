#!/usr/bin/env bash
# Makes the Debian packages of a build and installs them in a root of their own,
# where the program must run: debian_test.sh SOURCE BUILD CPACK [EMULATOR...]
# With an emulator the packages are those of another machine, so they are only unpacked. There the package polaiga is
# expected only if the build was given the program's libraries (POLAIGA_SYSROOT). The packages of the other programs, such
# as polaiga-web, are expected wherever the build was not told to leave them out (POLAIGA_WEB=OFF and so on).
set -euo pipefail
source=$1 build=$2 cpack=$3 emulator=("${@:4}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$*"; exit 1; }

# The packages do not depend on the umask.
(umask 027 && "$cpack" --config "$build/CPackConfig.cmake" -B "$work") >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
! grep -i warning "$work/log" || fail "cpack warns"
version=$(sed -n 's/^  VERSION //p' "$source/CMakeLists.txt")
if [ ${#emulator[@]} -gt 0 ]; then
  architecture=armhf triplet=arm-linux-gnueabihf machine=ARM
else
  architecture=$(dpkg --print-architecture) triplet=$(dpkg-architecture -qDEB_HOST_MULTIARCH) machine=
fi

root=$work/root
cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
sysroot=$(cached POLAIGA_SYSROOT)
packages=(libpolaiga1 libpolaiga-dev)
if [ ${#emulator[@]} -eq 0 ] || [ -n "$sysroot" ]; then packages+=(polaiga); fi
for name in web ipmi snmp mqtt alertmanager; do
  if [ "$(cached "POLAIGA_${name^^}")" != OFF ]; then
    packages+=("polaiga-$name")
    grep -q "^set(CPACK_COMPONENTS_ALL \"[^\"]*;$name[;\"]" "$build/CPackConfig.cmake" ||
      fail "the build left out polaiga-$name because its libraries were not found; type: tools/setup live-outputs, or build with -DPOLAIGA_${name^^}=OFF"
  fi
done
if [ "$(cached POLAIGA_FLEET)" != OFF ]; then
  for name in collector web-fleet alertmanager-fleet; do
    # Those that read the database are built on a program without a fleet.
    of=${name%-fleet}
    [ "$of" = "$name" ] || [ "$(cached "POLAIGA_${of^^}")" != OFF ] || continue
    packages+=("polaiga-$name")
    grep -q "^set(CPACK_COMPONENTS_ALL \"[^\"]*;${name//-/_}[;\"]" "$build/CPackConfig.cmake" ||
      fail "the build left out polaiga-$name because its libraries were not found; type: tools/setup fleet, or build with -DPOLAIGA_FLEET=OFF"
  done
fi
has() { [[ " ${packages[*]} " == *" $1 "* ]]; }
[ "$(find "$work" -maxdepth 1 -name '*.deb' | wc -l)" -eq ${#packages[@]} ] || fail "there are other packages: $(ls "$work")"
files=()
for package in "${packages[@]}"; do
  file=$work/${package}_${version}_$architecture.deb
  [ -f "$file" ] || fail "there is no $(basename "$file")"
  files+=("$file")
  [ "$(dpkg-deb -f "$file" Architecture)" = "$architecture" ] || fail "$package: $(dpkg-deb -f "$file" Architecture)"
done
names_of() { tr ',' '\n' | awk '{print $1}' | LC_ALL=C sort | xargs; }
depends() { dpkg-deb -f "$work/$1_${version}_$architecture.deb" Depends; }
[[ $(depends libpolaiga1) =~ ^libc6\ \(\>=\ [0-9.]+\)$ ]] || fail "libpolaiga1 depends on $(depends libpolaiga1)"
[ "$(depends libpolaiga-dev)" = "libpolaiga1 (= $version)" ] || fail "libpolaiga-dev depends on $(depends libpolaiga-dev)"
needed=(libc6 libgcc-s1 libnettle8 libsimdjson14 libsqlite3-0 libstdc++6 libsystemd0 zlib1g)
if has polaiga; then
  names=$(depends polaiga | names_of)
  [ "$names" = 'libc6 libgcc-s1 libnettle8 libpolaiga1 libsimdjson14 libsqlite3-0 libstdc++6 libsystemd0 zlib1g' ] || fail "polaiga depends on $names"
fi
if has polaiga-web; then
  names=$(depends polaiga-web | names_of)
  [ "$names" = 'libc6 libcrypt1 libcurl4 libgcc-s1 libgnutls30 libmicrohttpd12 libnettle8 libpolaiga1 libprometheus-cpp-core1.0 libsimdjson14 libsqlite3-0 libstdc++6 libsystemd0 polaiga zlib1g' ] || fail "polaiga-web depends on $names"
  [[ $(depends polaiga-web) == *"polaiga (= $version)"* ]] || fail "polaiga-web depends on $(depends polaiga-web)"
  needed+=(libcrypt1 libcurl4 libgnutls30 libmicrohttpd12 libprometheus-cpp-core1.0)
fi

if has polaiga-ipmi; then
  names=$(depends polaiga-ipmi | names_of)
  [ "$names" = 'libc6 libfreeipmi17 libgcc-s1 libnettle8 libpolaiga1 libsimdjson14 libsqlite3-0 libstdc++6 libsystemd0 polaiga zlib1g' ] || fail "polaiga-ipmi depends on $names"
  [[ $(depends polaiga-ipmi) == *"polaiga (= $version)"* ]] || fail "polaiga-ipmi depends on $(depends polaiga-ipmi)"
  needed+=(libfreeipmi17)
fi

if has polaiga-collector; then
  names=$(depends polaiga-collector | names_of)
  [ "$names" = 'libc6 libgcc-s1 libnettle8 libpolaiga1 libpq5 libpqxx-6.4 librabbitmq4 libsimdjson14 libsqlite3-0 libstdc++6 libsystemd0 zlib1g' ] || fail "polaiga-collector depends on $names"
  needed+=(libpq5 libpqxx-6.4 librabbitmq4)
fi
# The libraries of the programs that read the database of a fleet, beside those of the engine.
declare -A read_with=([web]='libcrypt1 libgnutls30 libmicrohttpd12 libprometheus-cpp-core1.0' [alertmanager]='libcurl4')
for name in web alertmanager; do
  has "polaiga-$name-fleet" || continue
  names=$(depends "polaiga-$name-fleet" | names_of)
  wanted=$(xargs -n 1 <<<"libc6 libgcc-s1 libnettle8 libpolaiga1 libpq5 libpqxx-6.4 libsimdjson14 libsqlite3-0 libstdc++6 libsystemd0 polaiga-$name zlib1g ${read_with[$name]}" | LC_ALL=C sort | xargs)
  [ "$names" = "$wanted" ] || fail "polaiga-$name-fleet depends on $names"
  [[ $(depends "polaiga-$name-fleet") == *"polaiga-$name (= $version)"* ]] || fail "polaiga-$name-fleet depends on $(depends "polaiga-$name-fleet")"
done

# The libraries of each publisher, beside those of the engine.
declare -A own=([snmp]='libsnmp40' [mqtt]='libmosquitto1' [alertmanager]='libcurl4')
publishers=()
for name in snmp mqtt alertmanager; do
  has "polaiga-$name" || continue
  publishers+=("$name")
  names=$(depends "polaiga-$name" | names_of)
  wanted=$(xargs -n 1 <<<"libc6 libgcc-s1 libnettle8 libpolaiga1 libsimdjson14 libsqlite3-0 libstdc++6 libsystemd0 polaiga zlib1g ${own[$name]}" | LC_ALL=C sort | xargs)
  [ "$names" = "$wanted" ] || fail "polaiga-$name depends on $names"
  [[ $(depends "polaiga-$name") == *"polaiga (= $version)"* ]] || fail "polaiga-$name depends on $(depends "polaiga-$name")"
  needed+=("${own[$name]}")
done

if [ ${#emulator[@]} -gt 0 ]; then
  for file in "${files[@]}"; do dpkg-deb -x "$file" "$root"; done
else
  # dpkg is told of the packages that these depend on, as they are on this machine.
  mkdir -p "$root"/etc "$root"/var/lib/dpkg/{info,updates,triggers}
  dpkg-query -s "${needed[@]}" >"$root/var/lib/dpkg/status"
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(unshare --map-root-user)
  dpkg_in_root() {
    "${as_root[@]}" dpkg --root="$root" --force-script-chrootless --log="$work/dpkg.log" "$@" >"$work/log" 2>&1 ||
      { cat "$work/log"; exit 1; }
  }
  dpkg_in_root -i "${files[@]}"
  for package in "${packages[@]}"; do
    status=$(dpkg-query --admindir="$root/var/lib/dpkg" -W -f '${db:Status-Status}' "$package")
    [ "$status" = installed ] || fail "$package is $status"
  done
  for user in "${packages[@]:2}"; do
    grep -q "^$user:" "$root/etc/passwd" || fail "the user $user of the service was not made"
  done
fi

# What belongs to every package, and how it lies there.
for file in "${files[@]}"; do
  package=$(dpkg-deb -f "$file" Package)
  listing=$(dpkg-deb -c "$file")
  for document in copyright changelog.gz; do
    grep -q " ./usr/share/doc/$package/$document\$" <<<"$listing" || fail "$package has no $document"
  done
  wrong=$(awk '$1 !~ /^(drwxr-xr-x|-rw-r--r--|lrwxrwxrwx)$/ && $6 !~ "^./usr/(bin/polaiga(-[a-z]+)*|share/polaiga/fleet/(certificates|controller-user))$" || $2 != "root/root"' <<<"$listing")
  [ -z "$wrong" ] || fail "$package: modes or owners: $wrong"
done
gzip -t "$root"/usr/share/man/man3/libpolaiga.3.gz
dpkg-deb --ctrl-tarfile "${files[0]}" | tar -xO ./shlibs | grep -qx "libpolaiga 1 libpolaiga1 (>= ${version%.*})" ||
  fail "libpolaiga1: shlibs"
dpkg-deb --ctrl-tarfile "${files[0]}" | tar -xO ./triggers | grep -qx 'activate-noawait ldconfig' ||
  fail "libpolaiga1: triggers"

libraries=$root/usr/lib/$triplet
[ "$(readlink "$libraries/libpolaiga.so")" = libpolaiga.so.1 ] || fail "libpolaiga.so is no link to libpolaiga.so.1"
binaries=("$libraries/libpolaiga.so.1")
for name in "${packages[@]:2}"; do binaries+=("$root/usr/bin/$name"); done
for binary in "${binaries[@]}"; do
  [[ $(readelf -h "$binary") =~ Machine:\ +${machine:-.} ]] || fail "$binary is for another machine"
  ! readelf -S "$binary" | grep -q '\.symtab' || fail "$binary is not stripped"
  ! readelf -d "$binary" | grep -Eq 'R(UN)?PATH' || fail "$binary looks for libraries in a place of its own"
done

if ! has polaiga; then
  echo "debian: passed ($architecture, without the program)"
  exit 0
fi
gzip -t "$root"/usr/share/man/man1/polaiga.1.gz
[ -x "$root/usr/bin/polaiga" ] || fail "the program is not executable"
units=$root/usr/lib/systemd/system
grep -q '^ExecStart=/usr/bin/polaiga run ' "$units/polaiga.service" || fail "the service runs another program"
grep -qxF "Environment=\"POLAIGA_OPTIONS=$(cached POLAIGA_UNIT_OPTIONS)\"" "$units/polaiga.service" ||
  fail "the service has other options: $(grep POLAIGA_OPTIONS= "$units/polaiga.service")"
for file in "${files[@]:2}"; do
  for script in postinst prerm postrm; do
    dpkg-deb --ctrl-tarfile "$file" | tar -xO "./$script" | sh -n || fail "$file: $script"
  done
done

# A service that does not start again must not keep the package from being configured, nor may a device that is not there.
# The script is run with programs that fail, and with a directory in place of the one that shows that systemd runs.
declare -A advice=([web]='journalctl -u polaiga -n 20' [ipmi]="journalctl -u 'polaiga-ipmi*' -u 'polaiga@*' -n 20")
for name in snmp mqtt alertmanager; do advice[$name]="journalctl -u polaiga -n 20; journalctl -u polaiga-$name -n 20"; done
for name in collector web-fleet alertmanager-fleet; do advice[$name]="journalctl -u polaiga-$name -n 20"; done
mkdir -p "$work/running" "$work/fake"
printf '#!/bin/sh\n[ "$1" != try-restart ]\n' >"$work/fake/systemctl"
printf '#!/bin/sh\n' >"$work/fake/systemd-sysusers"
for name in modprobe udevadm; do printf '#!/bin/sh\nexit 1\n' >"$work/fake/$name"; done
chmod 755 "$work"/fake/*
for name in web ipmi snmp mqtt alertmanager collector web-fleet alertmanager-fleet; do
  has "polaiga-$name" || continue
  dpkg-deb --ctrl-tarfile "$work/polaiga-${name}_${version}_$architecture.deb" | tar -xO ./postinst | sed "s|/run/systemd/system|$work/running|" >"$work/postinst"
  grep -qF "$work/running" "$work/postinst" || fail "the postinst of polaiga-$name does not ask whether systemd runs"
  env -u DPKG_ROOT "PATH=$work/fake:$PATH" sh "$work/postinst" configure >"$work/log" 2>&1 ||
    fail "a service that does not start again makes the postinst of polaiga-$name fail"
  grep -qF "${advice[$name]}" "$work/log" || fail "the postinst of polaiga-$name says: $(cat "$work/log")"
done

if [ ${#emulator[@]} -gt 0 ]; then
  run=("${emulator[@]}" -E "LD_LIBRARY_PATH=$libraries:$sysroot/usr/lib/$triplet" "$root/usr/bin/polaiga")
else
  run=(env "LD_LIBRARY_PATH=$libraries" "$root/usr/bin/polaiga")
fi
[ "$("${run[@]}" --version)" = "polaiga $version" ] || fail "another version runs"
day=$root/usr/share/doc/polaiga/examples/day.jsonl
"${run[@]}" replay "$day" >"$work/log"
grep -q '^550 events: 171 raised, 40 refreshed, 0 partly cleared, 119 cleared, 48 superseded, ' "$work/log" ||
  { tail -n 3 "$work/log"; fail "the day of the example ends otherwise"; }
# The engine as a service comes to the same: 171 raised, of which 119 were cleared and 48 superseded.
"${run[@]}" run --ledger "$work/ledger.db" <"$day" >"$work/answers" 2>"$work/log" ||
  { cat "$work/log"; fail "the engine does not run"; }
[ "$(tail -n 1 "$work/answers")" = '{"seq":550}' ] || { tail -n 3 "$work/answers"; fail "the engine answers otherwise"; }
codes=$("${run[@]}" active --ledger "$work/ledger.db" | grep -o ' F[0-9]* ' | xargs)
[ "$codes" = 'F0424 F0371 F0184 F0395' ] || fail "active are $codes"

# The programs that read the database of a fleet go before those that run them.
for name in web alertmanager; do
  has "polaiga-$name-fleet" || continue
  gzip -t "$root/usr/share/man/man1/polaiga-$name-fleet.1.gz"
  grep -q "^  exec /usr/bin/polaiga-$name-fleet --fleet " "$units/polaiga-$name-fleet.service" || fail "the service of polaiga-$name-fleet runs another program"
  for file in "lib/sysusers.d/polaiga-$name-fleet.conf" "share/bash-completion/completions/polaiga-$name-fleet"; do
    [ -f "$root/usr/$file" ] || fail "polaiga-$name-fleet has no $file"
  done
  [ "$("${run[@]/%\/polaiga/\/polaiga-$name-fleet}" --version)" = "polaiga-$name-fleet $version" ] || fail "another polaiga-$name-fleet runs"
  if [ ${#emulator[@]} -eq 0 ]; then
    [ "$("${run[@]/%\/polaiga/\/polaiga-$name}" --fleet x --version)" = "polaiga-$name-fleet $version" ] || fail "polaiga-$name does not find polaiga-$name-fleet"
    # Removing the package keeps the users of the web server, and purging it leaves nothing.
    mkdir -p "$root/var/lib/polaiga-web-fleet"
    : >"$root/var/lib/polaiga-web-fleet/users"
    dpkg_in_root --remove "polaiga-$name-fleet"
    [ -f "$root/var/lib/polaiga-web-fleet/users" ] || fail "the removed polaiga-$name-fleet took its users away"
    dpkg_in_root --purge "polaiga-$name-fleet"
    left=$(find "$root" -path "$root/var/lib/dpkg" -prune -o -path "$root/var/lib/polaiga-web-fleet" -prune -o -name "*polaiga-$name-fleet*" -print)
    [ -z "$left" ] || fail "the purged polaiga-$name-fleet left $left"
    if [ "$name" = web ]; then
      [ ! -e "$root/var/lib/polaiga-web-fleet" ] || fail "the purged polaiga-web-fleet left its users"
    fi
    rm -rf "$root/var/lib/polaiga-web-fleet"
  fi
done

declare -A files_of=([snmp]='share/snmp/mibs/POLAIGA-MIB.txt share/polaiga/snmp/polaiga-snmpd.conf' [mqtt]='share/polaiga/mqtt/mosquitto.acl' \
  [alertmanager]='share/polaiga/prometheus/polaiga-alertmanager.yml')
for name in "${publishers[@]}"; do
  gzip -t "$root/usr/share/man/man1/polaiga-$name.1.gz"
  grep -q "/usr/bin/polaiga-$name --ledger /var/lib/polaiga/ledger.db " "$units/polaiga-$name.service" || fail "the service of polaiga-$name runs another program"
  # shellcheck disable=SC2086
  for file in lib/systemd/system/polaiga.service.d/polaiga-$name.conf lib/sysusers.d/polaiga-$name.conf share/doc/polaiga/$name.md \
    share/bash-completion/completions/polaiga-$name ${files_of[$name]}; do
    [ -e "$root/usr/$file" ] || fail "polaiga-$name has no $file"
  done
  [ "$("${run[@]/%\/polaiga/\/polaiga-$name}" --version)" = "polaiga-$name $version" ] || fail "another polaiga-$name runs"
  "${run[@]/%\/polaiga/\/polaiga-$name}" --help >"$work/log" || fail "polaiga-$name does not run"
  if [ ${#emulator[@]} -eq 0 ]; then
    [ "$("${run[@]}" "$name" --version)" = "polaiga-$name $version" ] || fail "polaiga does not find polaiga-$name"
    mkdir -p "$root/var/lib/polaiga"
    : >"$root/var/lib/polaiga/ledger.db"
    dpkg_in_root --purge "polaiga-$name"
    left=$(find "$root" -path "$root/var/lib/dpkg" -prune -o -name "*polaiga-$name*" -print)
    [ -z "$left" ] || fail "the purged polaiga-$name left $left"
    [ -f "$root/var/lib/polaiga/ledger.db" ] || fail "the purged polaiga-$name took the ledger away"
  fi
done

if has polaiga-collector; then
  gzip -t "$root/usr/share/man/man1/polaiga-collector.1.gz"
  grep -q ' exec /usr/bin/polaiga-collector ' "$units/polaiga-collector.service" || fail "the service of the collector runs another program"
  for file in lib/sysusers.d/polaiga-collector.conf share/doc/polaiga/fleet.md share/bash-completion/completions/polaiga-collector \
    share/polaiga/fleet/definitions.json share/polaiga/fleet/rabbitmq.conf share/polaiga/fleet/roles.sql; do
    [ -f "$root/usr/$file" ] || fail "polaiga-collector has no $file"
  done
  collector=("${run[@]/%\/polaiga/\/polaiga-collector}")
  [ "$("${collector[@]}" --version)" = "polaiga-collector $version" ] || fail "another polaiga-collector runs"
  if [ ${#emulator[@]} -eq 0 ]; then
    [ "$("${run[@]}" collector --version)" = "polaiga-collector $version" ] || fail "polaiga does not find polaiga-collector"
    dpkg_in_root --purge polaiga-collector
    left=$(find "$root" -path "$root/var/lib/dpkg" -prune -o -name '*polaiga-collector*' -print)
    [ -z "$left" ] || fail "the purged polaiga-collector left $left"
  fi
fi

if has polaiga-ipmi; then
  gzip -t "$root"/usr/share/man/man1/polaiga-ipmi.1.gz
  grep -q '^ExecStart=/usr/bin/polaiga run --ledger /var/lib/polaiga/%i/ledger.db ' "$units/polaiga@.service" ||
    fail "the service of an engine of several runs $(grep ^ExecStart= "$units/polaiga@.service")"
  for unit in polaiga-ipmi.service polaiga-ipmi@.service; do
    grep -q '^ExecStart=/usr/bin/polaiga-ipmi ' "$units/$unit" || fail "$unit runs another program"
  done
  for file in lib/sysusers.d/polaiga-ipmi.conf lib/udev/rules.d/60-polaiga-ipmi.rules lib/modules-load.d/polaiga-ipmi.conf \
    share/doc/polaiga/ipmi.md share/polaiga/ipmi/ipmi.tsv share/bash-completion/completions/polaiga-ipmi; do
    [ -f "$root/usr/$file" ] || fail "polaiga-ipmi has no $file"
  done
  # A removed package leaves no enabled service. The script is run with directories in place of systemd's.
  mkdir -p "$work/systemd" "$work/wants" "$work/asked"
  ln -s nowhere "$work/wants/polaiga-ipmi@web1.service"
  ln -s nowhere "$work/wants/polaiga-ipmi@web2.service"
  printf '#!/bin/sh\necho "$*"\n' >"$work/asked/systemctl"
  chmod 755 "$work/asked/systemctl"
  dpkg-deb --ctrl-tarfile "$work/polaiga-ipmi_${version}_$architecture.deb" | tar -xO ./prerm |
    sed "s|/run/systemd/system|$work/systemd|; s|/etc/systemd/system/multi-user.target.wants|$work/wants|" >"$work/prerm"
  env -u DPKG_ROOT "PATH=$work/asked:$PATH" sh "$work/prerm" remove >"$work/log" || fail "the prerm of polaiga-ipmi fails"
  for unit in polaiga-ipmi@web1.service polaiga-ipmi@web2.service '--now polaiga-ipmi.service'; do
    grep -qx -- "disable $unit" "$work/log" || fail "the removed polaiga-ipmi does not disable $unit: $(cat "$work/log")"
  done
  # The sources are under another licence than this binary.
  grep -qx 'License: GPL-3+' "$root/usr/share/doc/polaiga-ipmi/copyright" || fail "polaiga-ipmi does not tell its licence"
  for package in libpolaiga1 polaiga; do
    ! grep -q GPL "$root/usr/share/doc/$package/copyright" || fail "$package tells another's licence"
  done
  ipmi=("${run[@]/%\/polaiga/\/polaiga-ipmi}")
  version_of_ipmi=$("${ipmi[@]}" --version)
  [[ $version_of_ipmi == "polaiga-ipmi $version"* ]] || fail "another polaiga-ipmi runs"
  printf '\001\000\002\000\000\000\000\040\000\004\004\001\001\120\070\100' >"$work/sel"
  "${ipmi[@]}" --sel "$work/sel" --print >"$work/log" 2>&1 || { cat "$work/log"; fail "polaiga-ipmi does not run"; }
  if [ ${#emulator[@]} -eq 0 ]; then
    [ "$("${run[@]}" ipmi --version)" = "$version_of_ipmi" ] || fail "polaiga does not find polaiga-ipmi"
    mkdir -p "$root"/var/lib/polaiga{,-ipmi}
    : >"$root/var/lib/polaiga-ipmi/state"
    : >"$root/var/lib/polaiga/ledger.db"
    dpkg_in_root --remove polaiga-ipmi
    [ -f "$root/var/lib/polaiga-ipmi/state" ] || fail "the removed polaiga-ipmi took its state away"
    dpkg_in_root --purge polaiga-ipmi
    left=$(find "$root" -path "$root/var/lib/dpkg" -prune -o -name '*polaiga-ipmi*' -print)
    [ -z "$left" ] || fail "the purged polaiga-ipmi left $left"
    [ -f "$root/var/lib/polaiga/ledger.db" ] || fail "the purged polaiga-ipmi took the ledger away"
  fi
fi

if ! has polaiga-web; then
  echo "debian: passed ($architecture, without the web server)"
  exit 0
fi
gzip -t "$root"/usr/share/man/man1/polaiga-web.1.gz
grep -q '^  exec /usr/bin/polaiga-web ' "$units/polaiga-web.service" || fail "the service of the web server runs another program"
for file in lib/systemd/system/polaiga.service.d/polaiga-web.conf lib/sysusers.d/polaiga-web.conf share/doc/polaiga/web.md \
  share/doc/polaiga/page.png share/doc/polaiga/timeline.png share/polaiga/prometheus/polaiga.rules.yml share/polaiga/prometheus/polaiga-dashboard.json \
  share/bash-completion/completions/polaiga-web; do
  [ -f "$root/usr/$file" ] || fail "polaiga-web has no $file"
done
web=("${run[@]/%\/polaiga/\/polaiga-web}")
[ "$("${web[@]}" --version)" = "polaiga-web $version" ] || fail "another web server runs"
"${web[@]}" --help >"$work/log" || fail "the web server does not run"
printf 'a long password\n' | "${web[@]}" passwd --users "$work/users" anna >"$work/log" || fail "passwd does not run"
if [ ${#emulator[@]} -eq 0 ]; then
  [ "$("${run[@]}" web --version)" = "polaiga-web $version" ] || fail "polaiga does not find the web server"
  # Removing the package keeps the server's state. Purging it leaves nothing of the server. The ledger stays in any case.
  mkdir -p "$root"/var/lib/polaiga{,-web}
  : >"$root/var/lib/polaiga-web/users"
  : >"$root/var/lib/polaiga/ledger.db"
  dpkg_in_root --remove polaiga-web
  [ -f "$root/var/lib/polaiga-web/users" ] || fail "the removed web server took its users away"
  dpkg_in_root --purge polaiga-web
  left=$(find "$root" -path "$root/var/lib/dpkg" -prune -o -name '*polaiga-web*' -print)
  [ -z "$left" ] || fail "the purged web server left $left"
  [ -f "$root/var/lib/polaiga/ledger.db" ] || fail "the purged web server took the ledger away"
  "${run[@]}" --version >"$work/log" || fail "the engine does not run without the web server"
fi
echo "debian: passed ($architecture)"
