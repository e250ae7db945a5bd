#!/usr/bin/env bash
# The manual and the completion of a program that reads a fleet's database have the options that its help has, and the
# program without a fleet runs it and tells of it: fleet_documents_test.sh SOURCE PROGRAM OTHER
# PROGRAM is polaiga-web-fleet or polaiga-alertmanager-fleet, OTHER is polaiga-web or polaiga-alertmanager.
set -euo pipefail
source_directory=$1 program=$2 other=$3
name=${program##*/} other_name=${other##*/}
manual=$source_directory/packaging/man/$name.1
page=$source_directory/docs/fleet.md other_page=$source_directory/docs/${other_name#polaiga-}.md
failed=0

same() { # what, got, wanted
  [ "$2" = "$3" ] || { printf '%s:\n  got    %s\n  wanted %s\n' "$1" "$2" "$3"; failed=1; }
}
sorted() { LC_ALL=C sort -u | xargs; }
options_in_manual() { grep -o 'Fl Fl [a-z0-9-]*' | sed 's/Fl Fl /--/' | sorted; }
complete_words() { # the words of a command line
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
  "_${1//-/_}"
  printf '%s\n' "${COMPREPLY[@]}" | sorted
}

options=$("$program" --help | grep -oE -- '^ +(-h, ?)?--[a-z-]+' | grep -o -- '--[a-z-]*' | sorted)
[ "$(wc -w <<<"$options")" -gt 5 ] || { echo "the help has no options: $options"; failed=1; }
source "$source_directory/packaging/bash-completion/$name"
same "words of $name" "$(complete_words "$name" '')" "$options"
same "files of $name --tls-cert" "$(complete_words "$name" --tls-cert "$source_directory/packag")" "$source_directory/packaging"
same "options of $name.1" "$(grep '^\.It Fl Fl' "$manual" | options_in_manual)" "$options"
same "synopsis of $name" "$(sed -n '/^\.Sh SYNOPSIS/,/^\.Sh DESCRIPTION/p' "$manual" | options_in_manual)" "$options"
for option in $options; do
  [[ $option =~ ^--(help|version)$ ]] || grep -Eqs -- "$option([^a-z0-9-]|\$)" "$page" "$other_page" ||
    { echo "neither ${page##*/} nor ${other_page##*/} tells of $option"; failed=1; }
done

# `polaiga-web --fleet` and `polaiga-alertmanager --fleet` are the same, and so is their completion.
same "$other_name --fleet --help" "$("$other" --fleet x --help)" "$("$program" --fleet x --help)"
unset -f "_${name//-/_}"
source "$source_directory/packaging/bash-completion/$other_name"
same "words of $other_name --fleet" "$(complete_words "$other_name" --fleet x '')" "$options"
grep -q "^\.Xr $name 1" "$source_directory/packaging/man/$other_name.1" || { echo "$other_name.1 does not tell of $name"; failed=1; }

# The places that the service uses.
variable=${name^^}
variable=${variable//-/_}
for place in "/etc/default/$name" "${variable}_DATABASE" "${variable}_OPTIONS" "$name.pgpass"; do
  for document in "$manual" "$source_directory/packaging/systemd/$name.service.in" "$page"; do
    grep -qF "$place" "$document" || { echo "${document##*/} does not tell of $place"; failed=1; }
  done
done
[ "$failed" -eq 0 ] && echo "fleet documents: passed ($name)"
exit "$failed"
