#!/usr/bin/env bash
# Checks that need no build: formatting, that only the platform layer knows an operating system, that every
# function that hosts call notices when memory runs out, that links in documents lead somewhere, and that the
# picture of the house is that of the sources.
# scripts/check_sources.sh --fix formats the files in place.
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/lib/setup.sh"

cd "$ROOT"
status=0
mapfile -t sources < <(find * -path build -prune -o \
  \( -name '*.cpp' -o -name '*.h' -o -name '*.hpp' \) -print | sort)
[ ${#sources[@]} -gt 0 ] || die "no sources found"

if [ "${1:-}" = --fix ]; then
  clang-format -i "${sources[@]}"
else
  clang-format --dry-run --Werror "${sources[@]}" || status=1
fi

# Systems are told apart in these places only; everybody else asks the platform.h or system.h above.
mapfile -t portable < <(printf '%s\n' "${sources[@]}" |
  grep -vE '/platform/(posix|windows)/|(^|/)dll/|(^|/)export\.h$|^benchmarks/')
refuse() {
  local why=$1 pattern=$2
  if grep -nE "$pattern" "${portable[@]}"; then
    echo "^ $why: belongs into a platform/ folder" >&2
    status=1
  fi
}
refuse "a conditional for a system" \
  '^[[:space:]]*#.*\b(_WIN32|_WIN64|WIN32|__linux__|__linux|__unix__|__APPLE__|__MINGW(32|64)__|_MSC_VER|_POSIX_VERSION)\b'
refuse "a header of an operating system" \
  '^[[:space:]]*#[[:space:]]*include[[:space:]]*<(windows|winsock2?|unistd|fcntl|dirent|io|pthread|poll|sys/[a-z]+)\.h>'

# docs/errors.md has every error text. What the writer says is taken from its calls of Fail on one line.
while IFS= read -r text; do
  grep -qF -- "$text" docs/errors.md && continue
  echo "docs/errors.md lacks this error: $text" >&2
  status=1
done < <(
  sed -nE 's/^MIME_ERROR\((.*), "(.*)"\)$/| `\1` | \2 |/p' etc/mime/mail/errors.inc
  sed -nE 's/^ *\{(kError.*), "(.*)"\},$/| `\1` | \2 |/p' kivgui/platform/posix/system.cpp
  sed -nE 's/^inline constexpr std::string_view k.* = "(.*)";$/| `\1` |/p' etc/mime/parser/report.h
  sed -nE 's/.*\bFail.*"(([^"\\]|\\.)*[a-z] [a-z]([^"\\]|\\.)*)".*/\1/p' etc/mime/writing/*.cpp |
    sed 's/\\"/"/g; s/^[: ]*//'
)

scripts/check_guards.py || status=1
scripts/check_links.py || status=1
scripts/draw_house.py --check || status=1

exit $status
