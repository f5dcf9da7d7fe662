#!/bin/sh
# bench.sh [ARGUMENT...] builds and runs the benchmarks; arguments go to the benchmark program.
set -eu
cd "$(dirname "$0")/.."
tools/build.sh bench kwpki_bench
exec build/native/bin/kwpki_bench "$@"
