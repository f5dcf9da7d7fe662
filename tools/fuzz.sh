#!/bin/sh
# fuzz.sh [NAME...] builds the fuzz targets and runs the named ones, or all of them, for
# FUZZ_SECONDS each; fuzz_target.sh says where inputs and findings lie.
# FUZZ_SECONDS=1200 make fuzz is a thorough run; tools/fuzz.sh dn_der runs one target.
set -eu
cd "$(dirname "$0")/.."
tools/build.sh fuzz

test $# -gt 0 || set -- $(ls fuzz/*_fuzz.cc | sed 's|fuzz/\(.*\)_fuzz[.]cc|\1|')
failed=""
for name in "$@"; do
  tools/fuzz_target.sh "$name" -max_total_time="${FUZZ_SECONDS:-60}" || failed="$failed $name"
done
test -z "$failed" || { echo "fuzz.sh: findings of$failed are in build/fuzz/findings" >&2; exit 1; }
