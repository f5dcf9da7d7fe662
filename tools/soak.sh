#!/bin/sh
# soak.sh runs every fuzz target for an equal share of SOAK_HOURS (2) on all cores, in rounds of
# slices of two minutes, and ends with a table: executions, inputs grown, slices that found
# something. A soak that is interrupted prints it as well; tools/soak.sh --report does so at any
# time, of the last soak.
set -eu
cd "$(dirname "$0")/.."
slices=build/fuzz/soak  # a line of fuzz_target.sh each
names=$(ls fuzz/*_fuzz.cc | sed 's|fuzz/\(.*\)_fuzz[.]cc|\1|')

report() {
  mkdir -p build/fuzz
  : >>"$slices"
  for name in $names; do
    echo "$name inputs $(ls "build/fuzz/corpus/$name" 2>/dev/null | wc -l)"
  done |
    awk '$2 == "inputs" { order[++count] = $1; inputs[$1] = $3; next }
      { done[$1] += $2; seconds[$1] += $3; found[$1] += $4 == 1; bad += $4 == 1 }
      END {
        form = "%-16s %8s %14s %8s %8s %8s\n"
        printf form, "target", "seconds", "executions", "a second", "inputs", "findings"
        for (i = 1; i <= count; ++i) {
          n = order[i]
          printf form, n, seconds[n] + 0, done[n] + 0, int(done[n] / (seconds[n] ? seconds[n] : 1)),
                 inputs[n], found[n] + 0
        }
        exit(bad > 0)
      }' - "$slices" ||
    { echo "soak.sh: what was found is in build/fuzz/findings" >&2; exit 1; }
}

case ${1:-} in
  "") ;;
  --report) report; exit ;;
  *) echo "usage: SOAK_HOURS=2 soak.sh, or soak.sh --report" >&2; exit 2 ;;
esac
tools/build.sh fuzz
cores=$(nproc)
count=$(echo "$names" | wc -l)
# Hours may be a fraction, and a short soak is one round of short slices.
plan=$(awk -v hours="${SOAK_HOURS:-2}" -v cores="$cores" -v count="$count" 'BEGIN {
  share = hours * 3600 * cores / count
  rounds = int(share / 120) + (share < 120)
  printf "%d %d", rounds, share / rounds + 0.5
}')
seconds=${plan#* }
echo "soak.sh: ${plan% *} rounds of $seconds seconds each for $count targets; see also --report"
: >"$slices"

# The slices are a group of processes of their own, so that an interrupt, however it comes, ends
# them all before the table is made of what they did.
round=0
while test $((round += 1)) -le "${plan% *}"; do echo "$names"; done |
  setsid xargs -P "$cores" -I{} tools/fuzz_target.sh {} -max_total_time="$seconds" >>"$slices" &
trap 'kill -s INT -- -$!' INT TERM HUP
while ! wait $!; do kill -0 $! 2>/dev/null || break; done
report
