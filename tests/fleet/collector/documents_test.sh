#!/usr/bin/env bash
# The manual and the completion of polaiga-collector have the options that its help has. documents_test.sh SOURCE PROGRAM
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
exit $failed
