#!/usr/bin/env bash
# Every document tells the project's version, and the manual and the completion
# tell the program's options: documents_test.sh SOURCE PROGRAM
set -euo pipefail
source=$1 program=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
same() { [ "$2" = "$3" ] || { echo "$1: $2, not $3"; failed=1; }; }

version=$(sed -n 's/^  VERSION //p' "$source/CMakeLists.txt")
same CHANGELOG.md "$(sed -n 's/^## \[\([0-9.]*\)\] - [0-9-]*$/\1/p' "$source/CHANGELOG.md" | head -n 1)" "$version"
same packaging/debian/changelog "$(sed -n '1s/^polaiga (\(.*\)) .*/\1/p' "$source/packaging/debian/changelog")" "$version"
same LICENSE "$(sed -n 2,3p "$source/LICENSE" | xargs)" 'Apache License Version 2.0, January 2004'
same CONTRIBUTING.md "$(grep -c '^- \[[^ ]\]' "$source/CONTRIBUTING.md")" 0
grep -q '^- \[ \]' "$source/CONTRIBUTING.md" || { echo "CONTRIBUTING.md is no tick-list"; failed=1; }

# The manual names the places that the service uses.
for place in /run/polaiga/events.sock /run/polaiga/control.sock /etc/default/polaiga polaiga-operators; do
  for document in man/polaiga.1 systemd/polaiga.service.in; do
    grep -qF "$place" "$source/packaging/$document" || { echo "$document does not tell of $place"; failed=1; }
  done
done

# The manual pages are well-formed.
for page in "$source"/packaging/man/*; do
  same "$(basename "$page")" "$(groff -ww -mandoc -Tutf8 "$page" 2>&1 >/dev/null)" ''
  for section in NAME SYNOPSIS DESCRIPTION 'SEE ALSO'; do
    grep -qx "\.Sh $section" "$page" || { echo "$(basename "$page") has no section $section"; failed=1; }
  done
done

# Every filter is in the manual.
grep -o 'process_[a-z_]*_fault' "$source/include/polaiga/filters.h" | LC_ALL=C sort -u >"$work/filters"
sed -n 's/^\.It Fn \(process_[a-z_]*\) .*/\1/p' "$source/packaging/man/libpolaiga.3" | LC_ALL=C sort >"$work/in_manual"
diff -u "$work/filters" "$work/in_manual" || failed=1

# The commands of --help, and each one's options.
"$program" --help >"$work/help"
commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' "$work/help")
[ -n "$commands" ] || { echo "--help shows no commands"; failed=1; }
source "$source/packaging/bash-completion/polaiga"
complete_words() {
  COMP_WORDS=(polaiga "$@") COMP_CWORD=$# COMPREPLY=()
  _polaiga
  printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort
}
options_of() { "$program" "$@" --help | grep -Eo '^ +(-[a-z], ?)?--[a-z0-9-]+' | grep -o -- '--[a-z0-9-]*' | LC_ALL=C sort; }
# The options of a command in the synopsis of the manual.
synopsis_of() {
  sed -n "/^\.Sh SYNOPSIS/,/^\.Sh DESCRIPTION/{/^\.Cm $1\$/,/^\.\(Nm\|Sh\)/p}" "$source/packaging/man/polaiga.1" |
    grep -o 'Fl Fl [a-z0-9-]*' | sed 's/Fl Fl /--/' | LC_ALL=C sort
}
same "words of polaiga" "$(complete_words '' | xargs)" "$({ options_of; xargs -n 1 <<<"$commands"; } | LC_ALL=C sort | xargs)"
for command in $commands; do
  options=$(options_of "$command")
  same "options of $command" "$(complete_words "$command" - | xargs)" "$(xargs <<<"$options")"
  grep -qx "\.Cm $command" "$source/packaging/man/polaiga.1" || { echo "polaiga.1 does not tell of $command"; failed=1; }
  for option in $options; do
    grep -Eq "^\.It Fl Fl ${option#--}( |\$)" "$source/packaging/man/polaiga.1" || { echo "polaiga.1 does not tell of $option"; failed=1; }
  done
  same "synopsis of $command" "$({ synopsis_of "$command"; echo --help; } | LC_ALL=C sort | xargs)" "$(xargs <<<"$options")"
