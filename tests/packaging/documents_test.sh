#!/usr/bin/env bash
# Every document tells the project's version, and the manual and the completion
# tell the programs' options: documents_test.sh SOURCE PROGRAM [WEB [IPMI [PUBLISHER...]]]
# Of WEB and IPMI, the programs polaiga-web and polaiga-ipmi, nothing is compared but the form of the manual, where they are
# not given or empty. Each PUBLISHER is a program such as polaiga-snmp.
set -euo pipefail
source=$1 program=$2 web=${3:-} ipmi=${4:-} publishers=("${@:5}")
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
sed 's/@instance@//g' "$source/packaging/systemd/polaiga.service.in" >"$work/polaiga.service"
for place in /run/polaiga/events.sock /run/polaiga/control.sock /etc/default/polaiga polaiga-operators; do
  for document in "$source/packaging/man/polaiga.1" "$work/polaiga.service"; do
    grep -qF "$place" "$document" || { echo "$(basename "$document") does not tell of $place"; failed=1; }
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
options_in_help() { grep -Eo '^ +(-[a-z], ?)?--[a-z0-9-]+' | grep -o -- '--[a-z0-9-]*' | LC_ALL=C sort; }
options_of() { "$program" "$@" --help | options_in_help; }
options_in_manual() { grep -o 'Fl Fl [a-z0-9-]*' | sed 's/Fl Fl /--/' | LC_ALL=C sort; }
# The options of a command in the synopsis of the manual.
synopsis_of() {
  sed -n "/^\.Sh SYNOPSIS/,/^\.Sh DESCRIPTION/{/^\.Cm $1\$/,/^\.\(Nm\|Sh\)/p}" "$source/packaging/man/polaiga.1" | options_in_manual
}
# Programs of their own are completed where PATH has them. The names of others are not.
mkdir "$work/path"
for name in sed sort tr; do ln -s "$(command -v $name)" "$work/path/$name"; done
for name in polaiga polaiga-hello 'polaiga-no name' 'polaiga-$(name)'; do
  printf '#!/bin/sh\n' >"$work/path/$name"
  chmod 755 "$work/path/$name"
done
same "words of polaiga" "$( (PATH=$work/path; COMP_WORDS=(polaiga '') COMP_CWORD=1; _polaiga; printf '%s\n' "${COMPREPLY[@]}") | LC_ALL=C sort | xargs)" \
  "$({ options_of; xargs -n 1 <<<"$commands hello"; } | LC_ALL=C sort | xargs)"
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

# The same of the web server and its passwd. Its document tells of every option.
documents=(README.md docs/alarms.md docs/engine.md docs/events.md docs/design.md docs/footprint.md)
if [ -n "$web" ]; then
  documents+=(docs/web.md)
  manual=$source/packaging/man/polaiga-web.1
  same 'polaiga web --help' "$("$program" web --help)" "$("$web" --help)"
  source "$source/packaging/bash-completion/polaiga-web"
  complete_web() {
    COMP_WORDS=(polaiga-web "$@") COMP_CWORD=$# COMPREPLY=()
    _polaiga_web
    printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort
  }
  web_options=$("$web" --help | options_in_help)
  passwd_options=$("$web" passwd --help | options_in_help)
  same 'words of polaiga-web' "$(complete_web '' | xargs)" "$({ echo "$web_options"; echo passwd; } | LC_ALL=C sort | xargs)"
  same 'options of polaiga-web' "$(complete_web --listen 127.0.0.1:0 - | xargs)" "$(xargs <<<"$web_options")"
  same 'options of polaiga-web passwd' "$(complete_web passwd - | xargs)" "$(xargs <<<"$passwd_options")"
  same 'options of polaiga web passwd' "$(complete_words web passwd - | xargs)" "$(xargs <<<"$passwd_options")"
  same 'words of polaiga web' "$(complete_words web '' | xargs)" "$(complete_web '' | xargs)"
  same 'a name for passwd' "$(complete_web passwd '')" ''
  same '--role' "$(complete_web passwd --role '' | xargs)" 'operator viewer'
  same '--role=' "$(complete_web passwd --role = | xargs)" 'operator viewer'
  same '--proxy-user' "$(complete_web --proxy-user roo)" root
  same '--operators-group' "$(complete_web --operators-group roo)" root
  same '--listen' "$(complete_web --listen u)" unix:
  same '--users' "$(complete_web passwd --users "$source/packag")" "$source/packaging"
  for option in $web_options $passwd_options; do
    grep -Eq "^\.It Fl Fl ${option#--}( |\$)" "$manual" || { echo "polaiga-web.1 does not tell of $option"; failed=1; }
    [[ $option =~ ^--(help|version)$ ]] || grep -Eq -- "$option([^a-z0-9-]|\$)" "$source/docs/web.md" || { echo "docs/web.md does not tell of $option"; failed=1; }
  done
  synopsis=$(sed -n '/^\.Sh SYNOPSIS/,/^\.Sh DESCRIPTION/p' "$manual")
  same 'synopsis of polaiga-web' "$(sed '/^\.Cm passwd/,/^\.Nm/d' <<<"$synopsis" | options_in_manual | xargs)" "$(xargs <<<"$web_options")"
  same 'synopsis of polaiga-web passwd' \
    "$({ sed -n '/^\.Cm passwd/,/^\.Nm/p' <<<"$synopsis" | options_in_manual; echo --help; } | LC_ALL=C sort | xargs)" "$(xargs <<<"$passwd_options")"
  # What the manual tells of is there.
  same 'options of polaiga-web.1' "$(sed -n 's/^\.It Fl Fl \([a-z0-9-]*\).*/--\1/p' "$manual" | LC_ALL=C sort -u | xargs)" \
    "$({ echo "$web_options"; echo "$passwd_options"; } | LC_ALL=C sort -u | xargs)"
  for place in /etc/default/polaiga-web POLAIGA_WEB_LISTEN POLAIGA_WEB_OPTIONS 127.0.0.1:8080; do
    for document in packaging/man/polaiga-web.1 packaging/systemd/polaiga-web.service.in docs/web.md; do
      grep -qF "$place" "$source/$document" || { echo "$document does not tell of $place"; failed=1; }
    done
  done
