#!/usr/bin/env bash
# Installs what is missing, builds hostile_shapes, has the library read every shape, each in a process
# of its own with a stack of 1 MiB, and prints what each took. Fails when a shape breaks a bound: its
# result, its memory, how much of the text is looked at, files or memory left behind, its growth.
#
#   scripts/robustness.sh            whole sizes; writes the table into docs/robustness.md
#   scripts/robustness.sh --small    a hundredth of them; writes nothing
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"

divisor=1
[ "${1:-}" != --small ] || divisor=100
# A shape whose cost grew with the square of its size would take days.
seconds_each=600
build=$BUILD_ROOT/robustness
program=$build/benchmarks/hostile_shapes

need_packages build bench checks
(cd "$ROOT" && cmake --preset release -B "$build" -DKIVMIME_BUILD_BENCHMARKS=ON \
  -DKIVMIME_BUILD_TESTS=OFF -DKIVMIME_BUILD_TOOLS=OFF)
cmake --build "$build" -j "$JOBS" --target hostile_shapes

work=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo /tmp)")
trap 'rm -rf "$work"' EXIT
mkdir "$work/files" "$work/counts"
export TMPDIR=$work/files

status=0
"$program" list >"$work/list"
while IFS=$'\t' read -r number name how; do
  ended=0
  (ulimit -s 1024 && exec timeout "$seconds_each" "$program" run "$number" "$divisor") \
    >"$work/row" || ended=$?
  if [ $ended -gt 1 ]; then
    # 124 is the time limit; above 128 it was a signal.
    printf '%s\t%s\t0\t0\t\t0\t0\t0\t0\t0\tENDED %s\n' "$name" "$how" $ended >"$work/row"
  fi
  [ $ended = 0 ] || status=1
  printf '%s\t' "$number" | cat - "$work/row" >>"$work/rows"
done <"$work/list"

# The instructions of every shape at three small sizes: callgrind counts the same in every run.
(cd "$work/counts" && valgrind -q --tool=callgrind --instr-atstart=no \
  "$program" count 400 >/dev/null 2>"$work/counts.log") || { cat "$work/counts.log" >&2; status=1; }

document=
[ $divisor != 1 ] || document=$ROOT/docs/robustness.md
python3 "$ROOT/scripts/lib/robustness_table.py" "$work/rows" "$work/counts" $document || status=1
exit $status
