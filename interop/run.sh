#!/usr/bin/env bash
# Compares what Python's email package, GMime and Dovecot find in messages that kivmime makes with what was
# put in; then what we, Python and GMime find in messages of others: those of samples/ and tests/data/rfc/, and
# those below the folders that KIVMIME_CORPUS names, with ":" between them; of these also each address and date field
# by itself. Then compares the messages that we and Python find in mbox files, has gpgsm verify what we sign, and has
# OpenSSL, GnuPG and dkimpy verify their signatures in messages that kivmime edited.
# What cannot be installed is skipped with a line that says so; Dovecot, a service, is used when it is
# there and never installed.
# interop/run.sh [CASES]    CASES: random messages, 60 when not given
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/../scripts/lib/setup.sh"

need_packages build tools test
(need_packages interop) || echo "skipped: GMime, because libgmime-3.0-dev cannot be installed"
(need_packages interop_smime) || echo "skipped: signatures, because gpgsm cannot be installed"
(need_packages interop_edits) || echo "skipped: edits, because python3-dkim cannot be installed"
build=$BUILD_ROOT/release
mkdir -p "$BUILD_ROOT"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

(cd "$ROOT" && cmake --preset release -B "$build") >"$work/configure.log" || { cat "$work/configure.log"; exit 1; }
targets=(kivmime interop_mail interop_addresses interop_folder kivmime_test_keys)
readers=()
address_readers=()
if is_installed libgmime-3.0-dev; then
  targets+=(interop_gmime)
  readers+=(--gmime "$build/interop/interop_gmime")
  address_readers+=(--gmime)
fi
if is_installed dovecot-imapd; then
  readers+=(--dovecot)
else
  echo "skipped: Dovecot, because dovecot-imapd is not installed"
fi
cmake --build "$build" -j "$JOBS" --target "${targets[@]}"

messages=("$ROOT/samples" "$ROOT/tests/data/rfc")
if [ -n "${KIVMIME_CORPUS:-}" ]; then
  IFS=: read -r -a collections <<<"$KIVMIME_CORPUS"
  messages+=("${collections[@]}")
else
  echo "skipped: real messages and the verdicts on them, because KIVMIME_CORPUS names no folder"
fi
mkdir "$work/messages"
python3 -B "$ROOT/interop/compare.py" "$build/kivmime" "$build/interop/interop_mail" "$work/messages" \
  ${readers[@]+"${readers[@]}"} --cases "${1:-60}" "${messages[@]}"
python3 -B "$ROOT/interop/addresses.py" "$build/interop/interop_addresses" \
  ${address_readers[@]+"${address_readers[@]}"} "${messages[@]}"

mkdir "$work/mboxes"
python3 -B "$ROOT/interop/mboxes.py" "$build/interop" "$work/mboxes" ${collections[@]+"${collections[@]}"}

if is_installed gpgsm; then
  mkdir "$work/signatures"
  python3 -B "$ROOT/interop/signatures.py" "$build/kivmime" "$build/tests/keys" "$work/signatures"
fi
if is_installed python3-dkim && is_installed gpg; then
  mkdir "$work/edits"
  # The system's Python: that is whose package it is.
  /usr/bin/python3 -B "$ROOT/interop/edits.py" "$build/kivmime" "$build/tests/keys" "$work/edits"
fi
