#!/bin/sh
# test.sh runs everything: every test in the release build; every test again with the second
# compiler and its sanitizers, under which each fuzz target goes on for some seconds; the tests with
# threads under ThreadSanitizer; the build of make demo, where every layer is part of one source; and
# the Windows library with its tests under Wine.
set -eu
cd "$(dirname "$0")/.."
jobs=$(nproc)
tools/setup.sh library tests clang windows  # together, which is quicker than one by one

tools/build.sh native
ctest --preset native -j "$jobs"

tools/build.sh sanitize-clang
ctest --preset sanitize-clang -j "$jobs"

tools/build.sh tsan api_test loopback_test
# Where addresses are laid out at random over too wide a range, ThreadSanitizer needs a fixed
# layout.
fixed=""
build/tsan/bin/api_test --gtest_list_tests >/dev/null 2>&1 || fixed="setarch -R"
$fixed ctest --preset tsan -j "$jobs" -R Threads

tools/build.sh demo

tools/build.sh windows
ctest --preset windows -j "$jobs"
