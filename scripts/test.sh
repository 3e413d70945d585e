#!/usr/bin/env bash
# Installs what is missing, builds the library and its tests, and runs the tests.
# Arguments go to ctest: scripts/test.sh -R QuotedPrintable
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"

need_packages build tools test
configure_and_build release
run_tests release "$@"
