#!/usr/bin/env bash
# Compiles the consumer in plain C, and the smallest host, in every language
# that the headers serve, without a warning, and runs it with the library:
#   languages_test.sh SOURCE_DIRECTORY LIBRARY
set -euo pipefail
source=$1 library=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

try() {
  local language=$1 compiler=$2 standard=$3
  : >"$work/output"
  "$compiler" -x "$language" "-std=$standard" -Wall -Wextra -pedantic -Werror -I"$source/include" \
    "$source/tests/consumers/c_consumer.c" "$source/examples/minimal_host.c" \
    -x none "$library" "-Wl,-rpath,$(dirname "$library")" -o "$work/consumer" && "$work/consumer" >"$work/output" ||
    { echo "$compiler -std=$standard: failed"; cat "$work/output"; failed=1; }
}
for compiler in gcc clang; do
  for standard in c99 c11 c17; do try c "$compiler" "$standard"; done
  for standard in c++11 c++14 c++17 c++20; do try c++ "$compiler" "$standard"; done
done

# A layout that is not the frozen one does not compile in any of them.
cat >"$work/right.c" <<'END'
#include <polaiga/layout.h>
struct pair { char first; char second; };
typedef struct pair pair;
POLAIGA_SIZE(pair, 2);
POLAIGA_OFFSET(pair, second, 1);
END
sed 's/second, 1/second, 2/' "$work/right.c" >"$work/wrong.c"
for standard in c99 c11 c++11; do
  compile=(gcc -x "${standard%%[0-9]*}" "-std=$standard" -pedantic -Werror -I"$source/include" -fsyntax-only)
  "${compile[@]}" "$work/right.c" || { echo "-std=$standard: a right layout does not compile"; failed=1; }
  "${compile[@]}" "$work/wrong.c" 2>/dev/null && { echo "-std=$standard: a wrong layout compiles"; failed=1; }
done
[ "$failed" -eq 0 ] && echo "languages: passed"
exit "$failed"
