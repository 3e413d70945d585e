#!/usr/bin/env bash
# The first minutes of a newcomer: in a new Debian 12 with git and apt alone, from a clone of what is
# checked out. Says how long each step takes. For people to run, because it needs minutes and root.
#
# tests/install/clean_root.sh    # uses the packages in build/packages (scripts/package.sh)
set -eu
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib/setup.sh"
. "$ROOT/scripts/lib/clean_root.sh"

# timed NAME COMMAND: runs the command in the new Debian.
timed() {
  local start=$SECONDS
  in_clean_root "$root" "cd /root; $2" >"$log" 2>&1 || { tail -n 30 "$log"; die "$1"; }
  printf '%4ds  %s\n' $((SECONDS - start)) "$1"
}

packages=${KIVMIME_PACKAGE_DIR:-$BUILD_ROOT/packages}
ls "$packages"/kivmime_*.deb >/dev/null || die "run scripts/package.sh first"
need_packages clean_root
root=$(mktemp -d)
log=$(mktemp)
trap 'as_root umount -q "$root/proc"; as_root rm -rf --one-file-system "$root" "$log"' EXIT
make_clean_root "$root"
as_root mount -t proc proc "$root/proc"
git clone -q --bare "$ROOT" "$root/root/kivmime.git"
mkdir "$root/packages"
cp "$packages"/*.deb "$root/packages"

timed "git" "apt-get install -qq --no-install-recommends git ca-certificates"
timed "clone" "git clone -q kivmime.git"
echo "-- from the packages"
timed "apt install of all packages" "apt-get install -qq --no-install-recommends /packages/*.deb"
timed "the program" "kivmime show kivmime/samples/encodings.eml | grep seven.txt"
timed "Python" "python3 -c 'import kivmime; print(kivmime.open(\"kivmime/samples/encodings.eml\").subject)' | grep ."
timed "apt install of a compiler" "apt-get install -qq --no-install-recommends g++ pkg-config"
timed "an example in C++" "g++ -std=c++20 kivmime/examples/print_mail.cpp \$(pkg-config --cflags --libs kivmime) -o print_mail
  ./print_mail kivmime/samples/alternative.eml | grep -a ."
echo "-- from the sources"
timed "scripts/demo.sh, which installs what it needs" "kivmime/scripts/demo.sh"
timed "cmake --preset release, --build, --install" "cd kivmime && cmake --preset release -DKIVMIME_BUILD_TESTS=OFF &&
  cmake --build build/release && cmake --install build/release --prefix /root/opt"
timed "an example against it" "
  export PKG_CONFIG_PATH=/root/opt/lib/pkgconfig LD_LIBRARY_PATH=/root/opt/lib
  g++ -std=c++20 kivmime/examples/print_mail.cpp \$(pkg-config --cflags --libs kivmime) -o print_mail2
  ./print_mail2 kivmime/samples/alternative.eml | grep -a ."
echo "-- packages made there"
timed "scripts/package.sh, which installs what it needs" "cd kivmime && KIVMIME_BUILD_ROOT=/root/build scripts/package.sh"
timed "apt reinstall of what it made" "apt-get install -qq --reinstall --no-install-recommends /root/build/packages/*.deb"
