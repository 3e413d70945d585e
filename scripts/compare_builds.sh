#!/usr/bin/env bash
# Proves that two source trees behave the same to the byte: what is read, written, encoded and decoded
# is compared for every file of the corpus folders and for many generated inputs.
#
#   scripts/compare_builds.sh BEFORE_TREE [AFTER_TREE]     (AFTER_TREE: this checkout)
#
# KIVMIME_CORPUS   folders with messages, divided by ":" (tests/data and samples of AFTER_TREE)
# KIVMIME_INPUTS   how many inputs are generated (100,000)
# KIVMIME_COMPARE  the build folder; kept, so that the next run builds and runs what changed only
#
# Ends with 0 when nothing differs. Otherwise it names the cases that differ and shows the first ones,
# before and after.
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"

[ $# = 1 ] || [ $# = 2 ] || die "usage: compare_builds.sh BEFORE_TREE [AFTER_TREE]"
before=$(realpath "$1")
after=$(realpath "${2:-$ROOT}")
inputs=${KIVMIME_INPUTS:-100000}
shown=3    # cases that are shown whole
compiler=${CXX:-g++}
program=$ROOT/scripts/behaviour

need_packages build
if [ -n "${KIVMIME_COMPARE:-}" ]; then
  work=$KIVMIME_COMPARE
  mkdir -p "$work"
else
  work=$(mktemp -d)
fi
temporary=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")")
trap 'rm -rf "$temporary"; [ -n "${KIVMIME_COMPARE:-}" ] || rm -rf "$work"' EXIT

# Revisions whose options were single switches take no separate Content-Type together with them.
define=()
if grep -q bodiesInMemory "$before/etc/mime/read_options.h" "$after/etc/mime/read_options.h"; then
  define=(-DBEHAVIOUR_OLD_OPTIONS)
fi

# build TREE: the static library of that tree, and the program on top of it. Sets `built`, their folder.
build() {
  local tree=$1
  built=$work/$(basename "$tree")-$(printf %s "$tree" | cksum | cut -d' ' -f1)
  { (cd "$tree" && cmake --preset static -B "$built" -DKIVMIME_BUILD_TOOLS=OFF \
      -DCMAKE_CXX_COMPILER="$compiler") &&
    cmake --build "$built" -j "$JOBS" --target KIVMIME &&
    "$compiler" -std=c++20 -O2 -Wall -Wextra -DKIV_STATIC "${define[@]}" -pthread \
      -I"$tree" -I"$tree/etc" "$program"/*.cpp "$built/libkivmime.a" -lcrypto \
      -o "$built/dump_behaviour"; } >"$built.log" 2>&1 ||
    { tail -n 40 "$built.log" >&2; die "the build of $tree failed: $built.log"; }
}

# run BUILT OPTION...: the program over all inputs.
run() {
  local built=$1
  shift
  rm -rf "$temporary/files"
  mkdir "$temporary/files"
  TMPDIR=$temporary/files "$built/dump_behaviour" --inputs "$inputs" --words "$work/words" "$@" \
    "${corpus[@]}"
}

# hash_cases BUILT: the hashes of all cases in BUILT/hashes; those of the same program, library and
# inputs are taken from the last run.
hash_cases() {
  local built=$1 stamp
  stamp=$(cat "$work/inputs" <(sha256sum <"$built/dump_behaviour") | sha256sum)
  [ "$(cat "$built/stamp" 2>/dev/null)" != "$stamp" ] || return 0
  rm -f "$built/stamp"
  run "$built" >"$built/hashes" || die "the program failed: $built/hashes"
  echo "$stamp" >"$built/stamp"
}

# One run at a time in a folder that is kept.
exec 9>"$work/lock"
flock 9
build "$before"
before_built=$built
build "$after"
after_built=$built

IFS=: read -r -a corpus <<<"${KIVMIME_CORPUS:-$after/tests/data:$after/samples}"
grep -ohE '"[^"]+"' "$before"/etc/mime/vocabulary/*.inc "$after"/etc/mime/vocabulary/*.inc |
  tr -d '"' | sort -u >"$work/words"
{ echo "$inputs"; cat "$work/words"; find "${corpus[@]}" -type f -exec sha256sum {} + | sort; } \
  >"$work/inputs"

hash_cases "$before_built"
hash_cases "$after_built"
count=$(wc -l <"$after_built/hashes")
[ "$count" -gt "$inputs" ] || die "only $count cases"
if cmp -s "$before_built/hashes" "$after_built/hashes"; then
  echo "$count cases, no difference"
  exit 0
fi

diff "$before_built/hashes" "$after_built/hashes" | sed -n 's/^[<>] \(.*\) [0-9a-f]*$/\1/p' | sort -u \
  >"$work/differing" || true
while read -r label; do
  echo "==== $label"
  run "$before_built" --dump "$label" >"$work/before.dump" || true
  run "$after_built" --dump "$label" >"$work/after.dump" || true
  diff -u "$work/before.dump" "$work/after.dump" || true
  echo "---- before, whole"; cat "$work/before.dump"
  echo "---- after, whole"; cat "$work/after.dump"
done < <(head -n "$shown" "$work/differing")
echo
sed 's/[0-9]\{1,\}/N/g' "$work/differing" | sed 's/^file\/.*\//file\/*\//' | sort | uniq -c
echo "$(wc -l <"$work/differing") of $count cases differ: $work/differing"
exit 1
