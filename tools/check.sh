#!/bin/sh
# check.sh looks at the tree before a commit: formatting, licences, clang-tidy, and the tests that
# hold the rules of the layers; then whether programs that are linked already go on running, and the
# tests on what make test leaves out: the sanitizers of g++, also in 32 bits, Windows of 64 bits,
# Linux on aarch64. tools/check.sh --fix formats instead of complaining.
set -eu
cd "$(dirname "$0")/.."
mode="--dry-run -Werror"
test "${1:-}" != --fix || mode=-i
tools/setup.sh check

find src include tests tools fuzz bench examples loopback \
  -name '*.h' -o -name '*.hpp' -o -name '*.cc' -o -name '*.c' |
  xargs clang-format-14 $mode

tools/licences.sh
tools/build.sh sanitize-clang
cmake --preset fuzz  # tells how each file is compiled alone
find src -name '*.cc' ! -name '*_win32.cc' | sort |
  xargs -n 1 -P "$(nproc)" clang-tidy-14 --quiet -p build/fuzz
ctest --preset sanitize-clang -L 'layers|compile_fail'

tools/build.sh bench kwpki_bench  # which no test builds
for preset in sanitize sanitize-32; do
  tools/build.sh "$preset"
  ctest --preset "$preset" -j "$(nproc)" -LE 'layers|compile_fail'
done

tools/abi.sh
for preset in windows64 aarch64; do
  tools/build.sh "$preset"
  ctest --preset "$preset" -j "$(nproc)"
done
