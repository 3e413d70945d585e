#!/usr/bin/env bash
# Installs what is missing, builds the benchmarks with optimisation, runs them and prints each
# beside its limit. Arguments go to the benchmark program:
#   scripts/bench.sh --benchmark_filter='QpEncode|Copy'
# Or compares the library with others:
#   scripts/bench.sh compare FOLDER [--mail MAIL] [--peer NAME=PROGRAM]... [--tasks pbaew] [--names NAME,NAME]
#       on the messages FOLDER/NAME/*.eml, and on the header fields of the real messages below MAIL, with
#       more programs beside the libraries that Debian has when they are given (benchmarks/compare.py)
#   scripts/bench.sh charts FOLDER ...    the same, and how cost grows, and memory: into docs/pictures
#   scripts/bench.sh json MAIL            kivmime show --json, beside Python's email package
# New files are made in TMPDIR; without it in /dev/shm, so that no disk is measured.
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"

need_packages build bench
mode=${1:-}
tools=OFF
case $mode in
  compare | json | charts) shift ;;
  *) mode=benchmarks ;;
esac
if [ "$mode" = json ] || [ "$mode" = charts ]; then
  tools=ON
  need_packages tools
fi
if [ "$mode" = charts ]; then
  need_packages charts
fi
# What it is called, its harness without "_harness", and its package.
PEERS="GMime:gmime:libgmime-3.0-dev mimetic:mimetic:libmimetic-dev libEtPan:etpan:libetpan-dev"
if [ "$mode" = compare ] || [ "$mode" = charts ]; then
  for group in interop peers; do
    (need_packages "$group") || echo "some of the other libraries cannot be installed"
  done
fi
build=$BUILD_ROOT/bench
results=$build/results
mkdir -p "$results"
(cd "$ROOT" && cmake --preset release -B "$build" -DKIVMIME_BUILD_BENCHMARKS=ON \
  -DKIVMIME_BUILD_TESTS=OFF -DKIVMIME_BUILD_TOOLS=$tools)

# Builds the programs of the other libraries, and sets `peers` to the options that name them.
build_peers() {
  local title harness package
  peers=()
  while IFS=: read -r title harness package; do
    if ! is_installed "$package"; then
      echo "skipped: $title, because $package is not installed"
      continue
    fi
    cmake --build "$build" -j "$JOBS" --target "${harness}_harness"
    peers+=(--peer "$title=$build/benchmarks/${harness}_harness")
  done < <(tr ' ' '\n' <<<"$PEERS")
}

# compare_libraries FOLDER [--mail MAIL] [OPTION...]
compare_libraries() {
  local folder=$1 extra=()
  shift
  if [ "${1:-}" = --mail ]; then
    rm -rf "$build/headers"
    python3 "$ROOT/benchmarks/header_fields.py" "$2" "$build/headers"
    extra=(--headers "$build/headers")
    shift 2
  fi
  cmake --build "$build" -j "$JOBS" --target peer_harness
  build_peers
  print_machine
  python3 "$ROOT/benchmarks/compare.py" "$build/benchmarks/peer_harness" "$folder" "${extra[@]}" "$@" \
    "${peers[@]}" --out "$results/compare.json"
  compare_codecs
}

# Base64 and quoted-printable alone: the second table.
compare_codecs() {
  cmake --build "$build" -j "$JOBS" --target codec_compare
  echo
  "$build/benchmarks/codec_compare"
}

draw_charts() {
  local ours=$build/benchmarks/peer_harness
  cmake --build "$build" -j "$JOBS" --target kivmime
  compare_libraries "$@"
  python3 "$ROOT/benchmarks/scale.py" "$ours" "$results/scale.json" "${peers[@]}"
  python3 "$ROOT/benchmarks/memory.py" "$ours" "$results/memory.json" "${peers[@]}" \
    --tool "$build/kivmime"
  echo "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -1), one of $(nproc) processors," \
    "CPU time, files in memory; $(date -u '+%-d %B %Y')" >"$results/machine.txt"
  # Debian's Python has the drawing library; another one may come first in PATH.
  /usr/bin/python3 "$ROOT/benchmarks/charts.py" "$results" "$ROOT/docs/pictures"
}

compare_json() {
  cmake --build "$build" -j "$JOBS" --target kivmime
  print_machine
  python3 "$ROOT/benchmarks/json_rate.py" "$build/kivmime" "$@"
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
case $mode in
  compare) compare_libraries "$@" ;;
  charts) draw_charts "$@" ;;
  json) compare_json "$@" ;;
esac
[ "$mode" = benchmarks ] || exit 0

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
  --benchmark_out="$results/benchmarks.json" --benchmark_out_format=json "$@" >/dev/null
echo "load      $(cut -d' ' -f1-3 /proc/loadavg) after"
echo
python3 "$ROOT/benchmarks/table.py" "$results/benchmarks.json"
