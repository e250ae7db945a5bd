#!/bin/sh
# Whether docs/faults.md is what the program prints:
#   faults_page_test.sh PROGRAM PAGE
set -eu
printed=$(mktemp)
trap 'rm -f "$printed"' EXIT
"$1" catalog --markdown >"$printed"
if ! diff -u "$2" "$printed"; then
  echo "docs/faults.md is stale: write it anew with 'polaiga catalog --markdown >docs/faults.md'" >&2
  exit 1
fi
