#!/bin/sh
# setup.sh installs the Debian packages that the build, the tests, the fuzzers and the benchmarks
# need and that are not there yet. It asks for root only when something is missing.
set -eu
packages="g++ clang-14 clang-format-14 clang-tidy-14 libclang-rt-14-dev cmake ninja-build make
  pkg-config binutils git libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev libfmt-dev
  nlohmann-json3-dev libsqlite3-dev openssl libssl-dev libnss3-dev libnspr4-dev libmbedtls-dev"

if ! command -v dpkg-query >/dev/null; then
  echo "setup.sh: not a Debian system; install by hand:" $packages >&2
  exit 1
fi

missing=""
for package in $packages; do
  status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
  test "$status" = installed || missing="$missing $package"
done
test -n "$missing" || exit 0

root=""
test "$(id -u)" = 0 || root=sudo
echo "setup.sh: installing$missing"
$root apt-get update -qq
$root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing
