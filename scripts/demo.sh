#!/usr/bin/env bash
# Shows the program at work on a sample message: its tree, its bodies, the message written back; and
# compares the bodies of what was written back with those of the first reading, byte for byte.
# Installs what is missing and builds the program first. An argument names another message.
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"

build_program() {
  need_packages build tools test    # the release build configures its tests, too
  mkdir -p "$BUILD_ROOT"
  echo "Building kivmime in $BUILD_ROOT/release ..."
  { (cd "$ROOT" && cmake --preset release -B "$BUILD_ROOT/release") &&
    cmake --build "$BUILD_ROOT/release" --target kivmime -j "$JOBS"; } >"$BUILD_ROOT/demo.log" 2>&1 ||
    { tail -n 40 "$BUILD_ROOT/demo.log" >&2; die "the build failed: $BUILD_ROOT/demo.log"; }
}

# Shows a command, then runs it. The program goes by its name, as an installed one would.
run() {
  printf '\n$'
  printf ' %q' "$@"
  echo
  "$@"
}

message=$(realpath "${1:-$ROOT/samples/encodings.eml}")
build_program
PATH=$BUILD_ROOT/release:$PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
cp "$message" message.eml

run kivmime show message.eml
run kivmime extract message.eml -d first
run kivmime rewrite message.eml -o again.eml
run kivmime extract again.eml -d second
echo
[ -n "$(ls first)" ] || die "no bodies came out"
diff -rq first second || die "the bodies of the written-back message differ from the first reading's"
echo "$(ls first | wc -l) bodies, $(cat first/* | wc -c) bytes: the same after writing back and reading again."
