# Sourced by the scripts: what they need from the machine, and small helpers.
# The one place that lists packages. Names are those of Debian 12.

PACKAGES_build="g++ cmake ninja-build libssl-dev libgumbo-dev"
PACKAGES_tools="libcli11-dev nlohmann-json3-dev"
PACKAGES_test="libgtest-dev python3 openssl mandoc zsh fish"
PACKAGES_bench="libbenchmark-dev libssl-dev python3"
PACKAGES_install_test="pkg-config binutils"
PACKAGES_python="python3-dev pybind11-dev python3-pytest"
PACKAGES_dask="python3-dask python3-distributed"
PACKAGES_peers="pkg-config libmimetic-dev libetpan-dev ripmime"
PACKAGES_charts="python3-matplotlib"
PACKAGES_packages="build-essential debhelper dh-python dpkg-dev lintian pkg-config python3-dev pybind11-dev"
PACKAGES_clean_root="mmdebstrap"
PACKAGES_abi="abigail-tools binutils"
PACKAGES_interop="pkg-config libgmime-3.0-dev"
PACKAGES_interop_smime="gpgsm gnupg"
PACKAGES_interop_edits="python3-dkim gnupg"
PACKAGES_interop_imap="dovecot-imapd"
PACKAGES_checks="clang libclang-rt-dev clang-format clang-tidy valgrind"
PACKAGES_reference="doxygen python3"
PACKAGES_windows="g++-mingw-w64-x86-64-posix googletest wine64 libgnutls30"

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
BUILD_ROOT=${KIVMIME_BUILD_ROOT:-$ROOT/build}
JOBS=${KIVMIME_JOBS:-$(nproc)}

die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# The version, "0.1.2", from its one place.
project_version() {
  sed -nE 's/^#define KIVMIME_VERSION_(MAJOR|MINOR|PATCH) ([0-9]+)$/\2/p' "$ROOT/etc/mime/version.h" | paste -sd.
}

# need_packages GROUP...: installs what is missing of these groups; does nothing when all is there.
need_packages() {
  local group list package missing=()
  for group in "$@"; do
    list=PACKAGES_$group
    for package in ${!list}; do
      is_installed "$package" || missing+=("$package")
    done
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  command -v apt-get >/dev/null || die "install these first (Debian names): ${missing[*]}"
  echo "Installing: ${missing[*]}"
  as_root apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null
}

is_installed() {
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

as_root() {
  if [ "$(id -u)" = 0 ]; then
    "$@"
  else
    sudo "$@"
  fi
}

# configure_and_build PRESET [CMAKE-ARGUMENT...]: leaves the result in $BUILD_ROOT/PRESET.
configure_and_build() {
  local preset=$1
  shift
  (cd "$ROOT" && cmake --preset "$preset" -B "$BUILD_ROOT/$preset" "$@") &&
    cmake --build "$BUILD_ROOT/$preset" -j "$JOBS"
}

# run_tests PRESET [CTEST-ARGUMENT...]: runs the tests of that build and ends with the line
# "N passed, N failed", counted by the test runner. Fails when a test fails or none was found, and with
# KIVMIME_NO_SKIPS when one was skipped.
run_tests() {
  local preset=$1 report=$BUILD_ROOT/$1/test-results.xml status=0
  shift
  rm -f "$report"
  ctest --test-dir "$BUILD_ROOT/$preset" -j "$JOBS" --output-on-failure --no-tests=error \
    --output-junit "$report" "$@" || status=$?
  print_test_counts "$report" || return 1
  [ -z "${KIVMIME_NO_SKIPS:-}" ] || [ "$(count_skipped "$report")" = 0 ] || return 1
  return $status
}

# print_test_counts REPORT: the closing line from the runner's JUnit report.
print_test_counts() {
  local tests failures skipped
  [ -s "$1" ] || { echo "the test runner left no report" >&2; return 1; }
  tests=$(junit_count tests "$1")
  failures=$(junit_count failures "$1")
  skipped=$(count_skipped "$1")
  [ "$skipped" = 0 ] || echo "$skipped skipped"
  echo "$((tests - failures - skipped)) passed, $failures failed"
}

count_skipped() {
  echo $(($(junit_count skipped "$1") + $(junit_count disabled "$1")))
}

junit_count() {
  sed -n '/<testsuite /,/>/p' "$2" | grep -oE "[^a-z]$1=\"[0-9]+\"" | head -1 | tr -dc 0-9
}
