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
printf '#pragma once\n' >"$tree/engine/new/new.h"
expect 1 'engine/new: tools/layers.order does not list this room; add a line where it belongs'

new_tree
printf '#include "attic/box.h"\n' >"$tree/engine/high/high.h"
expect 1 'engine/high/high.h:1: "attic/box.h" is in no room that tools/layers.order lists'

new_tree
printf '#include "high.h"\n' >"$tree/engine/high/high.cpp"
expect 1 'engine/high/high.cpp:1: name the room of "high.h", as in "high/high.h"'

new_tree
rm -r "$tree/engine/high"
expect 1 'tools/layers.order: there is no directory engine/high'

# Two rooms that stand side by side above them, in another folder.
new_outputs() {
  new_tree
  mkdir -p "$tree"/outputs/{left,right}
  printf '\noutputs/left outputs/right\n\noutputs never engine/low\n' >>"$tree/tools/layers.order"
  printf '#include "left/left.h"\n#include "high/high.h"\n' >"$tree/outputs/left/left.cpp"
  printf '#pragma once\n' >"$tree/outputs/right/right.h"
}

new_outputs
expect 0 ''

new_outputs
printf '#include "right/right.h"\n' >"$tree/outputs/left/left.h"
expect 1 'outputs/left/left.h:1: outputs/left may not include "right/right.h", because outputs/right stands beside it in tools/layers.order'

new_outputs
printf '#include "left/left.h"\n' >"$tree/engine/high/high.h"
expect 1 'engine/high/high.h:1: engine/high may not include "left/left.h", because outputs/left comes after it in tools/layers.order'

new_outputs
printf '#include "low/low.h"\n' >"$tree/outputs/right/right.h"
expect 1 'outputs/right/right.h:1: outputs/right may never include "low/low.h", as tools/layers.order says'

new_outputs
mkdir "$tree/outputs/attic"
printf '#pragma once\n' >"$tree/outputs/attic/box.cpp"
expect 1 'outputs/attic: tools/layers.order does not list this room; add a line where it belongs'

new_outputs
printf 'outputs never engine/lower\n' >>"$tree/tools/layers.order"
expect 1 "tools/layers.order: 'outputs never engine/lower': there is no room engine/lower"

new_outputs
printf 'output never engine/low\n' >>"$tree/tools/layers.order"
expect 1 "tools/layers.order: 'output never engine/low': there is no room in output"

new_outputs
mkdir "$tree/outputs/low"
printf 'outputs/low\n' >>"$tree/tools/layers.order"
expect 1 'tools/layers.order: engine/low and outputs/low have the same name; give one of them another'

new_tree
printf '# Nothing.\n' >"$tree/tools/layers.order"
expect 2 'tools/layers.order lists no room'

new_tree
find "$tree/engine" -type f -delete
expect 2 'no include was found to check'

exit "$failed"
