#!/usr/bin/env bash
# Installs what is missing, cross-builds the library, the program and all tests for Windows, and runs
# the tests under Wine. Then compares with the tests of the Linux build: every test that is only on one
# side, or that Wine cannot do (tests/wine_cannot.txt), is named.
# Arguments go to the tests' program, and nothing is compared then:
#   scripts/test-windows.sh --gtest_filter='QuotedPrintable*'
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"

need_packages build tools test windows
[ $# -gt 0 ] || configure_and_build release
configure_and_build windows

# A Windows of its own, which leaves nothing behind. Its server stays between two programs: starting it
# takes longer than most tests.
WINEPREFIX=$(mktemp -d)
export WINEPREFIX
wineserver=/usr/lib/wine/wineserver64
[ -x "$wineserver" ] || wineserver=$(command -v wineserver)
trap '"$wineserver" -k || true; rm -rf "$WINEPREFIX"' EXIT
"$wineserver" -p
"$ROOT/scripts/lib/wine.sh" cmd /c ver || die "Wine does not start"

if [ $# -gt 0 ]; then
  "$ROOT/scripts/lib/wine.sh" "$BUILD_ROOT/windows/tests/kivmime_tests.exe" "$@"
  exit
fi
rm -f "$BUILD_ROOT"/windows/tests/shard-*.xml
# Now and then Wine fails to start a program, so that a test fails for once.
run_tests windows --repeat until-pass:3 || echo "(Those that Wine cannot do are among the failed ones: see below.)"
echo
python3 -B "$ROOT/scripts/lib/compare_tests.py" "$BUILD_ROOT/release" "$BUILD_ROOT/windows" \
  "$ROOT/tests/wine_cannot.txt"
