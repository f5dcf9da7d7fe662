#!/bin/sh
# bench_exports.sh measures the exports over the system's authorities, natively and in the 32-bit
# DLL under Wine, each as a ratio to the floor of its own build.
set -eu
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
awk -v work="$work" '/-----BEGIN/ { n++ } { print > (work "/" n ".pem") }' \
  "${1:-/etc/ssl/certs/ca-certificates.crt}"
for pem in "$work"/*.pem; do openssl x509 -in "$pem" -outform DER -out "${pem%.pem}.der"; done
tools/build.sh bench exports_bench
build/native/bin/exports_bench "$work"/*.der
tools/setup.sh library windows
cmake --preset zip32 -DKWPKI_BENCH=ON  # as it is shipped
cmake --build --preset zip32 --target exports_bench
env WINEPREFIX="$PWD/build/zip32/wine" WINEARCH=win32 WINEDEBUG=-all \
  WINEDLLOVERRIDES=mscoree,mshtml,winemenubuilder.exe= wine build/zip32/bin/modern/exports_bench.exe "$work"/*.der
