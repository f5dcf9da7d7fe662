#!/bin/sh
# setup.sh [PRESET] installs the Debian packages that the build, the tests, the fuzzers and the
# benchmarks need and that are not there yet, and those that the preset alone needs. It asks for
# root only when something is missing.
set -eu
packages="g++ clang-14 clang-format-14 clang-tidy-14 libclang-rt-14-dev cmake ninja-build make
  pkg-config binutils git libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev libfmt-dev
  nlohmann-json3-dev libsqlite3-dev openssl libssl-dev libnss3-dev libnspr4-dev libmbedtls-dev
  ca-certificates pandoc python3 doxygen wine wine32:i386 g++-mingw-w64-i686-posix googletest
  valgrind"
test "${1:-}" != sanitize-32 ||
  packages="$packages g++-multilib libgtest-dev:i386 libgmock-dev:i386 libssl-dev:i386"

if ! command -v dpkg-query >/dev/null; then
  echo "setup.sh: not a Debian system; install by hand:" $packages >&2
  exit 1
fi

native=$(dpkg --print-architecture)
missing=""
for package in $packages; do
  case $package in *:*) architecture=${package#*:} ;; *) architecture=$native ;; esac
  dpkg-query -W -f='${Architecture} ${db:Status-Status}\n' "${package%:*}" 2>/dev/null |
    grep -qxE "($architecture|all) installed" || missing="$missing $package"
done
test -n "$missing" || exit 0

root=""
test "$(id -u)" = 0 || root=sudo
echo "setup.sh: installing$missing"
dpkg --print-foreign-architectures | grep -qx i386 || $root dpkg --add-architecture i386
# A source without the other architecture complains, and the rest is brought up to date all the
# same.
$root apt-get update -qq || echo "setup.sh: not every package list could be read" >&2
install() {
  $root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "$@" $missing
}
# Libraries of two architectures install beside each other in one version only: that of the release,
# or, where later ones are installed already, the latest of both.
. /etc/os-release
install -t "$VERSION_CODENAME" || install
