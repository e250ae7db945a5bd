#!/usr/bin/env bash
# Compiles the C example of the README, runs it and compares its output with
# the one shown: readme_test.sh SOURCE_DIRECTORY LIBRARY COMPILER [EMULATOR...]
set -euo pipefail
source=$1 library=$2 compiler=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The first block of a language.
block() { awk -v fence='```' -v lang="$1" '$0 == fence lang && !seen {on = seen = 1; next} $0 == fence {on = 0} on' "$source/README.md"; }
block c >"$work/example.c"
block text >"$work/shown"
[ -s "$work/example.c" ] && [ -s "$work/shown" ] || { echo "README.md shows no example with its output"; exit 1; }
lines=$(grep -c . "$work/example.c")
[ "$lines" -le 12 ] || { echo "the README's example has $lines lines; it should be short"; exit 1; }

"$compiler" -std=c11 -Wall -Wextra -Werror -I"$source/include" "$work/example.c" "$source/examples/minimal_host.c" \
  "$library" -Wl,-rpath,"$(dirname "$library")" -o "$work/example"
"$@" "$work/example" >"$work/printed"
diff -u "$work/shown" "$work/printed"