done
# What is not for people is nowhere.
same 'commands of polaiga.1' "$(sed -n '/^\.Sh SYNOPSIS/,/^\.Sh DESCRIPTION/s/^\.Cm //p' "$source/packaging/man/polaiga.1" | LC_ALL=C sort | xargs)" \
  "$(xargs -n 1 <<<"$commands" | LC_ALL=C sort | xargs)"

# Options and files that the documents name are there.
for command in '' $commands; do options_of $command; done | LC_ALL=C sort -u >"$work/options"
for document in README.md docs/alarms.md docs/engine.md docs/events.md docs/design.md docs/footprint.md; do
  for option in $(grep -o '`--[a-z0-9-]*' "$source/$document" | tr -d '`'); do
    grep -qx -- "$option" "$work/options" || { echo "$document names $option"; failed=1; }
  done
  for link in $(grep -o '](\([^)#]*\))' "$source/$document" | sed 's/^](//; s/)$//'); do
    [ -e "$source/$(dirname "$document")/$link" ] || { echo "$document names $link"; failed=1; }
  done
done

# Values and files.
same 'catalog --tables' "$(complete_words catalog --tables "$source/packag")" "$source/packaging"
same '--color' "$(complete_words replay --color '' | xargs)" 'always auto never'
same '--color=' "$(complete_words replay --color = | xargs)" 'always auto never'
same '--color=n' "$(complete_words replay --color = n)" never
# The words that events and --help have.
same '--entity' "$(complete_words active --entity '' | xargs)" \
  "$("$program" replay --help | sed -n 's/^Entities: //p' | tr -d ' ' | tr ',' '\n' | LC_ALL=C sort | xargs)"
same '--severity' "$(complete_words tail --severity '' | xargs)" \
  "$("$program" tail --help | grep -o 'worse: .*' | sed 's/worse: //; s/ or /,/' | tr -d ' ' | tr ',' '\n' | LC_ALL=C sort | xargs)"
same '--severity of active' "$(complete_words active --severity m | xargs)" 'major minor'
same '--state' "$(complete_words ack --state '' | xargs)" 'acknowledged closed none shelved unshelved'
same '--limit' "$(complete_words history --limit '')" ''
same 'a fault' "$(complete_words explain '')" ''
same '--log' "$(complete_words replay --log o)" off
same '--platform' "$(complete_words replay --platform 1 | wc -l)" 9
mkdir "$work/a directory"
: >"$work/a file"
same 'files' "$(complete_words replay "$work/a" | sed "s|$work/||" | xargs -d '\n' printf '%s;')" 'a directory;a file;'
same 'builds' "$(complete_words diff "$work/a f")" "$work/a file"
same '--ledger' "$(complete_words active --ledger "$work/a f")" "$work/a file"
same '--control' "$(complete_words ack --control "$work/a f")" "$work/a file"
same '--gateway' "$(complete_words run --gateway roo)" root
same '--socket' "$(complete_words run --socket "$work/a f")" "$work/a file"
same 'directories' "$(complete_words replay --tables "$work/a")" "$work/a directory"

# Faults that are active in the ledger. What a shell would obey is not offered.
cat >"$work/events" <<'END'
{"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1}
{"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":1}
END
"$program" run --ledger "$work/ledger.db" <"$work/events" >"$work/answers" 2>"$work/told" || { cat "$work/told"; failed=1; }
fan=sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395
supply=sys/rack-unit-1/psu-1/fault-F0378
complete_in_ledger() { (PATH=$(dirname "$program"):$PATH; complete_words "$@" | xargs); }
for command in ack unack close comment shelve unshelve explain history; do
  same "a fault of $command" "$(POLAIGA_LEDGER=$work/ledger.db complete_in_ledger "$command" '')" "$fan $supply"
done
same 'a fault of a ledger' "$(complete_in_ledger ack --ledger "$work/ledger.db" sys/rack-unit-1/p)" "$supply"

[ "$failed" -eq 0 ] && echo "documents: passed"
exit "$failed"
