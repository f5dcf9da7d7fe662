#!/bin/sh
# readme.sh README EXAMPLE: the C block of the README is the example that the build compiles.
text=$(sed -n '/^```c$/,/^```$/p' "$1" | sed '1d;$d')
test -n "$text" || { echo "no C block in $1"; exit 1; }
printf "%s\n" "$text" | diff - "$2"
