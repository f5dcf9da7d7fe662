#!/bin/sh
# exports.sh LIBRARY EXPORTS.TXT HEADER compares three lists of names: what the built library shows,
# each of the version KWPKI_1, what exports.txt promises and what the header declares; and it holds
# the library to its SONAME.
wanted=$(sort "$2")
visible=$(nm -D --defined-only "$1" | awk '$2 != "A" { print $NF }' |
  sed 's/@@KWPKI_1$//; t; s/$/ without its version/' | sort)
declared=$(sed 's|//.*||' "$3" | grep -o 'KWPKI_CALL  *KwPki[A-Za-z0-9]*(' |
  grep -o 'KwPki[A-Za-z0-9]*' | sort)
bad=0
differ() {  # differ WHAT LIST
  test "$wanted" = "$2" && return
  echo "exports.txt and $1 differ (< only in exports.txt, > only there):"
  echo "$wanted" >"$TMPFILE" && echo "$2" | diff "$TMPFILE" - | grep '^[<>]'
  bad=1
}
TMPFILE=$(mktemp) && trap 'rm -f "$TMPFILE"' EXIT
differ "the built library" "$visible"
differ "the header" "$declared"

soname=$(readelf -d "$1" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
test "$soname" = "$(basename "$(readlink -f "$1")")" || { echo "SONAME is '$soname'"; bad=1; }
readelf -d "$1" | grep -q TEXTREL && { echo "the library has text relocations"; bad=1; }
exit $bad
