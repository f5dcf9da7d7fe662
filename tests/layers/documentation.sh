#!/bin/sh
# documentation.sh HEADER EXPORTS.TXT holds the comment above each exported function to what callers
# need: each parameter, what comes back (a function with a status names its codes), who owns what
# and which threads may call it. What else must be documented, doxygen minds.
awk '
  function lacks(what) { print name " lacks " what; bad = 1 }

  # The parameters are the last words between the commas.
  function look_at_parameters(list,    count, i, part) {
    gsub(/^[^(]*\(|\)[^)]*$/, "", list)
    count = split(list, part, ",")
    for (i = 1; i <= count; i++) {
      sub(/ +$/, "", part[i])
      sub(/.*[^A-Za-z0-9_]/, "", part[i])
      if (part[i] == "void") continue
      if (comment !~ ("@param\\[(in|out|in,out)\\] " part[i] "[ \n]")) lacks("@param " part[i])
    }
  }

  function look_at_function() {
    name = declaration
    sub(/.*KWPKI_CALL +/, "", name)
    sub(/\(.*/, "", name)
    seen[name] = 1
    look_at_parameters(declaration)
    if (comment !~ /@(return|retval) +[^ \n]/) lacks("@return or @retval")
    else if (declaration ~ /KwPkiStatus KWPKI_CALL/ && comment !~ /@retval KWPKI_OK /)
      lacks("@retval KWPKI_OK")
    if (comment !~ / Ownership: +[^ \n]/) lacks("Ownership:")
    if (comment !~ / Threads: +[^ \n]/) lacks("Threads:")
  }

  FNR == NR { wanted[$1]; next }
  /^\/\*\*/ { comment = ""; inside = 1 }
  inside {
    comment = comment $0 "\n"
    if (/\*\//) inside = 0
    declaration = ""
    next
  }
  /^#/ { next }
  { declaration = declaration " " $0 }
  /;/ {
    if (declaration ~ /KWPKI_CALL +KwPki[A-Za-z0-9]*\(/) look_at_function()
    comment = declaration = ""
  }
  END {
    for (name in wanted) {
      exports++
      if (!(name in seen)) lacks("a declaration")
    }
    if (!exports) { print "no exports"; bad = 1 }
    exit bad
  }' "$2" "$1"
