#!/bin/sh
# runpath.sh FOLDER... holds where the programs and libraries built there look for others: folders
# of RUNPATH are absolute or lie at $ORIGIN, and names have no folder. An empty element, as in
# "/lib:", is the current folder.
bad=0 seen=0
for file in $(find "$@" -type f); do
  dynamic=$(readelf -dW "$file" 2>/dev/null) || continue
  seen=$((seen + $(echo "$dynamic" | grep -c '(R[A-Z]*PATH)')))
  wrong=$(echo "$dynamic" | sed -n 's/.*(R[A-Z]*PATH).*: \[\(.*\)\]$/\1/p' | tr : '\n' |
    grep -vE '^(/|[$]ORIGIN(/|$))' | sed 's/.*/"&"/')
  test -z "$wrong" || { echo "$file looks for libraries in" $wrong; bad=1; }
  echo "$dynamic" | grep '(NEEDED).*/' && { echo "$file needs a library of a folder"; bad=1; }
done
test $seen -gt 0 || { echo "nothing here has a path"; bad=1; }
exit $bad
