#!/usr/bin/env bash
# Installs what is missing, builds the benchmarks with optimisation, runs them and prints each
# beside its floor. Arguments go to the benchmark program:
#   scripts/bench.sh --benchmark_filter='QpEncode|Copy'
# Or compares the library with others on the messages FOLDER/NAME/*.eml, with more programs beside GMime
# when they are given (benchmarks/compare.py):
#   scripts/bench.sh compare FOLDER [--peer NAME=PROGRAM]... [--tasks pbaew] [--names NAME,NAME]
# New files are made in TMPDIR; without it in /dev/shm, so that no disk is measured.
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"

need_packages build bench
if [ "${1:-}" = compare ]; then
  (need_packages interop) || echo "skipped: GMime, because libgmime-3.0-dev cannot be installed"
fi
build=$BUILD_ROOT/bench
results=$build/results.json
(cd "$ROOT" && cmake --preset release -B "$build" -DKIVMIME_BUILD_BENCHMARKS=ON \
  -DKIVMIME_BUILD_TESTS=OFF -DKIVMIME_BUILD_TOOLS=OFF)

compare_libraries() {
  local peers=()
  cmake --build "$build" -j "$JOBS" --target peer_harness
  if is_installed libgmime-3.0-dev; then
    cmake --build "$build" -j "$JOBS" --target gmime_harness
    peers+=(--peer "gmime=$build/benchmarks/gmime_harness")
  fi
  print_machine
  python3 "$ROOT/benchmarks/compare.py" "$build/benchmarks/peer_harness" "$@" "${peers[@]}"
  compare_codecs
}

# Base64 and quoted-printable alone: the second table.
compare_codecs() {
  cmake --build "$build" -j "$JOBS" --target codec_compare
  echo
  "$build/benchmarks/codec_compare"
}

print_machine() {
  local compiler flags
  compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")
  flags=$(sed -n 's/^CMAKE_CXX_FLAGS_RELEASE:[A-Z]*=//p' "$build/CMakeCache.txt")
  echo
  echo "CPU       $(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -1), $(nproc) in use"
  echo "compiler  $("$compiler" --version | head -1), $flags"
  echo "files in  ${TMPDIR:-/tmp} ($(stat -f -c %T "${TMPDIR:-/tmp}"))"
  echo "load      $(cut -d' ' -f1-3 /proc/loadavg)"
  echo "date      $(date -u +%F)"
  echo
}

if [ -z "${TMPDIR:-}" ] && [ -w /dev/shm ]; then
  export TMPDIR=/dev/shm
fi
if [ "${1:-}" = compare ]; then
  shift
  compare_libraries "$@"
  exit
fi

cmake --build "$build" -j "$JOBS" --target kivmime_benchmarks peer_harness
# One processor, the last: the first one serves most interrupts.
pin=()
if command -v taskset >/dev/null; then
  pin=(taskset -c "$(($(nproc) - 1))")
fi
# Otherwise the C library gives large blocks back to the system at times that depend on what ran
# before, and a measurement then counts page faults.
export GLIBC_TUNABLES=glibc.malloc.mmap_threshold=268435456:glibc.malloc.trim_threshold=1073741824

print_machine
"${pin[@]}" "$build/benchmarks/kivmime_benchmarks" \
  --benchmark_repetitions=9 --benchmark_min_time=0.1 \
  --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
  --benchmark_out="$results" --benchmark_out_format=json "$@" >/dev/null
echo "load      $(cut -d' ' -f1-3 /proc/loadavg) after"
echo
python3 "$ROOT/benchmarks/table.py" "$results"
