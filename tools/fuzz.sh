#!/bin/sh
# fuzz.sh [NAME...] runs the named fuzz targets, or all of them, for FUZZ_SECONDS each. It starts from
# fuzz/corpus/NAME; new inputs grow in build/fuzz/corpus, and what crashes lies in build/fuzz/findings.
# FUZZ_SECONDS=1200 make fuzz is a thorough run; tools/fuzz.sh dn_der runs one target.
set -eu
cd "$(dirname "$0")/.."
tools/build.sh fuzz

test $# -gt 0 || set -- $(ls fuzz/*_fuzz.cc | sed 's|fuzz/\(.*\)_fuzz[.]cc|\1|')
mkdir -p build/fuzz/findings
failed=""
for name in "$@"; do
  echo "== $name"
  mkdir -p "build/fuzz/corpus/$name" "fuzz/corpus/$name"
  "build/fuzz/bin/${name}_fuzz" -max_total_time="${FUZZ_SECONDS:-60}" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -verbosity=0 -artifact_prefix="build/fuzz/findings/$name-" \
    "build/fuzz/corpus/$name" "fuzz/corpus/$name" || failed="$failed $name"
done
test -z "$failed" || { echo "fuzz.sh: findings of$failed are in build/fuzz/findings" >&2; exit 1; }
