#!/usr/bin/env bash
# Compares the interface of the shared libraries, as programs were linked to it, with that of the last
# release: names, and the layout of what the public headers declare.
#
#   scripts/check_abi.sh             # builds the last release (tag v...) and what is checked out
#   scripts/check_abi.sh OLD NEW     # compares two installed trees that were built with -g
#
# Additions are fine. What was removed or changed makes it fail, unless the SONAME has changed, too: then
# no program takes the one library for the other.
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"

# install_from SOURCE FOLDER
install_from() {
  cmake -S "$1" -B "$2/build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKIVMIME_SHARED=ON \
    -DKIVMIME_BUILD_TESTS=OFF -DKIVMIME_BUILD_TOOLS=OFF >/dev/null
  cmake --build "$2/build" -j "$JOBS" >/dev/null
  cmake --install "$2/build" --prefix "$2" >/dev/null
}

read_soname() {
  readelf -d "$1" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p'
}

# compare OLD NEW LIBRARY
compare() {
  local old new status=0
  old=$(read_soname "$1/lib/$3")
  new=$(read_soname "$2/lib/$3")
  echo "== $3: $old, $new"
  abidiff --no-added-syms --drop-private-types --headers-dir1 "$1/include" --headers-dir2 "$2/include" \
    "$1/lib/$3" "$2/lib/$3" || status=$?
  # Bits 1 and 2: it could not compare. 4 and 8: something has changed.
  [ $((status & 3)) = 0 ] || die "$3 could not be compared"
  if [ $status = 0 ]; then
    echo "programs that were linked to the old one run with the new one"
  elif [ "$old" != "$new" ]; then
    echo "changed, and the SONAME says so"
  else
    echo "changed under the same SONAME: a new minor version is needed (from 1.0 on: a major one)" >&2
    return 1
  fi
}

need_packages build abi
if [ $# = 2 ]; then
  old=$(cd "$1" && pwd)
  new=$(cd "$2" && pwd)
else
  tag=$(git -C "$ROOT" describe --tags --abbrev=0 --match 'v[0-9]*' HEAD^ 2>/dev/null) || {
    echo "nothing to compare with: there is no release (no tag v... before this commit)"
    exit 0
  }
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  old=$work/old
  new=$work/new
  mkdir "$work/source"
  git -C "$ROOT" archive "$tag" | tar -x -C "$work/source"
  echo "comparing with $tag"
  install_from "$work/source" "$old"
  install_from "$ROOT" "$new"
fi
status=0
for library in libkivmime.so libkivmime_html.so; do
  [ ! -e "$old/lib/$library" ] || compare "$old" "$new" "$library" || status=1
done
exit $status
