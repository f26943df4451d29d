#!/usr/bin/env bash
# Checks vorp as another project sees it: installs a built tree into a
# scratch prefix, builds this example against the installed package from a
# fresh build directory, checks that an edited drawing recompiles only its
# own albums, runs the example, then makes the Debian package, lists it,
# installs it, builds the example against it and removes it again.
#   examples/engine/check.sh [build-dir]     (default: build)
# The install and removal need root; without it that part is skipped.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
work=$(mktemp -d)
installed_deb=0

cleanup() {
  if [ "$installed_deb" = 1 ]; then dpkg -r vorp >/dev/null 2>&1 || true; fi
  rm -rf "$work"
}
trap cleanup EXIT

fail() {
  echo "package check: $*" >&2
  exit 1
}

# Everything that is installed must exist; in CI the tree is already built.
cmake --build "$build"

# Install into a scratch prefix.
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
for file in bin/vorp bin/vorp-dump bin/vorp-render \
  lib/libvorp_core.a lib/libvorp_host.a \
  include/vorp/host/AlbumHost.h include/vorp/album/ShaderSources.h include/vorp/support/FloatMode.h \
  lib/cmake/vorp/vorpConfig.cmake lib/cmake/vorp/vorpConfigVersion.cmake lib/cmake/vorp/VorpAlbums.cmake \
  share/doc/vorp/README.md share/doc/vorp/docs/host.md; do
  [ -e "$prefix/$file" ] || fail "cmake --install did not write $file"
done
# The tools that are built only where their libraries are found.
for tool in view/vorp-view prep/vorp-prep; do
  if [ -x "$build/$tool" ] && [ ! -x "$prefix/bin/${tool#*/}" ]; then
    fail "cmake --install did not install ${tool#*/}"
  fi
done

# The version file: 1.0 is satisfied, 2.0 is not.
for wanted in 1.0 2.0; do
  probe=$work/probe-$wanted
  mkdir -p "$probe"
  printf 'cmake_minimum_required(VERSION 3.25)\nproject(probe NONE)\nfind_package(vorp %s REQUIRED)\n' "$wanted" \
    > "$probe/CMakeLists.txt"
  if cmake -S "$probe" -B "$probe/build" -DCMAKE_PREFIX_PATH="$prefix" >"$probe/log" 2>&1; then
    [ "$wanted" = 1.0 ] || fail "find_package(vorp $wanted) accepted version 1.0.0"
  else
    [ "$wanted" = 2.0 ] || { cat "$probe/log"; fail "find_package(vorp $wanted) failed"; }
  fi
done

# Two drawings of one name in one output directory are refused.
probe=$work/probe-names
mkdir -p "$probe"
printf 'cmake_minimum_required(VERSION 3.25)\nproject(probe NONE)\nfind_package(vorp 1.0 REQUIRED)\nvorp_add_albums(TARGET icons SOURCES a/star.svg b/star.svg)\n' \
  > "$probe/CMakeLists.txt"
if cmake -S "$probe" -B "$probe/build" -DCMAKE_PREFIX_PATH="$prefix" >"$probe/log" 2>&1; then
  fail "vorp_add_albums accepted two drawings that make one album"
fi
grep -q 'two sources make' "$probe/log" || { cat "$probe/log"; fail "vorp_add_albums did not say why it refused"; }

# The example against the installed package, from a fresh directory; the
# source tree is on no include path, so the installed headers must suffice.
# It builds from a copy, whose drawings the rebuild check may touch.
copy=$work/example
cp -r "$here" "$copy"
engine=$work/engine
cmake -S "$copy" -B "$engine" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
grep -qx "vorp_DIR:PATH=$prefix/lib/cmake/vorp" "$engine/CMakeCache.txt" \
  || fail "the example did not find the package in $prefix"
cmake --build "$engine" -j 2

# The albums are vorp's own output for the same options.
"$build/tool/vorp" -max-band-count 16 -o "$work/badge.vorp" "$here/badge.svg" >/dev/null
"$build/tool/vorp" -pict -o "$work/ring-pict.vorp" "$here/ring.svg" >/dev/null
cmp "$work/badge.vorp" "$engine/icons/badge.vorp" || fail "the icons differ from vorp's"
cmp "$work/ring-pict.vorp" "$engine/pictures/ring.vorp" || fail "the picture album differs from vorp's"

