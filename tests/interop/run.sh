#!/usr/bin/env bash
# Compares messages that we make with what Python's email package, GMime and Dovecot read in them, and
# decodes with Python what the encoders write. Then compares what we, Python and GMime read in messages
# of others: those of samples/ and tests/data/, and those below the folders that KIVMIME_CORPUS names,
# with ":" between them. What cannot be installed is skipped with a line that
# says so; Dovecot, a service, is used when it is there and never installed.
# tests/interop/run.sh [CASES]    CASES: random inputs for each encoder, 2000 when not given
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib/setup.sh"

need_packages build tools test
if ! (need_packages interop); then
  echo "skipped: GMime, because libgmime-3.0-dev cannot be installed"
fi
if ! (need_packages interop_smime); then
  echo "skipped: GMime's verification of signatures, because gpgsm cannot be installed"
fi
build=$BUILD_ROOT/release
mkdir -p "$BUILD_ROOT"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

(cd "$ROOT" && cmake --preset release -B "$build") >"$work/configure.log" || { cat "$work/configure.log"; exit 1; }
targets=(kivmime interop_generate interop_mail)
readers=()
gmime=-
if is_installed libgmime-3.0-dev; then
  targets+=(interop_gmime interop_gmime_verify kivmime_test_keys)
  gmime=$build/tests/interop/interop_gmime
  readers+=(--gmime "$gmime")
fi
if is_installed dovecot-imapd; then
  readers+=(--dovecot)
else
  echo "skipped: Dovecot, because dovecot-imapd is not installed"
fi
cmake --build "$build" -j "$JOBS" --target "${targets[@]}"

mkdir "$work/messages"
python3 -B "$ROOT/tests/interop/check.py" "$build/kivmime" "$build/tests/interop/interop_generate" \
  "$work/messages" ${readers[@]+"${readers[@]}"} --cases "${1:-2000}"

if is_installed libgmime-3.0-dev && is_installed gpgsm; then
  mkdir "$work/signatures"
  python3 -B "$ROOT/tests/interop/signatures.py" "$build/kivmime" "$build/tests/interop/interop_gmime_verify" \
    "$build/tests/interop/interop_gmime" "$build/tests/keys" "$work/signatures"
fi

folders=("$ROOT/samples" "$ROOT/tests/data")
if [ -n "${KIVMIME_CORPUS:-}" ]; then
  IFS=: read -r -a collections <<<"$KIVMIME_CORPUS"
  folders+=("${collections[@]}")
else
  echo "skipped: real messages, because KIVMIME_CORPUS names no folder"
fi
python3 -B "$ROOT/tests/interop/corpus.py" "$build/tests/interop/interop_mail" "$gmime" "${folders[@]}"