fi

# The same of the source that reads IPMI.
if [ -n "$ipmi" ]; then
  documents+=(docs/ipmi.md)
  manual=$source/packaging/man/polaiga-ipmi.1
  source "$source/packaging/bash-completion/polaiga-ipmi"
  complete_ipmi() {
    COMP_WORDS=(polaiga-ipmi "$@") COMP_CWORD=$# COMPREPLY=()
    _polaiga_ipmi
    printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort
  }
  ipmi_options=$("$ipmi" --help | options_in_help)
  same 'polaiga ipmi --help' "$("$program" ipmi --help)" "$("$ipmi" --help)"
  same 'words of polaiga-ipmi' "$(complete_ipmi '' | xargs)" "$(xargs <<<"$ipmi_options")"
  same 'words of polaiga ipmi' "$(complete_words ipmi '' | xargs)" "$(xargs <<<"$ipmi_options")"
  same '--cipher' "$(complete_ipmi --cipher '' | xargs)" '17 3'
  same '--sel' "$(complete_ipmi --sel "$source/packag")" "$source/packaging"
  same 'options of polaiga-ipmi.1' "$(sed -n 's/^\.It Fl Fl \([a-z0-9-]*\).*/--\1/p' "$manual" | LC_ALL=C sort -u | xargs)" "$(xargs <<<"$ipmi_options")"
  same 'synopsis of polaiga-ipmi' \
    "$({ sed -n '/^\.Sh SYNOPSIS/,/^\.Sh DESCRIPTION/p' "$manual" | options_in_manual; } | LC_ALL=C sort -u | xargs)" "$(xargs <<<"$ipmi_options")"
  for option in $ipmi_options; do
    [[ $option =~ ^--(help|version)$ ]] || grep -Eq -- "$option([^a-z0-9-]|\$)" "$source/docs/ipmi.md" || { echo "docs/ipmi.md does not tell of $option"; failed=1; }
  done
  [[ $("$ipmi" --version) == *"General Public License, version 3"* ]] || { echo "polaiga-ipmi --version does not tell the licence"; failed=1; }
  # The places that its services use.
  for place in /etc/default/polaiga-ipmi POLAIGA_IPMI_OPTIONS /dev/ipmi0; do
    for document in packaging/man/polaiga-ipmi.1 packaging/systemd/polaiga-ipmi.service.in docs/ipmi.md; do
      grep -qF "$place" "$source/$document" || { echo "$document does not tell of $place"; failed=1; }
    done
  done
  for document in packaging/man/polaiga-ipmi.1 packaging/systemd/polaiga-ipmi@.service.in docs/ipmi.md; do
    grep -qF /etc/polaiga/ipmi "$source/$document" || { echo "$document does not tell of /etc/polaiga/ipmi"; failed=1; }
  done
  # The tests that its document names are there.
  tests=$(grep -o '`ipmi/[a-z_]*/[a-z_]*\.[A-Za-z0-9_]*`' "$source/docs/ipmi.md" | tr -d '`')
  [ -n "$tests" ] || { echo "docs/ipmi.md names no tests"; failed=1; }
  for test in $tests; do
    name=${test#*.} file=$source/tests/sources/${test%%.*}_test
    case $name in
      test_*) grep -q "def $name(" "$file.py" ;;
      *) grep -Eq "^TEST(_F)?\([A-Za-z]+, $name\)" "$file.cpp" ;;
    esac || { echo "docs/ipmi.md names $test"; failed=1; }
  done
  # And each case names its test.
  without=$(sed -n '/^## When something fails/,/^## [^W]/p' "$source/docs/ipmi.md" | grep '^|' | sed 1,2d | grep -v '`ipmi/' || true)
  same 'cases of docs/ipmi.md without a test' "$without" ''
