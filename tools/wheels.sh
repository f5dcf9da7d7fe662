#!/bin/sh
# wheels.sh [OUT] builds the Python wheels, for Linux and for 32-bit Windows, each with the modern
# library inside, into the folder OUT, build/wheels unless given.
set -eu
cd "$(dirname "$0")/.."
out=${1:-build/wheels}
tools/setup.sh wheels
tools/build.sh shipped KwPkiModern kwpki
tools/build.sh windows KwPkiModern
machine=$(uname -m)
python/wheel.sh "manylinux_2_36_$machine" build/shipped/lib/libKwPkiModern.so.1 \
  build/shipped/bin/kwpki "$out"
python/wheel.sh win32 build/windows/bin/modern/KwPki.dll build/shipped/bin/kwpki "$out"
ls "$out"
