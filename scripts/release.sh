#!/usr/bin/env bash
# Checks that what is checked out can be released, and makes the archive and the packages. Changes nothing
# else, except that --tag, when all is right, makes the tag. docs/release.md has the steps around it.
#
# scripts/release.sh [--tag]
set -u
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"
cd "$ROOT"

failed=0
check() {
  local name=$1
  shift
  echo "== $name"
  if ("$@"); then
    echo "ok"
  else
    echo "NOT READY: $name"
    failed=1
  fi
}

is_clean() {
  local changed
  changed=$(git status --porcelain)
  [ -z "$changed" ] || { echo "$changed"; return 1; }
}

# The newest entry of the changelog is this version, with a date, and nothing is noted above it.
is_in_changelog() {
  local top
  top=$(sed -nE '/^## \[Unreleased\]/,/^## \[[0-9]/ { /^## |^$/! p }' CHANGELOG.md)
  [ -z "$top" ] || { echo "CHANGELOG.md has changes under [Unreleased]"; return 1; }
  top=$(grep -m1 -E '^## \[[0-9]' CHANGELOG.md)
  [[ $top =~ ^"## [$version] - "[0-9]{4}-[0-9]{2}-[0-9]{2}$ ]] ||
    { echo "version.h says $version; the newest release of CHANGELOG.md is: ${top:-none}"; return 1; }
}

is_new() {
  ! git rev-parse -q --verify "refs/tags/v$version" >/dev/null || { echo "v$version exists"; return 1; }
}

# .ci/run notes the commit for which all of it passed.
has_passed_ci() {
  [ "$(cat "$BUILD_ROOT/ci-passed" 2>/dev/null)" = "$(git rev-parse HEAD)" ] ||
    { echo "run .ci/run for this commit"; return 1; }
}

[ $# = 0 ] || [ "$*" = --tag ] || die "usage: scripts/release.sh [--tag]"
version=$(project_version)
check "nothing is changed that is not committed" is_clean
check "the changelog has $version" is_in_changelog
check "there is no release $version" is_new
check "the recipes fit" scripts/check_recipes.py
check "CI has passed" has_passed_ci
check "the interface is that of the last release, or the SONAME is another" scripts/check_abi.sh
check "the archive and the packages" scripts/package.sh
check "the packages are installed and removed" scripts/package.sh --check

[ $failed = 0 ] || die "$version is not ready"
if [ "${1:-}" = --tag ]; then
  git tag -a "v$version" -m "KIVMIME $version"
  echo "v$version is made; docs/release.md says what is left to do"
else
  echo "$version is ready; scripts/release.sh --tag makes the tag"
fi
