#!/bin/sh
# setup.sh PURPOSE... installs the Debian packages that the purposes need and that are not there
# yet: library (with the tool), demo, tests, wheels, clang, windows, windows64, aarch64, packages,
# packages-test, licences, abi, 32bit, fuzz, bench, check, doc, faults.
# It asks for root only when something is missing. setup.sh --check PURPOSE... installs nothing: it
# names what is missing, and its status is 1 then.
set -eu
check=""
test "${1:-}" != --check || { check=yes; shift; }
packages=""
for purpose in "$@"; do
  case $purpose in
    library) more="g++ cmake ninja-build pkg-config binutils libcli11-dev libfmt-dev
               nlohmann-json3-dev libsqlite3-dev libssl-dev" ;;
    demo) more="openssl" ;;
    tests) more="libgtest-dev libgmock-dev openssl ca-certificates pandoc python3
             python3-jsonschema doxygen doxygen-awesome-css valgrind python3-cffi swig
             bindgen libclang1-14 libclang-common-14-dev python3-build python3-wheel
             python3-setuptools python3-venv python3-pytest mypy chromium
             chromium-driver python3-selenium python3-lxml" ;;
    wheels) more="python3-build python3-wheel python3-setuptools" ;;
    clang) more="clang-14 libclang-rt-14-dev" ;;
    windows) more="wine wine32:i386 g++-mingw-w64-i686-posix googletest" ;;
    windows64) more="wine wine64 g++-mingw-w64-x86-64-posix googletest" ;;
    aarch64) more="g++-aarch64-linux-gnu qemu-user googletest" ;;
    licences) more="reuse python3" ;;
    packages) more="pandoc dpkg-dev fakeroot" ;;
    packages-test) more="lintian mmdebstrap unzip openssl wine wine32:i386 wine64" ;;
    abi) more="abigail-tools" ;;
    32bit) more="g++-multilib libgtest-dev:i386 libgmock-dev:i386 libssl-dev:i386" ;;
    fuzz) more="clang-14 libclang-rt-14-dev" ;;
    bench) more="libbenchmark-dev libnss3-dev libnspr4-dev libmbedtls-dev" ;;
    check) more="clang-format-14 clang-tidy-14" ;;
    doc) more="doxygen doxygen-awesome-css pandoc" ;;
    faults) more="python3-clang-14 libgtest-dev libgmock-dev" ;;
    *) echo "setup.sh: unknown purpose: $purpose" >&2; exit 2 ;;
  esac
  packages="$packages $more"
done

if ! command -v dpkg-query >/dev/null; then
  test -z "$check" || exit 0  # CMake says what it does not find
  echo "setup.sh: not a Debian system; install by hand:" $packages >&2
  exit 1
fi

native=$(dpkg --print-architecture)
missing=""
for package in $packages; do
  case $package in *:*) architecture=${package#*:} ;; *) architecture=$native ;; esac
  case " $missing " in *" $package "*) continue ;; esac
  dpkg-query -W -f='${Architecture} ${db:Status-Status}\n' "${package%:*}" 2>/dev/null |
    grep -qxE "($architecture|all) installed" || missing="$missing $package"
done
test -n "$missing" || exit 0
if test -n "$check"; then
  echo "setup.sh: these packages are missing:$missing" >&2
  echo "install them with: apt-get install --no-install-recommends$missing" >&2
  exit 1
fi

root=""
test "$(id -u)" = 0 || root=sudo
echo "setup.sh: installing$missing"
case $missing in
  *:i386*)
    dpkg --print-foreign-architectures | grep -qx i386 || $root dpkg --add-architecture i386
    ;;
esac
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
