#!/bin/sh
# check.sh FILE COMPILER... compiles each case of FILE and compares the outcome with what its first
# line expects. A case runs from one "// expect: TEXT" line to the next; what stands above the first
# of them is common to all. TEXT is "success" or a part of the diagnostic; a case that compiles
# where a diagnostic is expected, or is refused for another reason, fails.
file=$1
shift
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT
awk -v work="$work" '
  /^\/\/ expect: / {
    count++
    print substr($0, 12) >(work "/" count ".expect")
  }
  { if (!count) common = common $0 "\n" }
  count {
    out = work "/" count ".cc"
    if (!(out in seen)) printf "%s", common >out
    seen[out] = 1
    print >out
  }' "$file"

bad=0
cases=0
for expect in "$work"/*.expect; do
  test -f "$expect" || break
  cases=$((cases + 1))
  text=$(cat "$expect")
  outcome=failure
  "$@" -fsyntax-only "${expect%.expect}.cc" >"$work/log" 2>&1 && outcome=success
  if test "$text" = success; then
    test $outcome = success && continue
  else
    test $outcome = failure && grep -qF -e "$text" "$work/log" && continue
  fi
  bad=1
  echo "$(basename "$file"): expected '$text', got $outcome"
  cat "${expect%.expect}.cc" "$work/log"
done
echo "$cases cases"
test $cases -gt 0 && exit $bad
echo "$file holds no case"
exit 1
