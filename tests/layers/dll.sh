#!/bin/sh
# dll.sh OBJDUMP DLL IMPORT-LIBRARY EXPORTS.TXT VERSION TOOL ARCHIVE...: what a built DLL shows,
# what it needs, and that it and the tool are as hard to attack as the system allows; the archives
# are what they are made of.
objdump=$1 dll=$2 imports=$3 exports=$4 version=$5 tool=$6
shift 6
bad=0
complain() { echo "$dll: $*"; bad=1; }
head=$("$objdump" -p "$dll")
case $head in  # names have a decoration in 32 bits, and relocations are of that size
  *pei-i386*) decoration='@[0-9]*' relocation=HIGHLOW ;;
  *) decoration='' relocation=DIR64 ;;
esac

# same WHAT WANTED FOUND
same() { test "$2" = "$3" || complain "$1: wanted $2; found $3"; }
wanted=$(sort "$exports")
same exports "$wanted" \
  "$(echo "$head" | sed -n '/Name Pointer\] Table/,/^$/s/.*\] //p' | grep -v Table | sort)"
same libraries "KERNEL32.dll
msvcrt.dll" "$(echo "$head" | sed -n 's/.*DLL Name: //p' | sort)"
same "import library" "$wanted" \
  "$("$objdump" -t "$imports" | sed -n "s/.*__imp__*\(Kw[A-Za-z0-9]*\)$decoration\$/\1/p" | sort)"

for file in "$dll" "$tool"; do
  for word in DYNAMIC_BASE NX_COMPAT $relocation; do  # the last is what moving takes
    "$objdump" -p "$file" | grep -q "$word" || complain "no $word in $file"
  done
  # The version resource is UTF-16.
  tr -d '\000' <"$file" | grep -aq "FileVersion.*$version" || complain "$file: no $version"
done
for archive; do
  "$objdump" -t "$archive" | grep -q '(sec *0).* __*stack_chk_fail$' ||
    complain "$archive does not guard its stack"
done
echo "$head" | grep -q 'Time/Date.*1970' || complain "has the time when it was built"
grep -aq '<activeCodePage.*>UTF-8<' "$tool" || complain "$tool takes no names in UTF-8"
exit $bad
