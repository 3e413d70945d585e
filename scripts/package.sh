#!/usr/bin/env bash
# Makes what is released, from the commit that is checked out (not from files that are not committed):
#
#   scripts/package.sh --source          # kivmime-VERSION.tar.gz; the same commit gives the same bytes
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"

# make_archive FOLDER: its path is printed.
make_archive() {
  local name
  name=kivmime-$(project_version)
  # gzip would write down the time.
  git -C "$ROOT" archive --format=tar --prefix="$name/" HEAD | gzip -n9 >"$1/$name.tar.gz"
  echo "$1/$name.tar.gz"
}

output=${KIVMIME_PACKAGE_DIR:-$BUILD_ROOT/packages}
mkdir -p "$output"
make_archive "$output"
