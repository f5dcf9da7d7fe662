#!/bin/sh
# packages.sh makes the files to hand out, in build/packages, with their sums in SHA256SUMS: Debian
# packages, a ZIP for Windows of 32 and of 64 bits, Python wheels, and the tarball of the sources.
# They come from the tree as it is, the tarball from the last commit. packages.sh --test uses them
# as their users would, and makes them once more in another folder, of the tarball: the bytes have
# to be the same.
set -eu
cd "$(dirname "$0")/.."
umask 022
out=$PWD/build/packages
version=$(sed -n 's/^project(KwPki VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
# Everything has the date of the last commit; the files of the tarball have it as theirs.
if test -e .git; then
  SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
else
  SOURCE_DATE_EPOCH=$(stat -c %Y CMakeLists.txt)
fi
export SOURCE_DATE_EPOCH

make_all() {
  rm -rf "$out"
  mkdir -p "$out"
  for preset in debian zip32 zip64; do
    rm -rf "build/$preset/packages"
    tools/build.sh "$preset"
    (cd "build/$preset" && cpack)
    find "build/$preset/packages" -maxdepth 1 \( -name '*.deb' -o -name '*.zip' \) -exec mv {} "$out" \;
  done
  tools/wheels.sh "$out" debian zip32 zip64
  if test -e .git; then
    git archive --prefix="kwpki-$version/" HEAD | gzip -9n >"$out/kwpki-$version.tar.gz"
  fi
  (cd "$out" && sha256sum -- * >SHA256SUMS)
  cat "$out/SHA256SUMS"
}

make_all
test "${1:-}" = --test || exit 0
tools/setup.sh packages-test
tests/packages/debian.sh "$out" "$version"
tests/packages/windows.sh "$out" "$version" "$PWD/build/debian/bin/kwpki"
tests/packages/sources.sh "$out" "$version"
