#!/usr/bin/env bash
# Builds the fuzz targets and runs all of them, or those named, each from its seeds:
#   scripts/fuzz.sh SECONDS [TARGET...]       for example: scripts/fuzz.sh 60 read write
# Prints for each what it did and found; the exit status is 1 when anything was found. Inputs that fail go
# to build/fuzz/artifacts, logs to build/fuzz. KIVMIME_FUZZ_SEED makes runs start alike: CI sets it, so
# that a change is judged by the inputs of the run before; searches by hand leave it out.
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"

case ${1:-} in
  '' | *[!0-9]*) die "usage: fuzz.sh SECONDS [TARGET...]" ;;
esac
seconds=$1
shift

cd "$ROOT"
need_packages build tools test bench checks
cmake --preset asan-ubsan -B "$BUILD_ROOT/asan-ubsan" >/dev/null
cmake --build "$BUILD_ROOT/asan-ubsan" -j "$JOBS" --target kivmime_fuzzers
targets=("$@")
if [ ${#targets[@]} = 0 ]; then
  for source in fuzz/*_fuzzer.cpp; do targets+=("$(basename "$source" _fuzzer.cpp)"); done
fi
for target in "${targets[@]}"; do
  [ -f "fuzz/${target}_fuzzer.cpp" ] || die "no such target: $target"
done

results=$BUILD_ROOT/fuzz
mkdir -p "$results/artifacts"
# Files of the targets and working copies of the seeds; in memory, where it can be.
shm=/dev/shm
[ -w $shm ] && work=$(mktemp -d -p $shm) || work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Mails of the tests are seeds of the target that reads, after its options: exact rules with files that
# are removed after a failure, mail rules with bodies in memory, and with 100 bytes of bodies at most.
add_mails() {
  local mail options
  for mail in tests/data/*/*.eml; do
    for options in 80000000 C0000000 I0000050; do
      { printf %s "$options"; cat "$mail"; } >"$1/$options-$(basename "$mail")"
    done
  done
}

# The last number after a name in libFuzzer's log.
last_number() {
  grep -aoE "$1 *[0-9]+" "$2" | tail -n 1 | grep -oE '[0-9]+$' || echo 0
}

# fuzz_one TARGET: one run; prints its line of the table, and its log when it failed.
fuzz_one() {
  local name=$1 log=$results/$1.log status=0 units rate edges
  mkdir -p "$work/$name/corpus" "$work/$name/tmp"
  cp "fuzz/seeds/$name"/* "$work/$name/corpus"
  [ "$name" != read ] || add_mails "$work/$name/corpus"
  [ "$name" != mail ] || cp tests/data/mail/*.eml "$work/$name/corpus"
  TMPDIR=$work/$name/tmp "$BUILD_ROOT/asan-ubsan/fuzz/${name}_fuzzer" -max_total_time="$seconds" \
    -seed="${KIVMIME_FUZZ_SEED:-0}" \
    -print_final_stats=1 -max_len=1048576 -timeout=60 -dict=fuzz/mime.dict \
    -artifact_prefix="$results/artifacts/$name-" "$work/$name/corpus" >"$log" 2>&1 || status=$?
  units=$(last_number 'stat::number_of_executed_units:' "$log")
  rate=$(last_number 'stat::average_exec_per_sec:' "$log")
  edges=$(last_number ' cov:' "$log")
  printf '%-18s %12s %10s %8s %9s\n' "$name" "$units" "$rate" "$edges" "$([ $status = 0 ] && echo 0 || echo 1)"
  [ $status = 0 ] || tail -n 60 "$log" >&2
  return $status
}

printf '%-18s %12s %10s %8s %9s\n' target executions per\ second edges findings
# As many at a time as there are cores.
found=0
running=0
for target in "${targets[@]}"; do
  if [ $running -ge "$JOBS" ]; then
    wait -n || found=1
    running=$((running - 1))
  fi
  fuzz_one "$target" &
  running=$((running + 1))
done
for ((; running > 0; running--)); do
  wait -n || found=1
done
[ $found = 0 ] || echo "inputs that failed are in $results/artifacts" >&2
exit $found
