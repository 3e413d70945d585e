#!/usr/bin/env bash
# Makes the reference of the public interface (HTML) from the comments of its headers.
# scripts/reference.sh [FOLDER]: into FOLDER, build/reference by default. Fails on any warning.
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"

need_packages reference
folder=${1:-$BUILD_ROOT/reference}
mkdir -p "$folder"
cd "$ROOT"
version=$(project_version)
{
  cat docs/reference/Doxyfile
  echo "PROJECT_NUMBER = $version"
  echo "OUTPUT_DIRECTORY = $folder"
  echo "HTML_OUTPUT = ."
} | doxygen -
[ -s "$folder/classMIME_1_1Mail.html" ] || die "there is no page for Mail"
echo "$folder/index.html"
