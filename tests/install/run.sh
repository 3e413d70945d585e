#!/usr/bin/env bash
# Installs the libraries, moves the installed tree elsewhere, and builds programs against it as an
# outsider would: through find_package and through pkg-config, for the shared and the static library.
#
# tests/install/run.sh [SHARED-BUILD STATIC-BUILD]: takes these finished build directories;
# without them both are built first.
set -eu
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/../../scripts/lib/setup.sh"

build_library() {
  cmake -S "$ROOT" -B "$2" -G Ninja -DKIVMIME_SHARED="$1" \
    -DKIVMIME_BUILD_TESTS=OFF -DKIVMIME_BUILD_TOOLS=OFF >/dev/null
  cmake --build "$2" -j "$JOBS"
}

# Every public header stands alone, and needs nothing that is not installed.
check_headers() {
  local prefix=$1 flags=$2 header
  for header in $(cd "$prefix/include" && find mime kivgui kivsec -name '*.h'); do
    echo "#include <$header>" |
      g++ -std=c++20 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror \
        $flags -fsyntax-only -x c++ - || die "$header does not stand alone"
  done
}

# The shared library answers to its versioned name, so that an incompatible one never takes its place.
check_soname() {
  local soname
  soname=$(readelf -d "$1/lib/libkivmime.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
  [ "$soname" = libkivmime.so.0 ] || die "SONAME is '$soname'"
}

check_package() {
  local kind=$1 build=$2 prefix=$work/$1/prefix
  echo "== $kind library"
  cmake --install "$build" --prefix "$work/$kind/staged" >/dev/null
  mv "$work/$kind/staged" "$prefix"
  ! grep -rlF -e "$ROOT" -e "$build" "$prefix/lib/cmake" "$prefix/lib/pkgconfig" "$prefix/include" ||
    die "the installed package refers to the source or build tree"
  export PKG_CONFIG_PATH=$prefix/lib/pkgconfig LD_LIBRARY_PATH=$prefix/lib
  check_headers "$prefix" "$(pkg-config --cflags kivmime)"
  [ "$kind" = static ] || check_soname "$prefix"

  echo "-- find_package"
  cmake -S "$work/consumer" -B "$work/$kind/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
  cmake --build "$work/$kind/cmake"
  "$work/$kind/cmake/consumer"
  "$work/$kind/cmake/html_consumer"

  echo "-- pkg-config"
  g++ -std=c++20 "$work/consumer/consumer.cpp" $(pkg-config --cflags --libs kivmime) \
    -o "$work/$kind/pkg-config-consumer"
  "$work/$kind/pkg-config-consumer"
  g++ -std=c++20 "$work/consumer/html_consumer.cpp" $(pkg-config --cflags --libs kivmime-html) \
    -o "$work/$kind/pkg-config-html-consumer"
  "$work/$kind/pkg-config-html-consumer"
}

need_packages build install_test
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/consumer"
cp "$here/CMakeLists.txt" "$here"/*.cpp "$work/consumer"    # out of reach of our headers

if [ $# = 2 ]; then
  shared_build=$(cd "$1" && pwd)
  static_build=$(cd "$2" && pwd)
else
  shared_build=$work/build-shared
  static_build=$work/build-static
  build_library ON "$shared_build"
  build_library OFF "$static_build"
fi
check_package shared "$shared_build"
check_package static "$static_build"
