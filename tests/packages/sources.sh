#!/bin/sh
# sources.sh PACKAGES VERSION makes everything again of the tarball, in a folder of another name:
# the bytes are the same. The sources also make a static library that programs link as they do the
# shared one.
set -eu
packages=$1 version=$2
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT
tar -xzf "$packages/kwpki-$version.tar.gz" -C "$work"
cd "$work/kwpki-$version"
tools/packages.sh >"$work/log" 2>&1 || { tail -n 40 "$work/log"; exit 1; }
grep -v 'tar[.]gz$' "$packages/SHA256SUMS" >"$work/wanted"
diff "$work/wanted" build/packages/SHA256SUMS

cmake --preset demo -DBUILD_SHARED_LIBS=OFF -DCMAKE_INSTALL_PREFIX="$work/static" >/dev/null
cmake --build --preset demo --target install
sh tests/install/pkg_config.sh "$work/static" "$PWD/examples/readme.c" "$work/pkg_config"
sh tests/install/cmake.sh "$work/static" "$PWD/examples/readme.c" \
  "$PWD/examples/v3-rich.der" "C=FI, L=Helsinki, O=Example Oy, OU=Web, CN=www.example.com" \
  "$work/consumer"
