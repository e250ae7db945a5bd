#!/usr/bin/env bash
# Builds copies of the sources in two directories and compares what comes out:
# reproducible_test.sh SOURCE CMAKE COMPILER library|program
set -euo pipefail
source=$1 cmake=$2 compiler=$3 what=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
case $what in
  library) options=(-DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON) results=(libpolaiga.so) ;;
  program) options=() results=(libpolaiga.so bin/polaiga bin/polaiga-{web,ipmi,snmp,mqtt,alertmanager}) ;;
  *) echo "library or program, not $what"; exit 2 ;;
esac

# Both are of one moment, whoever is editing the sources.
tar -C "$source" --exclude='./build*' --exclude=./.git -cf "$work/sources.tar" .
for copy in one "another, with a longer name"; do
  mkdir "$work/$copy"
  tar -C "$work/$copy" -xf "$work/sources.tar"
  "$cmake" -S "$work/$copy" -B "$work/$copy/made" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_COMPILER="$compiler" "${options[@]}" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
  "$cmake" --build "$work/$copy/made" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
  (cd "$work/$copy/made" && sha256sum "${results[@]}") >"$work/sums of $copy"
done
diff -u "$work/sums of one" "$work/sums of another, with a longer name"
for result in "${results[@]}"; do
  ! grep -qF "$work" "$work/one/made/$result" || { echo "$result knows where it was built"; exit 1; }
done
cat "$work/sums of one"
