#!/bin/sh
# build.sh [--offline] PRESET [TARGET...] installs what the preset needs and is missing, configures
# and builds it; without a target, all of it. With --offline it installs nothing: it names what is
# missing and ends.
set -eu
cd "$(dirname "$0")/.."
check=""
test "$1" != --offline || { check=--check; shift; }
preset=$1
shift
case $preset in
  release | shipped | demo | abi) purposes="library" ;;
  bench) purposes="library bench" ;;
  fuzz) purposes="library fuzz" ;;
  windows) purposes="library windows" ;;
  windows64) purposes="library windows64" ;;
  debian) purposes="library packages" ;;
  zip32) purposes="library packages windows" ;;
  zip64) purposes="library packages windows64" ;;
  aarch64) purposes="library aarch64" ;;
  sanitize-32) purposes="library tests 32bit" ;;
  sanitize-clang) purposes="library tests clang" ;;
  *) purposes="library tests" ;;
esac
# shellcheck disable=SC2086
tools/setup.sh $check $purposes
cmake --preset "$preset"
cmake --build --preset "$preset" ${1:+--target "$@"}
