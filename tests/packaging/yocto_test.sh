#!/usr/bin/env bash
# Checks of the Yocto recipe what can be checked without bitbake: yocto_test.sh SOURCE
set -euo pipefail
source=$1
layer=$source/packaging/yocto
fail() { echo "$*"; exit 1; }

version=$(sed -n 's/^  VERSION //p' "$source/CMakeLists.txt")
recipe=$layer/recipes-support/polaiga/polaiga_$version.bb
[ "$(find "$layer" -name '*.bb')" = "$recipe" ] || fail "the recipe is not that of version $version"

value() { sed -n "s/^$1 ?*= \"\(.*\)\"\$/\1/p" "$recipe"; }
[ "$(value LICENSE)" = Apache-2.0 ] || fail "LICENSE: $(value LICENSE)"
[[ $(value LIC_FILES_CHKSUM) =~ ^file://([^\;]+)\;md5=([0-9a-f]{32})$ ]] || fail "LIC_FILES_CHKSUM: $(value LIC_FILES_CHKSUM)"
echo "${BASH_REMATCH[2]}  $source/${BASH_REMATCH[1]}" | md5sum --check --quiet

# The recipe names the root of the sources by its own place.
[[ $(value POLAIGA_GIT_URI) =~ THISDIR\}(/[./]+)\' ]] || fail "POLAIGA_GIT_URI: $(value POLAIGA_GIT_URI)"
[ "$(realpath "$(dirname "$recipe")${BASH_REMATCH[1]}")" = "$(realpath "$source")" ] || fail "the recipe is elsewhere than it thinks"

for line in 'inherit cmake pkgconfig bash-completion systemd useradd features_check' \
  'SYSTEMD_SERVICE:${PN} = "polaiga.service"' 'FILES:${PN} += "${nonarch_libdir}/sysusers.d"' 'PACKAGES =+ "lib${BPN}"' 'FILES:lib${BPN} = "${libdir}/lib${BPN}${SOLIBS}"'; do
  grep -qxF "$line" "$recipe" || fail "the recipe has no line $line"
done
# What PACKAGECONFIG switches off and on is what the build asks for.
grep -q '^PACKAGECONFIG\[program\] = ".*CMAKE_DISABLE_FIND_PACKAGE_CLI11=ON,cli11 nlohmann-json simdjson sqlite3 zlib nettle systemd"$' "$recipe" || fail "PACKAGECONFIG"
grep -qxF 'PACKAGECONFIG[time64] = "-DPOLAIGA_TIME64=ON,-DPOLAIGA_TIME64=OFF"' "$recipe" || fail "PACKAGECONFIG[time64]"
grep -q '^option(POLAIGA_TIME64 .* ON)$' "$source/CMakeLists.txt" || fail "the build knows no POLAIGA_TIME64 that is on by default"
[[ " $(value PACKAGECONFIG) " = *" time64 "* ]] || fail "PACKAGECONFIG: $(value PACKAGECONFIG), without the default time64"
for asked in 'find_package(CLI11 ' 'find_package(nlohmann_json ' 'find_package(simdjson ' 'find_package(SQLite3 ' 'find_package(ZLIB ' 'pkg_check_modules(NETTLE QUIET IMPORTED_TARGET nettle)' 'pkg_check_modules(SYSTEMD QUIET IMPORTED_TARGET libsystemd)'; do
  grep -qF "$asked" "$source/CMakeLists.txt" || fail "the build does not ask with $asked"
done
# All programs beside the engine are left out by options that the build knows.
for option in POLAIGA_WEB POLAIGA_IPMI POLAIGA_SNMP POLAIGA_MQTT POLAIGA_ALERTMANAGER; do
  [[ " $(value EXTRA_OECMAKE) " == *" -D$option=OFF "* ]] || fail "EXTRA_OECMAKE: $(value EXTRA_OECMAKE), without $option=OFF"
  grep -q "^option($option " "$source/CMakeLists.txt" || fail "the build knows no $option"
done
# The unit goes where the system keeps its units, and its user is made.
value EXTRA_OECMAKE | grep -q -- '-DPOLAIGA_UNIT_DIR=${systemd_system_unitdir}$' || fail "EXTRA_OECMAKE: $(value EXTRA_OECMAKE)"
grep -q '^set(POLAIGA_UNIT_DIR ' "$source/packaging/CMakeLists.txt" || fail "the build knows no POLAIGA_UNIT_DIR"
user=$(sed -n 's/^User=//p' "$source/packaging/systemd/polaiga.service.in")
grep -q "^USERADD_PARAM:\${PN} = \".* $user\"\$" "$recipe" || fail "the recipe does not make the user $user"
group=$(sed -n 's/^SupplementaryGroups=//p' "$source/packaging/systemd/polaiga.service.in")
grep -qxF "GROUPADD_PARAM:\${PN} = \"--system $group\"" "$recipe" || fail "the recipe does not make the group $group"

# The layer finds the recipe.
pattern=$(sed -n 's/^BBFILES += "${LAYERDIR}\/\(.*\)"$/\1/p' "$layer/conf/layer.conf")
(cd "$layer" && compgen -G "$pattern") | grep -qx "recipes-support/polaiga/polaiga_$version.bb" ||
  fail "the layer does not find the recipe by $pattern"
echo "yocto: passed"
