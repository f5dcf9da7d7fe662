#!/bin/sh
# check.sh FILE COMPILER... compiles each case of FILE and compares the outcome with what its first
# line expects. A case runs from one "// expect: TEXT" line to the next; what stands above the first
# of them is common to all, and compiled once. TEXT is "success" or a part of the diagnostic; a case
# that compiles where a diagnostic is expected, or is refused for another reason, fails.
file=$1
shift
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT
awk -v work="$work" '
  /^\/\/ expect: / { print substr($0, 12) >(work "/" ++count ".expect") }
  !count { print >(work "/common.h") }
  count { print >(work "/" count ".cc") }' "$file"
"$@" -x c++-header "$work/common.h" -o "$work/common.h.gch" || exit 1

bad=0 cases=0
for expect in "$work"/*.expect; do
  test -f "$expect" || break
  cases=$((cases + 1))
  text=$(cat "$expect")
  if "$@" -fsyntax-only -include "$work/common.h" "${expect%.expect}.cc" >"$work/log" 2>&1; then
    test "$text" = success && continue
  else
    test "$text" != success && grep -qF -e "$text" "$work/log" && continue
  fi
  echo "$(basename "$file"): expected '$text' of:"
  cat "${expect%.expect}.cc" "$work/log"
  bad=1
done
echo "$cases cases"
test $cases -gt 0 && exit $bad
exit 1
