#!/bin/sh
# readme.sh README EXPORTS.TXT EXAMPLE...: the C blocks of the README are the examples that the
# build compiles, and its table gives each Allocate function with the Free function of its name.
readme=$1 exports=$2
shift 2
text=$(sed -n '/^```c$/,/^```$/{/^```/!p}' "$readme")
test -n "$text" || { echo "no C block in $readme"; exit 1; }
test "$text" = "$(cat "$@")" || { echo "the C blocks of $readme are not those of $*"; exit 1; }
for name in $(grep 'Allocate$' "$exports"); do
  grep -q "^|.*\`$name\`.*|.*\`${name%Allocate}Free\`" "$readme" ||
    { echo "no row for $name"; exit 1; }
done
