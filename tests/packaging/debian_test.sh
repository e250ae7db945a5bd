#!/usr/bin/env bash
# Makes the Debian packages of a build and installs them in a root of their own,
# where the program must run: debian_test.sh SOURCE BUILD CPACK [EMULATOR...]
# With an emulator the packages are only unpacked, since they are not this machine's.
set -euo pipefail
source=$1 build=$2 cpack=$3 emulator=("${@:4}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$*"; exit 1; }

# The packages do not depend on the umask.
(umask 027 && "$cpack" --config "$build/CPackConfig.cmake" -B "$work") >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
! grep -i warning "$work/log" || fail "cpack warns"
version=$(sed -n 's/^  VERSION //p' "$source/CMakeLists.txt")
if [ ${#emulator[@]} -gt 0 ]; then
  architecture=armhf triplet=arm-linux-gnueabihf machine=ARM
else
  architecture=$(dpkg --print-architecture) triplet=$(dpkg-architecture -qDEB_HOST_MULTIARCH) machine=
fi

root=$work/root
packages=(libpolaiga1 libpolaiga-dev polaiga)
files=()
for package in "${packages[@]}"; do
  file=$work/${package}_${version}_$architecture.deb
  [ -f "$file" ] || fail "there is no $(basename "$file")"
  files+=("$file")
  [ "$(dpkg-deb -f "$file" Architecture)" = "$architecture" ] || fail "$package: $(dpkg-deb -f "$file" Architecture)"
done
depends() { dpkg-deb -f "$work/$1_${version}_$architecture.deb" Depends; }
[[ $(depends libpolaiga1) =~ ^libc6\ \(\>=\ [0-9.]+\)$ ]] || fail "libpolaiga1 depends on $(depends libpolaiga1)"
[ "$(depends libpolaiga-dev)" = "libpolaiga1 (= $version)" ] || fail "libpolaiga-dev depends on $(depends libpolaiga-dev)"
names=$(depends polaiga | tr ',' '\n' | awk '{print $1}' | LC_ALL=C sort | xargs)
[ "$names" = 'libc6 libgcc-s1 libpolaiga1 libstdc++6' ] || fail "polaiga depends on $names"

if [ ${#emulator[@]} -gt 0 ]; then
  for file in "${files[@]}"; do dpkg-deb -x "$file" "$root"; done
else
  # dpkg is told of the packages that these depend on, as they are on this machine.
  mkdir -p "$root"/var/lib/dpkg/{info,updates,triggers}
  dpkg-query -s libc6 libgcc-s1 libstdc++6 >"$root/var/lib/dpkg/status"
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(unshare --map-root-user)
  "${as_root[@]}" dpkg --root="$root" --log="$work/dpkg.log" -i "${files[@]}" >"$work/log" 2>&1 ||
    { cat "$work/log"; exit 1; }
  for package in "${packages[@]}"; do
    status=$(dpkg-query --admindir="$root/var/lib/dpkg" -W -f '${db:Status-Status}' "$package")
    [ "$status" = installed ] || fail "$package is $status"
  done
fi

# What belongs to every package, and how it lies there.
for file in "${files[@]}"; do
  package=$(dpkg-deb -f "$file" Package)
  listing=$(dpkg-deb -c "$file")
  for document in copyright changelog.gz; do
    grep -q " ./usr/share/doc/$package/$document\$" <<<"$listing" || fail "$package has no $document"
  done
  wrong=$(awk '$1 !~ /^(drwxr-xr-x|-rw-r--r--|lrwxrwxrwx)$/ && $6 != "./usr/bin/polaiga" || $2 != "root/root"' <<<"$listing")
  [ -z "$wrong" ] || fail "$package: modes or owners: $wrong"
done
gzip -t "$root"/usr/share/man/man1/polaiga.1.gz "$root"/usr/share/man/man3/libpolaiga.3.gz
[ -x "$root/usr/bin/polaiga" ] || fail "the program is not executable"
dpkg-deb --ctrl-tarfile "${files[0]}" | tar -xO ./shlibs | grep -qx "libpolaiga 1 libpolaiga1 (>= ${version%.*})" ||
  fail "libpolaiga1: shlibs"
dpkg-deb --ctrl-tarfile "${files[0]}" | tar -xO ./triggers | grep -qx 'activate-noawait ldconfig' ||
  fail "libpolaiga1: triggers"

libraries=$root/usr/lib/$triplet
[ "$(readlink "$libraries/libpolaiga.so")" = libpolaiga.so.1 ] || fail "libpolaiga.so is no link to libpolaiga.so.1"
for binary in "$libraries/libpolaiga.so.1" "$root/usr/bin/polaiga"; do
  [[ $(readelf -h "$binary") =~ Machine:\ +${machine:-.} ]] || fail "$binary is for another machine"
  ! readelf -S "$binary" | grep -q '\.symtab' || fail "$binary is not stripped"
  ! readelf -d "$binary" | grep -Eq 'R(UN)?PATH' || fail "$binary looks for libraries in a place of its own"
done

day=$root/usr/share/doc/polaiga/examples/day.jsonl
if [ ${#emulator[@]} -gt 0 ]; then
  run=("${emulator[@]}" -E "LD_LIBRARY_PATH=$libraries")
else
  run=(env "LD_LIBRARY_PATH=$libraries")
fi
[ "$("${run[@]}" "$root/usr/bin/polaiga" --version)" = "polaiga $version" ] || fail "another version runs"
"${run[@]}" "$root/usr/bin/polaiga" replay "$day" >"$work/log"
grep -q '^550 events: 171 raised, 40 refreshed, 119 cleared, 173 already clear, 47 of no interest$' "$work/log" ||
  { tail -n 3 "$work/log"; fail "the day of the example ends otherwise"; }
echo "debian: passed ($architecture)"
