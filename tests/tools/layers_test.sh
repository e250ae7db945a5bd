#!/usr/bin/env bash
# tools/layers accepts a tree in order, and complains of each way to break the
# order: layers_test.sh TOOL
set -euo pipefail
tool=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# Two rooms in order: the upper one includes the lower one.
new_tree() {
  tree=$work/tree
  rm -rf "$tree"
  mkdir -p "$tree"/tools "$tree"/engine/{low,high,tables}
  printf '# A comment.\nengine/low\nengine/high  # the last one\n' >"$tree/tools/layers.order"
  printf '#pragma once\n' >"$tree/engine/low/low.h"
  printf '#include "low/low.h"\n#include <string>\n' >"$tree/engine/low/low.cpp"
  printf '#include "low/low.h"\n' >"$tree/engine/high/high.h"
  printf '#include "high/high.h"\n\n#include "low/low.h"\n' >"$tree/engine/high/high.cpp"
}

# expect STATUS COMPLAINT: what the tool says of the tree, to the letter.
expect() {
  local status=0
  "$tool" "$tree" >"$work/said" 2>&1 || status=$?
  if [ "$status" -ne "$1" ] || [ "$(cat "$work/said")" != "$2" ]; then
    echo "expected status $1 and: $2"
    echo "but got status $status and: $(cat "$work/said")"
    failed=1
  fi
}

new_tree
expect 0 ''

new_tree
printf '#pragma once\n#include "high/high.h"\n' >"$tree/engine/low/low.h"
expect 1 'engine/low/low.h:2: engine/low may not include "high/high.h", because engine/high comes after it in tools/layers.order'

new_tree
printf '#include "low/low.h"\n#include "high/high.h"\n' >"$tree/engine/low/low.cpp"
expect 1 'engine/low/low.cpp:2: engine/low may not include "high/high.h", because engine/high comes after it in tools/layers.order'

new_tree
mkdir "$tree/engine/new"
expect 1 'engine/new: tools/layers.order does not list this room; add a line where it belongs'

new_tree
printf '#include "attic/box.h"\n' >"$tree/engine/high/high.h"
expect 1 'engine/high/high.h:1: "attic/box.h" is in no room that tools/layers.order lists'

new_tree
printf '#include "high.h"\n' >"$tree/engine/high/high.cpp"
expect 1 'engine/high/high.cpp:1: name the room of "high.h", as in "base/high.h"'

new_tree
rm -r "$tree/engine/high"
expect 1 'tools/layers.order: there is no directory engine/high'

new_tree
printf '# Nothing.\n' >"$tree/tools/layers.order"
expect 2 'tools/layers.order lists no room'

new_tree
find "$tree/engine" -type f -delete
expect 2 'no include was found to check'

exit "$failed"
