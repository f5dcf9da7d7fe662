#!/bin/sh
# readme.sh README EXAMPLE EXPORTS.TXT: the C block of the README is the example that the build
# compiles, and its table gives each Allocate function with the Free function of the same name.
text=$(sed -n '/^```c$/,/^```$/p' "$1" | sed '1d;$d')
test -n "$text" || { echo "no C block in $1"; exit 1; }
printf "%s\n" "$text" | diff - "$2" || exit 1
for name in $(grep 'Allocate$' "$3"); do
  grep -q "^|.*\`$name\`.*|.*\`${name%Allocate}Free\`" "$1" || { echo "no row for $name"; exit 1; }
done