fi

# The same of each publisher. Its page tells of every option, and each line about what goes wrong names a test.
for publisher in "${publishers[@]}"; do
  name=${publisher##*/polaiga-} page=docs/${publisher##*/polaiga-}.md
  documents+=("$page")
  manual=$source/packaging/man/polaiga-$name.1
  source "$source/packaging/bash-completion/polaiga-$name"
  complete_publisher() {
    COMP_WORDS=("polaiga-$name" "$@") COMP_CWORD=$# COMPREPLY=()
    "_polaiga_$name"
    printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort
  }
  options=$("$publisher" --help | options_in_help)
  publisher_options+=" $(xargs <<<"$options")"
  same "polaiga $name --help" "$("$program" "$name" --help)" "$("$publisher" --help)"
  same "words of polaiga-$name" "$(complete_publisher '' | xargs)" "$(xargs <<<"$options")"
  same "words of polaiga $name" "$(complete_words "$name" '' | xargs)" "$(xargs <<<"$options")"
  same "--ledger of polaiga-$name" "$(complete_publisher --ledger "$source/packag")" "$source/packaging"
  same "options of polaiga-$name.1" "$(sed -n 's/^\.It Fl Fl \([a-z0-9-]*\).*/--\1/p' "$manual" | LC_ALL=C sort -u | xargs)" "$(xargs <<<"$options")"
  same "synopsis of polaiga-$name" \
    "$({ sed -n '/^\.Sh SYNOPSIS/,/^\.Sh DESCRIPTION/p' "$manual" | options_in_manual; } | LC_ALL=C sort -u | xargs)" "$(xargs <<<"$options")"
  for option in $options; do
    [[ $option =~ ^--(help|version)$ ]] || grep -Eq -- "$option([^a-z0-9-]|\$)" "$source/$page" || { echo "$page does not tell of $option"; failed=1; }
  done
  for place in "/etc/default/polaiga-$name" "POLAIGA_${name^^}_OPTIONS"; do
    for document in "packaging/man/polaiga-$name.1" "packaging/systemd/polaiga-$name.service.in" "$page"; do
      grep -qF "$place" "$source/$document" || { echo "$document does not tell of $place"; failed=1; }
    done
  done
  tests=$(grep -o "\`$name/[a-z0-9_]*/[a-z0-9_]*\.[A-Za-z0-9_]*\`" "$source/$page" | tr -d '`' || true)
  [ -n "$tests" ] || { echo "$page names no tests"; failed=1; }
  for test in $tests; do
    case_of=${test#*.} file=$source/tests/outputs/${test%%.*}_test
    grep -qs "def $case_of(" "$file.py" || grep -Eqs "^TEST(_F|_P)?\([A-Za-z]+, $case_of\)" "$file.cpp" ||
      { echo "$page names $test"; failed=1; }
  done
  without=$(sed -n '/^## When things go wrong/,/^## [^W]/p' "$source/$page" | grep '^|' | sed 1,2d | grep -v "\`$name/" || true)
  same "cases of $page without a test" "$without" ''
  [ "$(sed -n '/^## When things go wrong/,/^## [^W]/p' "$source/$page" | grep -c '^|')" -gt 3 ] || { echo "$page does not tell what happens when things go wrong"; failed=1; }
done

# Options and files that the documents name are there.
{
  for command in '' $commands; do options_of $command; done
  printf '%s\n' ${web_options:-} ${passwd_options:-} ${ipmi_options:-} ${publisher_options:-}
} | LC_ALL=C sort -u >"$work/options"
for document in "${documents[@]}"; do
  for option in $(grep -o '`--[a-z0-9-]*' "$source/$document" | tr -d '`'); do
    grep -qx -- "$option" "$work/options" || { echo "$document names $option"; failed=1; }
  done
  for link in $(grep -o '](\([^)#]*\))' "$source/$document" | sed 's/^](//; s/)$//' | grep -v '^https://'); do
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
same '--publisher' "$(complete_words run --publisher roo)" root
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
