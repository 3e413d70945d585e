#!/usr/bin/env bash
# Makes what is released, from the commit that is checked out (changes that are not committed are left
# out), in build/packages or $KIVMIME_PACKAGE_DIR:
#
#   scripts/package.sh             # the archive of the sources, and the Debian packages, judged by lintian
#   scripts/package.sh --source    # the archive alone: kivmime-VERSION.tar.gz
#   scripts/package.sh --check     # installs the packages in a new Debian, uses and removes them
#
# The same commit gives the same archive, byte for byte.
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"
. "$ROOT/scripts/lib/clean_root.sh"

version=$(project_version)
output=${KIVMIME_PACKAGE_DIR:-$BUILD_ROOT/packages}
archive=$output/kivmime-$version.tar.gz

make_archive() {
  # gzip alone would write the time down.
  git -C "$ROOT" archive --format=tar --prefix="kivmime-$version/" HEAD | gzip -n9 >"$archive"
  echo "$archive"
}

# lay_out SOURCE: puts debian/ into the extracted archive.
lay_out() {
  local abi file
  case $version in
    0.*) abi=${version%.*} ;;
    *) abi=${version%%.*} ;;
  esac
  cp -r "$1/packaging/debian" "$1/debian"
  for file in "$1"/debian/*@ABI@*; do
    mv "$file" "${file//@ABI@/$abi}"
  done
  find "$1/debian" -type f -exec sed -i "s/@ABI@/$abi/g" {} +
  {
    printf 'kivmime (%s-1) unstable; urgency=medium\n\n  * What is new is in changelog.gz.\n\n' "$version"
    printf ' -- %s  %s\n' "$(sed -n 's/^Maintainer: //p' "$1/debian/control")" \
      "$(git -C "$ROOT" log -1 --format=%cD)"
  } >"$1/debian/changelog"
}

make_packages() {
  local work=$output/build
  need_packages build tools packages
  rm -rf "$work" "$output/debug-symbols" "$output"/*.deb "$output"/*.changes "$output"/*.buildinfo
  mkdir "$work"
  tar -xzf "$archive" -C "$work"
  lay_out "$work/kivmime-$version"
  (cd "$work/kivmime-$version" &&
    DEB_BUILD_OPTIONS="parallel=$JOBS nocheck ${DEB_BUILD_OPTIONS:-}" dpkg-buildpackage -b -us -uc) >"$output/build.log" 2>&1 ||
    { tail -n 40 "$output/build.log" >&2; die "the packages were not built: $output/build.log"; }
  mv "$work"/*.deb "$work"/*.changes "$work"/*.buildinfo "$output"
  rm -rf "$work"
  (cd "$output" && ls -s --block-size=1K ./*.deb)
  # The packages are not for Debian's archive, which knows no request for them.
  lintian --allow-root --fail-on error --tag-display-limit 0 --suppress-tags initial-upload-closes-no-bugs \
    "$output"/*.changes
  mkdir -p "$output/debug-symbols"
  mv "$output"/*-dbgsym_*.deb "$output/debug-symbols" 2>/dev/null || true    # CI makes none
}

# What a user does with the packages, from their installation to their removal.
check_packages() {
  local package left status=0
  need_packages clean_root
  make_clean_root "$root" || return $?
  mkdir "$root/packages"
  cp "$output"/*.deb "$root/packages"
  cp "$ROOT/samples/encodings.eml" "$root/packages"

  in_clean_root "$root" "apt-get install -qq --no-install-recommends /packages/*.deb" >"$output/install.log" 2>&1 ||
    { tail -n 20 "$output/install.log" >&2; die "the packages cannot be installed"; }
  in_clean_root "$root" "kivmime --version && kivmime show /packages/encodings.eml" | grep -q 'seven.txt' ||
    die "the installed program shows nothing"
  in_clean_root "$root" "python3 -c 'import kivmime; print(kivmime.open(\"/packages/encodings.eml\").subject)'" |
    grep -q . || die "the Python module reads nothing"
  in_clean_root "$root" "dpkg --audit" | grep . && die "dpkg finds faults"
  for package in "$root"/packages/*.deb; do
    dpkg-deb -f "$package" Package
    dpkg-deb -c "$package" | awk '!/^d/ {print $6}' >>"$root/packages/files"
  done >"$root/packages/names"
  while IFS= read -r left; do
    [ -e "$root/$left" ] || [ -L "$root/$left" ] || die "$left is not installed"
  done <"$root/packages/files"
  in_clean_root "$root" "apt-get purge -qq \$(cat /packages/names)" >"$output/remove.log" 2>&1 ||
    { tail -n 20 "$output/remove.log" >&2; die "the packages cannot be removed"; }
  while IFS= read -r left; do
    { [ ! -e "$root/$left" ] && [ ! -L "$root/$left" ]; } || { echo "not removed: $left" >&2; status=1; }
  done <"$root/packages/files"
  [ $status = 0 ] || return $status
  echo "installed, used and removed: $(paste -sd' ' "$root/packages/names")"
}

mkdir -p "$output"
output=$(cd "$output" && pwd)
archive=$output/kivmime-$version.tar.gz
case ${1:-} in
  --source) make_archive ;;
  --check)
    root=$(mktemp -d)
    trap 'as_root rm -rf --one-file-system "$root"' EXIT
    check_packages
    ;;
  '')
    make_archive
    make_packages
    ;;
  *) die "unknown argument: $1" ;;
esac
