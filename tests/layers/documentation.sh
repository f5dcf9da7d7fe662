#!/bin/sh
# documentation.sh HEADER EXPORTS.TXT holds the comment above each exported function to what callers
# need beside what doxygen minds: who owns what, which threads may call it, and, of a function with
# a status, the codes.
awk '
  function lacks(what) { print name " lacks " what; bad = 1 }
  FNR == NR { wanted[$1]; next }
  /^\/\*\*/ { comment = "" }
  { comment = comment $0 "\n" }
  match($0, /KWPKI_CALL KwPki[A-Za-z0-9]*\(/) {
    name = substr($0, RSTART + 11, RLENGTH - 12)
    if (!(name in wanted)) next
    delete wanted[name]
    if ($0 ~ /^KwPkiStatus/ && comment !~ /@retval KWPKI_OK /) lacks("@retval KWPKI_OK")
    if (comment !~ / Ownership: +[^ \n]/) lacks("Ownership:")
    if (comment !~ / Threads: +[^ \n]/) lacks("Threads:")
    comment = ""
  }
  END {
    for (name in wanted) lacks("a declaration")
    exit bad
  }' "$2" "$1"
