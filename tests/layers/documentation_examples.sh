#!/bin/sh
# documentation_examples.sh HEADER DIR COMPILER: every @code block in the comments of the header is
# C that compiles without a warning, with that header and <stdio.h> before it.
flags="-std=c11 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fsyntax-only"
rm -rf "$2" && mkdir -p "$2" || exit 2
awk -v header="$(realpath "$1")" -v folder="$2" '
  /@endcode/ { if (!file) exit 2; close(file); file = "" }
  file { sub(/^ \*/, ""); sub(/^  /, ""); print >file }
  /@code/ {
    if (file) exit 2
    file = folder "/line_" FNR ".c"
    printf "#include <stdio.h>\n#include \"%s\"\n#line %d \"%s\"\n", header, FNR + 1, header >file
    blocks++
  }
  END { exit file || !blocks ? 2 : 0 }' "$1" ||
  { echo "no @code blocks, or one without its end"; exit 1; }
bad=0
for block in "$2"/*.c; do
  "$3" $flags "$block" || bad=1
done
exit $bad
