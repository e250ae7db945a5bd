#!/usr/bin/env bash
# Installs the tree in a directory of its own, moves that elsewhere, and builds
# consumers with CMake and pkg-config: install_test.sh SOURCE BUILD LIBDIR CMAKE COMPILER [WEB [IPMI [PUBLISHER...]]]
# WEB and IPMI are the programs polaiga-web and polaiga-ipmi, where they were built, and each PUBLISHER is a program such as
# polaiga-snmp.
set -euo pipefail
source=$1 build=$2 libdir=$3 cmake=$4 compiler=$5 web=${6:-} ipmi=${7:-} publishers=("${@:8}")
publishers=("${publishers[@]##*/polaiga-}")
here=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

DESTDIR='' "$cmake" --install "$build" --prefix "$work/installed" >/dev/null
# Each service runs its program where it was installed.
runs() {
  local unit=$work/installed/lib/systemd/system/$1
  grep -q "$2" "$unit" || { grep -A 5 ^ExecStart= "$unit"; exit 1; }
}
runs polaiga.service "^ExecStart=$work/installed/bin/polaiga run "
if [ -n "$web" ]; then runs polaiga-web.service "^  exec $work/installed/bin/polaiga-web "; fi
if [ -n "$ipmi" ]; then
  for unit in polaiga-ipmi.service polaiga-ipmi@.service; do
    runs $unit "^ExecStart=$work/installed/bin/polaiga-ipmi "
  done
  runs polaiga@.service "^ExecStart=$work/installed/bin/polaiga run --ledger /var/lib/polaiga/%i/ledger.db "
fi
if [ -x "$build/bin/polaiga-collector" ]; then runs polaiga-collector.service "^  exec $work/installed/bin/polaiga-collector "; fi
for name in web-fleet alertmanager-fleet; do
  if [ -x "$build/bin/polaiga-$name" ]; then runs "polaiga-$name.service" "^  exec $work/installed/bin/polaiga-$name --fleet "; fi
done
for name in "${publishers[@]}"; do runs "polaiga-$name.service" "$work/installed/bin/polaiga-$name --ledger "; done
mv "$work/installed" "$work/moved elsewhere"
prefix="$work/moved elsewhere"

# Everything is installed, and nothing else. All of docs/ is, but the web server's page and its pictures only where the
# web server is, and the page of IPMI and those of the publishers only where their programs are.
{
  sed "s|@LIBDIR@|$libdir|" "$here/installed.txt"
  (cd "$source/docs" && find . -type f ! -name web.md ! -name page.png ! -name timeline.png ! -name ipmi.md \
    ! -name snmp.md ! -name mqtt.md ! -name alertmanager.md ! -name fleet.md -printf 'share/doc/polaiga/%P\n')
  if [ -n "$web" ]; then
    cat "$here/installed_web.txt"
    printf 'share/doc/polaiga/%s\n' web.md page.png timeline.png
  fi
  if [ -n "$ipmi" ]; then
    cat "$here/installed_ipmi.txt"
    echo share/doc/polaiga/ipmi.md
  fi
  for name in "${publishers[@]}"; do cat "$here/installed_$name.txt"; done
  for name in collector web-fleet alertmanager-fleet; do
    if [ -x "$build/bin/polaiga-$name" ]; then cat "$here/installed_$name.txt"; fi
  done
} | LC_ALL=C sort >"$work/expected"
(cd "$prefix" && find . \( -type f -o -type l \) -printf '%P\n') | LC_ALL=C sort |
  sed 's/polaigaTargets-[a-z]*\.cmake/polaigaTargets-CONFIG.cmake/' >"$work/found"
diff -u "$work/expected" "$work/found"

check() {
  [ "$2" = 'sys/rack-unit-1/psu-1/fault-F0383' ] || { echo "the consumer built with $1 says: $2"; exit 1; }
}

host="$prefix/share/doc/polaiga/examples/minimal_host.c"
consume() {
  "$cmake" -S "$here/consumer" -B "$work/consumer" -DCMAKE_C_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix" \
    -DHOST="$host" -DPOLAIGA_WANTED="$1" >"$work/log" 2>&1
}
consume 1.0 || { cat "$work/log"; exit 1; }
"$cmake" --build "$work/consumer" >"$work/log" || { cat "$work/log"; exit 1; }
check CMake "$("$work/consumer/consumer")"

rm -rf "$work/consumer"
if consume 2.0; then echo "find_package(polaiga 2.0) takes another major version"; exit 1; fi
grep -q 'compatible with requested version "2.0"' "$work/log" || { cat "$work/log"; exit 1; }

export PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig"
version=$(pkg-config --modversion polaiga)
[ "$version" = "$(sed -n 's/^  VERSION //p' "$source/CMakeLists.txt")" ] || { echo "pkg-config: version $version"; exit 1; }
# Blanks of the path are quoted by pkg-config.
eval "flags=($(pkg-config --cflags --libs polaiga))"
"$compiler" -std=c11 "$here/consumer/consumer.c" "$host" "${flags[@]}" -o "$work/with_pkg_config"
check pkg-config "$(LD_LIBRARY_PATH="$prefix/$libdir" "$work/with_pkg_config")"

# The program finds its library and its tables where they were moved to.
env -u LD_LIBRARY_PATH "$prefix/bin/polaiga" replay "$prefix/share/doc/polaiga/examples/day.jsonl" >"$work/log" ||
  { echo "the installed program does not run"; exit 1; }
grep -q '^550 events:' "$work/log" || { tail -n 3 "$work/log"; exit 1; }
if [ -n "$web" ]; then
  # So does the web server, also as a command of the program.
  [ "$(env -u LD_LIBRARY_PATH "$prefix/bin/polaiga" web --version)" = "polaiga-web $version" ] ||
    { echo "the installed web server does not run"; exit 1; }
fi
if [ -n "$ipmi" ]; then
  # And this one finds its mapping there.
  [[ $(env -u LD_LIBRARY_PATH "$prefix/bin/polaiga" ipmi --version) == "polaiga-ipmi $version"* ]] ||
    { echo "the installed polaiga-ipmi does not run"; exit 1; }
  printf '\001\000\002\000\000\000\000\040\000\004\004\001\001\120\070\100' >"$work/sel"
  env -u LD_LIBRARY_PATH "$prefix/bin/polaiga-ipmi" --sel "$work/sel" --print >"$work/log" 2>&1 ||
    { cat "$work/log"; exit 1; }
fi
for name in "${publishers[@]}"; do
  [ "$(env -u LD_LIBRARY_PATH "$prefix/bin/polaiga" "$name" --version)" = "polaiga-$name $version" ] ||
    { echo "the installed polaiga-$name does not run"; exit 1; }
done
if [ -x "$build/bin/polaiga-collector" ]; then
  [[ $(env -u LD_LIBRARY_PATH "$prefix/bin/polaiga" collector --version) == "polaiga-collector "* ]] ||
    { echo "the installed polaiga-collector does not run"; exit 1; }
fi
for name in web alertmanager; do
  if [ -x "$build/bin/polaiga-$name-fleet" ]; then
    # The program without a fleet finds it beside itself.
    [ "$(env -u LD_LIBRARY_PATH "$prefix/bin/polaiga-$name" --fleet x --version)" = "polaiga-$name-fleet $version" ] ||
      { echo "the installed polaiga-$name-fleet does not run"; exit 1; }
  fi
done
echo "install: passed"
