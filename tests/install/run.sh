#!/usr/bin/env bash
# Installs the libraries, moves the installed tree elsewhere, and builds programs against it as an
# outsider would: through find_package and through pkg-config, for the shared and the static library. Then
# builds it as a part of such a program.
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

# What hosts include. Other headers are installed only because one of these includes them.
public_headers="mime/mail.h mime/mime.h mime/decoding.h mime/read_options.h mime/html.h mime/version.h
  kivgui/kivgui.h kivgui/replaced_file.h kivgui/host/host.h kivsec/pkcs7_msg.h kivsec/detached_signature.h"

# Every header stands alone and needs nothing that is not installed, and none is installed for nothing.
check_headers() {
  local prefix=$1 flags=$2 header
  for header in $(cd "$prefix/include" && find mime kivgui kivsec -name '*.h'); do
    echo "#include <$header>" |
      g++ -std=c++20 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror \
        $flags -fsyntax-only -x c++ - || die "$header does not stand alone"
  done
  printf '#include <%s>\n' $public_headers | g++ -std=c++20 $flags -M -x c++ - | tr -s ' \\' '\n' |
    xargs -n 1 realpath -s 2>/dev/null | grep "^$prefix/" | sort -u >"$work/needed"
  find "$prefix/include" -type f | sort | diff "$work/needed" - ||
    die "these are installed, and no public header includes them (or it does, and they are not)"
}

# The shared library answers to its versioned name, so that an incompatible one never takes its place.
check_soname() {
  local version soname
  version=$(project_version)
  soname=$(readelf -d "$1/lib/libkivmime.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
  case $version in
    0.*) [ "$soname" = "libkivmime.so.${version%.*}" ] ;;
    *) [ "$soname" = "libkivmime.so.${version%%.*}" ] ;;
  esac || die "SONAME is '$soname'"
}

check_package() {
  local kind=$1 build=$2 prefix=$work/$1/prefix private=
  [ "$1" = shared ] || private=--static
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
  g++ -std=c++20 "$work/consumer/consumer.cpp" $(pkg-config $private --cflags --libs kivmime) \
    -o "$work/$kind/pkg-config-consumer"
  "$work/$kind/pkg-config-consumer"
  g++ -std=c++20 "$work/consumer/html_consumer.cpp" $(pkg-config $private --cflags --libs kivmime-html) \
    -o "$work/$kind/pkg-config-html-consumer"
  "$work/$kind/pkg-config-html-consumer"
}

# A host that builds the library as a part of itself, with FetchContent from the archive that is released:
# static, and without OpenSSL, which it must not even look for.
check_fetch_content() {
  local archive
  echo "== FetchContent, KIVMIME_SIGNING=OFF"
  archive=$(KIVMIME_PACKAGE_DIR=$work "$ROOT/scripts/package.sh" --source)
  cmake -S "$work/from_source" -B "$work/fetched" -G Ninja -DKIVMIME_ARCHIVE="$archive" \
    -DBUILD_SHARED_LIBS=OFF -DKIVMIME_SIGNING=OFF -DKIVMIME_HTML=OFF -DCMAKE_DISABLE_FIND_PACKAGE_OpenSSL=ON >/dev/null
  cmake --build "$work/fetched" -j "$JOBS"
  "$work/fetched/from_source"
  cmake --install "$work/fetched" --prefix "$work/fetched/installed"
  [ "$(cd "$work/fetched/installed" && find . -type f)" = ./bin/from_source ] ||
    die "the host's installation has files of the library"
}

# The same with add_subdirectory, shared and static, with all that can be linked: what CMake itself finds
# wrong. The programs would be those above.
check_add_subdirectory() {
  local shared
  for shared in ON OFF; do
    echo "== add_subdirectory, BUILD_SHARED_LIBS=$shared"
    cmake -S "$work/from_source" -B "$work/added-$shared" -G Ninja -DKIVMIME_SOURCE="$ROOT" \
      -DBUILD_SHARED_LIBS="$shared" >/dev/null
  done
}

need_packages build install_test
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/consumer"
cp "$here/CMakeLists.txt" "$here"/*.cpp "$work/consumer"    # out of reach of our headers
cp -r "$here/from_source" "$work"

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
check_fetch_content
check_add_subdirectory
