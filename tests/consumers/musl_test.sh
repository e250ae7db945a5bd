#!/usr/bin/env bash
# Builds the library with musl in place of the GNU C library and runs the
# consumer in plain C with it: musl_test.sh SOURCE_DIRECTORY
set -euo pipefail
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The C++ headers, of which the library uses only such as need no run-time
# library, ask the GNU C library for its version.
headers=$(g++ -E -v -x c++ /dev/null 2>&1 | sed -n 's,^ \(/.*/c++/.*\),-isystem \1,p')
flags=(-std=c++20 -O2 -fPIC -fvisibility=hidden -fno-exceptions -fno-rtti -fno-threadsafe-statics
  -Wall -Wextra -Werror "-D__GLIBC_PREREQ(major,minor)=0" -I"$source/include" -I"$source/src")
# shellcheck disable=SC2086
printf '%q ' "${flags[@]}" $headers >"$work/flags"
find "$source/src" -name '*.cpp' -print0 |
  xargs -0 -P "$(nproc)" -I{} bash -c 'eval "REALGCC=g++ musl-gcc $(cat "$1/flags")" -c "$2" -o "$1/$(basename "$2").o"' _ "$work" {}
musl-gcc -shared -nostartfiles -Wl,-soname,libpolaiga.so.1 "$work"/*.o -o "$work/libpolaiga.so.1"
musl-gcc -std=c11 -Wall -Wextra -Werror -I"$source/include" "$source/tests/consumers/c_consumer.c" \
  "$source/examples/minimal_host.c" "$work/libpolaiga.so.1" -Wl,-rpath,"$work" -o "$work/c_consumer"
needed=$(readelf --wide --dynamic "$work/libpolaiga.so.1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
[ "$needed" = libc.so ] || { echo "needed libraries: $needed"; exit 1; }
"$work/c_consumer"
