#!/bin/sh
# documentation.sh HEADER EXPORTS.TXT EXAMPLES.C holds the comment above each exported function to
# what callers need beside what doxygen minds: who owns what, which threads may call it, of a
# function with a status the codes, what else to look at, and a part of the examples that calls it.
awk '
  function lacks(what) { print name " lacks " what; bad = 1 }
  FILENAME == ARGV[1] { wanted[$1]; next }
  FILENAME == ARGV[2] {
    if (match($0, /^\/\* \[.*\] \*\/$/)) part = part == $0 ? "" : $0
    example[part] = example[part] $0 "\n"
    next
  }
  /^\/\*\*/ { comment = "" }
  { comment = comment $0 "\n" }
  match($0, /KWPKI_CALL KwPki[A-Za-z0-9]*\(/) {
    name = substr($0, RSTART + 11, RLENGTH - 12)
    if (!(name in wanted)) lacks("a line in exports.txt")
    delete wanted[name]
    if ($0 ~ /^KwPkiStatus/ && comment !~ /@retval KWPKI_OK /) lacks("@retval KWPKI_OK")
    if (comment !~ / Ownership: +[^ \n]/) lacks("Ownership:")
    if (comment !~ / Threads: +[^ \n]/) lacks("Threads:")
    if (comment !~ / @see KwPki/) lacks("@see")
    match(comment, / @snippet api[.]c [^\n]*/)
    shown = example["/* [" substr(comment, RSTART + 16, RLENGTH - 16) "] */"]
    if (!index(shown, name "(")) lacks("an example")
    comment = ""
  }
  END {
    for (name in wanted) lacks("a declaration")
    exit bad
  }' "$2" "$3" "$1"
