#!/usr/bin/env bash
# The manual, the completion and the page of polaiga-collector have the options that its help has, and tests that the page
# names are there. documents_test.sh SOURCE PROGRAM
set -euo pipefail
source_directory=$1 program=$2
manual=$source_directory/packaging/man/polaiga-collector.1
failed=0

same() { # what, got, wanted
  [ "$2" = "$3" ] || { printf '%s:\n  got    %s\n  wanted %s\n' "$1" "$2" "$3"; failed=1; }
}
sorted() { LC_ALL=C sort -u | xargs; }
options_in_manual() { grep -o 'Fl Fl [a-z0-9-]*' | sed 's/Fl Fl /--/' | sorted; }
complete_collector() {
  COMP_WORDS=(polaiga-collector "$@") COMP_CWORD=$# COMPREPLY=()
  _polaiga_collector
  printf '%s\n' "${COMPREPLY[@]}" | sorted
}

options=$("$program" --help | grep -oE -- '^ +(-h,)?--[a-z-]+' | grep -o -- '--[a-z-]*' | sorted)
[ "$(wc -w <<<"$options")" -gt 5 ] || { echo "the help has no options: $options"; failed=1; }
source "$source_directory/packaging/bash-completion/polaiga-collector"
same 'words of polaiga-collector' "$(complete_collector '')" "$(printf '%s\n' $options migrate | sorted)"
same 'files of polaiga-collector --tls-ca' "$(complete_collector --tls-ca "$source_directory/packag")" "$source_directory/packaging"
same 'options of polaiga-collector.1' "$(grep '^\.It Fl Fl' "$manual" | options_in_manual)" "$options"
same 'synopsis of polaiga-collector' "$(sed -n '/^\.Sh SYNOPSIS/,/^\.Sh DESCRIPTION/p' "$manual" | options_in_manual)" "$options"
same 'polaiga-collector.1' "$(groff -ww -mandoc -Tutf8 "$manual" 2>&1 >/dev/null)" ''

# The page of a fleet names a test with each line about what goes wrong, and the tests are there.
page=$source_directory/docs/fleet.md
tests=$(grep -o '`collector/[a-z_]*/[a-z_]*\.[A-Za-z0-9_]*`' "$page" | tr -d '`' || true)
[ -n "$tests" ] || { echo "docs/fleet.md names no test of the collector"; failed=1; }
for test in $tests; do
  case_of=${test#*.} file=$source_directory/tests/fleet/${test%%.*}_test
  grep -qs "def $case_of(" "$file.py" || grep -Eqs "^TEST(_F)?\([A-Za-z]+, $case_of\)" "$file.cpp" ||
    { echo "docs/fleet.md names $test, which is not there"; failed=1; }
done
lines=$(sed -n '/^### When things go wrong around a collector/,/^##* [^W]/p' "$page" | grep '^|' | sed 1,2d)
[ "$(wc -l <<<"$lines")" -gt 3 ] || { echo "docs/fleet.md does not tell what happens when things go wrong"; failed=1; }
same 'cases of docs/fleet.md without a test' "$(grep -v '`collector/' <<<"$lines" || true)" ''
for option in $options; do
  grep -Eq -- "$option([^a-z0-9-]|\$)" "$page" || { echo "docs/fleet.md does not tell of $option"; failed=1; }
done
exit $failed
