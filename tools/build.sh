#!/bin/sh
# build.sh PRESET [TARGET...] installs what is missing, configures and builds one preset; without a
# target, all of it.
set -eu
cd "$(dirname "$0")/.."
preset=$1
shift
tools/setup.sh "$preset"
cmake --preset "$preset"
cmake --build --preset "$preset" ${1:+--target "$@"}
