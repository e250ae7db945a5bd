#!/usr/bin/env bash
# Compares the library's ABI with the committed dump: abi_test.sh LIBRARY PROCESSOR
set -euo pipefail
library=$1 processor=$2
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$root/tools/abi-dump" "$library" >"$work/now.abi"
grep -q fe_fault_record "$work/now.abi" || { echo "the library has no debugging information"; exit 1; }
if ! abidiff --no-show-locs "$root/abi/polaiga-$processor.abi" "$work/now.abi"; then
  echo "The ABI is frozen. If this change is meant: new SONAME, then 'make abi'."
  exit 1
fi
echo "abi: passed"
