#!/usr/bin/env bash
# Compares what the library exports and needs with the lists beside this
# script, and checks how it is linked: symbols_test.sh LIBRARY
set -euo pipefail
library=$1
lists=$(dirname "$0")
failed=0
fail() { echo "$*"; failed=1; }

exported=$(nm -D --defined-only --format=posix "$library" | awk '{print $1}' | LC_ALL=C sort)
diff -u "$lists/exported.txt" <(echo "$exported") || fail "the exported names differ from exported.txt"

imported=$(nm -D --undefined-only --format=posix "$library" | awk '{sub(/@.*/, "", $1); print $1}' | LC_ALL=C sort)
diff -u "$lists/imported.txt" <(echo "$imported") || fail "the imported names differ from imported.txt"

dynamic=$(readelf --wide --dynamic "$library")
needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic")
[ "$needed" = libc.so.6 ] || fail "needed libraries: $needed"
soname=$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' <<<"$dynamic")
[ "$soname" = libpolaiga.so.1 ] || fail "SONAME: $soname"
grep -q 'BIND_NOW' <<<"$dynamic" || fail "not bound at load"
grep -q 'TEXTREL' <<<"$dynamic" && fail "relocations in the code"
grep -Eq '\((PRE)?INIT(_ARRAY)?\)|\(FINI(_ARRAY)?\)' <<<"$dynamic" && fail "something runs at load or unload"
readelf --wide --segments "$library" | grep -q GNU_RELRO || fail "no RELRO"

# No writable data but what the loader relocates and what is zero at load.
data=$(size --format=sysv "$library" | awk '$1 == ".data" {print $2}')
[ "${data:-0}" -eq 0 ] || fail ".data has $data bytes"

[ "$failed" -eq 0 ] && echo "symbols: passed"
exit "$failed"
