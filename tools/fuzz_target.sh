#!/bin/sh
# fuzz_target.sh NAME OPTION... runs one fuzz target that is built, with these options of libFuzzer
# beside those of every run, and prints "NAME executions seconds status". It starts from
# fuzz/corpus/NAME; new inputs grow in FUZZ_CORPUS/NAME (build/fuzz/corpus). What crashes lies in
# build/fuzz/findings with the log of the run. The status is 0 if nothing was found, 255 if the run
# was interrupted, which ends xargs too, else 1.
set -eu
cd "$(dirname "$0")/.."
name=$1
shift
corpus=${FUZZ_CORPUS:-build/fuzz/corpus}/$name
log=build/fuzz/findings/$name-$$.log
mkdir -p build/fuzz/findings "$corpus"
trap : INT TERM  # libFuzzer ends then, and what it did is counted all the same
start=$(date +%s)
status=0
"build/fuzz/bin/${name}_fuzz" -timeout=60 -rss_limit_mb=2048 -print_final_stats=1 -verbosity=0 \
  -artifact_prefix="build/fuzz/findings/$name-" "$@" "$corpus" "fuzz/corpus/$name" \
  >"$log" 2>&1 || status=$?
case $status in
  0) ;;
  72) status=255 ;;  # libFuzzer's own for an interrupt
  *) status=1 ;;
esac
executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
echo "$name ${executions:-0} $(($(date +%s) - start)) $status"
if test $status = 1; then cat "$log" >&2; else rm "$log"; fi
exit $status
