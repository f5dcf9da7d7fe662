#!/bin/sh
# same_bytes.sh SOURCE WORK compiles a layer in two folders, with nothing remembered from before:
# the bytes are the same.
set -eu
source=$1 work=$2
rm -rf "$work"
for folder in here over/there; do
  mkdir -p "$work/$folder"
  for part in CMakeLists.txt docs include packaging src tools README.md LICENSE CHANGELOG.md; do
    cp -R "$source/$part" "$work/$folder"
  done
  cmake -S "$work/$folder" -B "$work/$folder/build" -DCMAKE_BUILD_TYPE=Release -DKWPKI_TOOLS=OFF \
    -DKWPKI_LOOPBACK=OFF -DCMAKE_CXX_COMPILER_LAUNCHER= >/dev/null
  cmake --build "$work/$folder/build" --target ssh_util >/dev/null
done
cmp "$work/here/build/src/libssh_util.a" "$work/over/there/build/src/libssh_util.a"
