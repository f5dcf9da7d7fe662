#!/bin/sh
# dll.sh OBJDUMP DLL IMPORT-LIBRARY EXPORTS.TXT VERSION: what a built DLL shows, what it needs, and that it is as hard
# to attack as the system allows.
objdump=$1 dll=$2 imports=$3 exports=$4 version=$5
bad=0
complain() { echo "$dll: $*"; bad=1; }
head=$("$objdump" -p "$dll")

# same WHAT WANTED FOUND
same() { test "$2" = "$3" || complain "$1: wanted $2; found $3"; }
wanted=$(sort "$exports")
same exports "$wanted" "$(echo "$head" | sed -n '/Name Pointer\] Table/,/^$/s/.*\] //p' | grep -v Table | sort)"
same libraries "KERNEL32.dll
msvcrt.dll" "$(echo "$head" | sed -n 's/.*DLL Name: //p' | sort)"
same "import library" "$wanted" \
  "$("$objdump" -t "$imports" | sed -n 's/.*__imp__\(.*\)@[0-9]*$/\1/p' | sort)"

for word in DYNAMIC_BASE NX_COMPAT; do
  echo "$head" | grep -q "$word" || complain "no $word"
done
echo "$head" | grep -q 'HIGHLOW' || complain "cannot be loaded at another address"
echo "$head" | grep -q 'Time/Date.*1970' || complain "has the time when it was built"
# The version resource is UTF-16.
tr -d '\000' <"$dll" | grep -aq "FileVersion.*$version" || complain "no version $version"
exit $bad
