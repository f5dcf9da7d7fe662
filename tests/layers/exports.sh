#!/bin/sh
# exports.sh LIBRARY EXPORTS.TXT: what the built library shows, each of the version KWPKI_1, is what
# exports.txt promises; and the library has its SONAME.
visible=$(nm -D --defined-only "$1" | awk '$2 != "A" { print $NF }' |
  sed 's/@@KWPKI_1$//; t; s/$/ without its version/' | sort)
bad=0
test "$visible" = "$(sort "$2")" || { echo "$1 shows: $visible"; bad=1; }
soname=$(readelf -d "$1" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
test "$soname" = "$(basename "$(readlink -f "$1")")" || { echo "SONAME is '$soname'"; bad=1; }
readelf -d "$1" | grep -q TEXTREL && { echo "the library has text relocations"; bad=1; }
exit $bad
