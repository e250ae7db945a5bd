#!/usr/bin/env bash
# Where the loader looks for libraries: run_path_test.sh BUILD CMAKE
# An empty entry means the directory that a user happens to be in, and so does one that
# is relative to it: whoever can write there could put a library of his own in the place
# of ours. No program or library has such an entry, neither where it is built nor where
# it is installed. What is installed knows nothing of where it was built either.
set -euo pipefail
build=$1 cmake=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

complain() {
  echo "$1" >&2
  status=1
}

# The entries of the run path of a file, one a line.
entries() {
  "${READELF:-readelf}" -d "$1" 2>/dev/null | sed -nE 's/.*\((RPATH|RUNPATH)\).*\[(.*)\]$/\2/p' | tr : '\n'
}

# check WHERE FILE: an absolute entry is right only in the build tree.
check() {
  local entry
  while IFS= read -r entry; do
    case $1:$entry in
      *:'$ORIGIN' | *:'$ORIGIN'/* | built:/*) ;;
      *) complain "$2: the run path has the entry '$entry'" ;;
    esac
  done < <(entries "$2")
}

# check_all WHERE DIRECTORY: every file that is executed or loaded.
check_all() {
  local file count=0
  while IFS= read -r -d '' file; do
    [ "$(head -c 4 "$file" | tail -c 3 | tr -d '\0')" = ELF ] || continue
    count=$((count + 1))
    check "$1" "$file"
  done < <(find "$2" -type f \( -perm -u+x -o -name '*.so*' \) ! -path '*/CMakeFiles/*' -print0)
  [ "$count" -ge 2 ] || complain "$2: there are no programs and libraries to check"
}

check_all built "$build"
DESTDIR=$work "$cmake" --install "$build" --prefix /usr >/dev/null
check_all installed "$work"
[ "$status" -ne 0 ] || echo "run path: passed"
exit "$status"
