#!/bin/sh
# Runs a Windows program under Wine, without a display: wine.sh PROGRAM [ARGUMENT...]
# CMake and the tests of the program take it for what runs our programs (CMAKE_CROSSCOMPILING_EMULATOR).
# WINEPREFIX is Wine's folder; scripts/test-windows.sh makes one and removes it.
set -eu
: "${WINEPREFIX:?is not set: run scripts/test-windows.sh}"
export WINEDEBUG="${WINEDEBUG:--all}"
# Nothing offers to install more, and nothing touches the user's menus.
export WINEDLLOVERRIDES="mscoree=;mshtml=;winemenubuilder.exe="
export LC_ALL=C.UTF-8    # of file names and arguments
unset DISPLAY WAYLAND_DISPLAY
wine=/usr/lib/wine/wine64
[ -x "$wine" ] || wine=$(command -v wine64 || command -v wine)

case " $* " in
  # CMake reads the list of tests line by line and knows no CR.
  *" --gtest_list_tests "*) "$wine" "$@" | tr -d '\r' ;;
  *) exec "$wine" "$@" ;;
esac
