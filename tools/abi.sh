#!/bin/sh
# abi.sh compares the binary interface of both libraries with the one kept in packaging/abi: nothing
# that programs were linked with may go or change. New exports are no difference; the next release
# keeps them, by tools/abi.sh --keep.
set -eu
cd "$(dirname "$0")/.."
tools/setup.sh abi
tools/build.sh abi KwPki KwPkiModern
for name in KwPki KwPkiModern; do
  kept=packaging/abi/$name.abi library=build/abi/lib/lib$name.so.1
  if test "${1:-}" = --keep; then
    abidw --exported-interfaces-only --headers-dir include --drop-private-types \
      --drop-undefined-syms --no-corpus-path --no-comp-dir-path --no-show-locs \
      --out-file "$kept" "$library"
  else
    abidiff --headers-dir2 include --drop-private-types --no-added-syms "$kept" "$library"
  fi
done
