#!/usr/bin/env bash
# Compares what the library exports and needs with the lists in abi/, and checks
# how it is linked: symbols_test.sh LIBRARY PROCESSOR
set -euo pipefail
library=$1 list=imported-$2.txt
lists=$(dirname "$0")/../../abi
failed=0
fail() { echo "$*"; failed=1; }

# Name, type and, of a table, size.
exported=$("$READELF" --wide --dyn-syms "$library" |
  awk '$5 == "GLOBAL" && $7 != "UND" {print $8, $4, $4 == "OBJECT" ? $3 : "-"}' | LC_ALL=C sort)
diff -u "$lists/exported.txt" <(echo "$exported") || fail "the exported names differ from exported.txt"

imported=$("$NM" -D --undefined-only --format=posix "$library" | awk '{sub(/@.*/, "", $1); print $1}' | LC_ALL=C sort)
diff -u "$lists/$list" <(echo "$imported") || fail "the imported names differ from $list"

dynamic=$("$READELF" --wide --dynamic "$library")
needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic")
[ "$needed" = libc.so.6 ] || fail "needed libraries: $needed"
soname=$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' <<<"$dynamic")
[ "$soname" = libpolaiga.so.1 ] || fail "SONAME: $soname"
grep -q 'BIND_NOW' <<<"$dynamic" || fail "not bound at load"
grep -q 'TEXTREL' <<<"$dynamic" && fail "relocations in the code"
grep -Eq '\((PRE)?INIT(_ARRAY)?\)|\(FINI(_ARRAY)?\)' <<<"$dynamic" && fail "something runs at load or unload"
"$READELF" --wide --segments "$library" | grep -q GNU_RELRO || fail "no RELRO"

# No writable data but what the loader relocates, what is zero at load, and the
# counts of the fixed tables, which are three numbers of four bytes.
data=$("$READELF" --wide --sections "$library" | sed -n 's/^ *\[ *\([0-9]*\)\] \.data  *PROGBITS  *[0-9a-f]*  *[0-9a-f]*  *\([0-9a-f]*\) .*/\1 \2/p')
read -r section size <<<"${data:-none 0}"
[ $((16#$size)) = 12 ] || fail "the .data section has $((16#$size)) bytes, not 12"
counts=$("$READELF" --wide --dyn-syms "$library" | awk -v section="$section" '$5 == "GLOBAL" && $7 == section {print $8}' | LC_ALL=C sort | xargs)
[ "$counts" = "ent_cpu_map_sz ent_map_sz ent_ps_map_sz" ] || fail "writable data: $counts"

[ "$failed" -eq 0 ] && echo "symbols: passed"
exit "$failed"
