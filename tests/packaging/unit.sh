# Functions that the tests of the units for systemd share. The script that reads this file has set `work` to a directory
# for temporary files.
fail() { echo "$*"; exit 1; }

# The complaints of systemd about a unit.
verify() { systemd-analyze verify --man=no --generators=no --recursive-errors=no "$1" 2>&1; }

# verify_unit UNIT LINE: systemd finds nothing wrong, but would if the line were spelled otherwise.
verify_unit() {
  local complaints
  # These words alone are taken out, and the users of databases, and not their lines, which may have such a place, too.
  ! sed 's/@system-service//g; s/@privileged//g; s/@resources//g; s/"$$@"//g; s/polaiga@%i\.service//g; s#postgresql://[a-z_]*@##' "$1" | grep -n '@' ||
    fail "$1 has places that nothing fills"
  complaints=$(verify "$1") || fail "systemd-analyze verify: $complaints"
  [ -z "$complaints" ] || fail "systemd-analyze verify: $complaints"
  grep -qxF "$2" "$1" || fail "$1 has no line $2"
  sed "s/^${2%%=*}=/${2%%=*}s=/" "$1" >"$work/wrong.service"
  [[ $(verify "$work/wrong.service" || true) == *"${2%%=*}s"* ]] || fail "systemd-analyze verify does not see a wrong unit"
}

# What a service could do, in the words of systemd.
open_to() {
  systemd-analyze security --offline=yes --no-pager --json=short "$1" |
    python3 -c 'import json, sys; print(*sorted(e["json_field"] for e in json.load(sys.stdin) if e["exposure"] not in (None, "0.0")))'
}

# locked_in UNIT WHAT: the service may do this and nothing else, and a line less would be noticed.
locked_in() {
  [ "$(open_to "$1")" = "$2" ] || fail "the service may: $(open_to "$1")"
  sed '/^RestrictNamespaces=/d' "$1" >"$work/open.service"
  [ "$(open_to "$work/open.service")" != "$2" ] || fail "systemd-analyze security does not see an open service"
}

# The unit has each line of standard input.
has_lines() {
  local line
  while read -r line; do
    grep -qxF "$line" "$1" || fail "the unit has no line $line"
  done
}

# engine_unit SOURCE DIRECTORY OPTIONS TEMPLATE: the engine's unit with the program in this directory and these options, or,
# if TEMPLATE is yes, the template for one of several servers. packaging/systemd/instance.cmake fills in the same.
engine_unit() {
  local named='' instance='' directory=''
  if [ "$4" = yes ]; then named=' %i' instance=/%i directory=' polaiga/%i'; fi
  sed -e "s|@bindir@|$2|" -e "s|@unit_options@|$3|" -e "s|@named@|$named|" -e "s|@instance@|$instance|g" \
    -e "s|@directory@|$directory|" "$1/packaging/systemd/polaiga.service.in"
}
