#!/bin/sh
# test.sh runs everything: every test in the release build, every test again under the
# sanitizers, the tests with threads under ThreadSanitizer, the tree built without a warning by the
# second compiler, with which each fuzz target runs for some seconds, every layer as one source as
# make demo compiles it, and the Windows library with its tests under Wine.
set -eu
cd "$(dirname "$0")/.."
jobs=$(nproc)
tools/setup.sh library tests clang windows  # together, which is quicker than one by one

tools/build.sh native
ctest --preset native -j "$jobs"

tools/build.sh sanitize
ctest --preset sanitize -j "$jobs" -LE compile_fail

tools/build.sh tsan api_test loopback_test
# Where addresses are laid out at random over too wide a range, ThreadSanitizer needs a fixed
# layout.
fixed=""
build/tsan/bin/api_test --gtest_list_tests >/dev/null 2>&1 || fixed="setarch -R"
$fixed ctest --preset tsan -j "$jobs" -R Threads

tools/build.sh sanitize-clang
ctest --preset sanitize-clang -j "$jobs" -L 'fuzz|layers|compile_fail'

tools/build.sh demo

tools/build.sh windows
ctest --preset windows -j "$jobs"
