#!/bin/sh
# wheels.sh [OUT LINUX WIN32 [WIN64]] puts the Python wheels into the folder OUT, each with a modern
# library inside: for Linux, and for Windows of 32 and 64 bits. The libraries come from the
# builds of these presets, which must exist. Without arguments it builds those for Linux and 32-bit
# Windows, and fills build/wheels.
set -eu
cd "$(dirname "$0")/.."
tools/setup.sh wheels
if test $# = 0; then
  tools/build.sh shipped KwPkiModern kwpki
  tools/build.sh windows KwPkiModern
  set -- build/wheels shipped windows
fi
out=$1 linux=build/$2 win32=build/$3 win64=${4:+build/$4}
wheel() { python/wheel.sh "$1" "$2" "$linux/bin/kwpki" "$out"; }
wheel "manylinux_2_36_$(uname -m)" "$linux/lib/libKwPkiModern.so.1"
wheel win32 "$win32/bin/modern/KwPki.dll"
test -z "$win64" || wheel win_amd64 "$win64/bin/modern/KwPki.dll"
ls "$out"/*.whl
