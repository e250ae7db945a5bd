#!/usr/bin/env bash
# Builds the library for the controller with its 32-bit clock and proves that it
# needs no newer C library and asks the host's clock:
#   time32_test.sh SOURCE_DIRECTORY BUILD_DIRECTORY CMAKE TOOLCHAIN_FILE C_COMPILER EMULATOR...
# The build directory is kept, so that the next run builds only what changed.
set -euo pipefail
source=$1 build=$2 cmake=$3 toolchain=$4 compiler=$5
emulator=("${@:6}")
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$*"; exit 1; }

# The flags are those of a distribution whose programs all have the 64-bit clock.
CXXFLAGS='-D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64' "$cmake" -S "$source" -B "$build" -G Ninja --toolchain "$toolchain" \
  -DCMAKE_BUILD_TYPE=Release -DPOLAIGA_TIME64=OFF >"$work/log" 2>&1 &&
  "$cmake" --build "$build" --target polaiga --parallel 2 >>"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
library=$build/libpolaiga.so
"$here/symbols_test.sh" "$library" arm-time32

# GLIBC_2.4 is the oldest that 32-bit ARM has. The one name that is newer is
# __isoc99_fscanf of 2.7, under which the C library's headers have fscanf since 2007.
newest=$("$READELF" --wide --version-info "$library" | grep -o 'GLIBC_[0-9.]*' | sort --unique --version-sort | tail -n 1)
[ "$newest" = GLIBC_2.7 ] || fail "the library needs $newest, which is not GLIBC_2.7"

for host in "$source/tests/consumers/c_consumer.c" "$here/time32_host.c"; do
  "$compiler" -std=c11 -Wall -Wextra -Werror -I"$source/include" "$host" "$source/examples/minimal_host.c" \
    "$library" "-Wl,-rpath,$build" -o "$work/host"
  "${emulator[@]}" "$work/host"
done