# An edited drawing recompiles its own albums and nothing else; a new vorp
# recompiles every album.
[ "$(ninja -C "$engine" -n | grep -c 'Compiling album')" = 0 ] || fail "a finished build has albums left to compile"
badge_before=$(stat -c %y "$engine/icons/badge.vorp")
ring_before=$(stat -c %y "$engine/icons/ring.vorp" "$engine/pictures/ring.vorp")
touch "$copy/ring.svg"
log=$(ninja -C "$engine" -j 2)
echo "$log"
[ "$(grep -c 'Compiling album ring.vorp' <<<"$log")" = 2 ] || fail "touching ring.svg did not recompile both ring albums"
if grep -q 'Compiling album badge' <<<"$log"; then fail "touching ring.svg recompiled badge.vorp"; fi
[ "$(stat -c %y "$engine/icons/badge.vorp")" = "$badge_before" ] || fail "badge.vorp was rewritten"
[ "$(stat -c %y "$engine/icons/ring.vorp" "$engine/pictures/ring.vorp")" != "$ring_before" ] || fail "the ring albums were not rewritten"
touch "$prefix/bin/vorp"
[ "$(ninja -C "$engine" -n | grep -c 'Compiling album')" = 3 ] || fail "a new vorp did not recompile every album"
ninja -C "$engine" >/dev/null

# The example loads each album through the host library.
output=$("$engine/vorp-engine-example" "$engine/icons/badge.vorp" "$engine/icons/ring.vorp" "$engine/pictures/ring.vorp")
echo "$output"
grep -q '^badge.vorp: icon album, 2 entries, 0 pictures; [1-9][0-9]* vertices' <<<"$output" || fail "badge.vorp did not load as expected"
grep -q '^ring.vorp: icon album, 2 entries, 0 pictures; [1-9][0-9]* vertices' <<<"$output" || fail "ring.vorp did not load as an icon album"
grep -q '^ring.vorp: picture album, 2 entries, 2 pictures; [1-9][0-9]* vertices' <<<"$output" \
  || fail "the ring picture album did not load"
head -c 100 "$engine/icons/badge.vorp" > "$work/cut.vorp"
if cut=$("$engine/vorp-engine-example" "$work/cut.vorp"); then fail "a cut album loaded"; fi
grep -q '^Error: ' <<<"$cut" || fail "a cut album gave no error line"

# Drawn through OpenGL where vorp-view was built and an EGL display opens.
if [ -x "$prefix/bin/vorp-view" ]; then
  if probe=$("$prefix/bin/vorp-view" "$engine/icons/badge.vorp" -o "$work/probe.png" --size 16); then
    cmake --build "$engine" --target engine_view
    for image in icons/badge.png icons/ring.png pictures/ring.png; do
      [ -s "$engine/$image" ] || fail "engine_view did not draw $image"
    done
  else
    echo "engine_view skipped: $probe"
  fi
fi

# The Debian package.
(cd "$build" && cpack -G DEB -B "$work/deb" >/dev/null)
deb=$(ls "$work"/deb/vorp_*.deb)
dpkg-deb -f "$deb" Package Version Architecture Maintainer Depends
contents=$(dpkg-deb -c "$deb")
echo "$contents"
for file in ./usr/bin/vorp ./usr/bin/vorp-dump ./usr/bin/vorp-render ./usr/include/vorp/host/AlbumHost.h \
  ./usr/lib/libvorp_host.a ./usr/lib/cmake/vorp/vorpConfig.cmake ./usr/share/doc/vorp/README.md; do
  grep -q " $file\$" <<<"$contents" || fail "the package lacks $file"
done

if [ "$(id -u)" != 0 ]; then
  echo "dpkg -i / dpkg -r skipped: not root"
  exit 0
fi
if dpkg-query -W -f '${Status}' vorp 2>/dev/null | grep -q 'ok installed'; then
  fail "a vorp package is installed already; not touching it"
fi
dpkg -i "$deb"
installed_deb=1
/usr/bin/vorp -max-band-count 16 -o "$work/badge-deb.vorp" "$here/badge.svg" >/dev/null
cmp "$work/badge.vorp" "$work/badge-deb.vorp" || fail "the packaged vorp writes other bytes"
system=$work/engine-system
cmake -S "$copy" -B "$system" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
grep -qx "vorp_DIR:PATH=/usr/lib/cmake/vorp" "$system/CMakeCache.txt" || fail "the example did not find the installed package"
cmake --build "$system" -j 2 >/dev/null
"$system/vorp-engine-example" "$system/icons/badge.vorp" "$system/pictures/ring.vorp" >/dev/null
dpkg -r vorp
installed_deb=0
dpkg-query -W -f '${Status}' vorp 2>/dev/null | grep -q 'ok installed' && fail "dpkg -r left vorp installed"
for path in /usr/bin/vorp /usr/bin/vorp-dump /usr/bin/vorp-render /usr/include/vorp /usr/lib/cmake/vorp \
  /usr/lib/libvorp_host.a /usr/share/doc/vorp; do
  [ ! -e "$path" ] || fail "dpkg -r left $path"
done
echo "package check: passed"
