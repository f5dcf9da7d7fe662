#!/bin/sh
# include_order.sh SRC PREFIX LAYER... reads every #include of SRC/<layer>/* and names each line that
# looks to the right of its own layer, and each use of _WIN32 outside a *_win32.cc file. The layers
# are given from left to right. Includes of the folder itself start with PREFIX; with "-" for none,
# which is the library, a line is named as well that looks to another library or to a container that
# allocates on its own.
src=$1 prefix=${2#-}
shift 2
cd "$src" || exit 2
find . -mindepth 2 \( -name '*.h' -o -name '*.cc' \) | sed 's|^\./||' | sort |
  xargs awk -v layers="$*" -v prefix="$prefix" '
  function offend(why) { print FILENAME ":" FNR ": " why; bad = 1 }
  BEGIN {
    count = split(layers, list, " ")
    for (i = 1; i <= count; i++) rank[list[i]] = i
    split("deque forward_list iostream list map regex set sstream string unordered_map " \
          "unordered_set vector", list, " ")
    for (i in list) allocates[list[i]] = 1
  }
  FNR == 1 {
    files++
    own = FILENAME
    sub("/.*", "", own)
    if (!(own in rank)) offend(own " is not one of the layers " layers)
  }
  /_WIN32/ && FILENAME !~ /_win32[.]cc$/ { offend("_WIN32 belongs in *_win32.cc files") }
  /^[ \t]*#[ \t]*include[ \t]*"/ {
    split($0, part, "\"")
    folder = part[2]
    if (folder == "kwpki.h" && own == "api") next
    if (prefix != "" && index(folder, prefix) != 1) next
    folder = substr(folder, length(prefix) + 1)
    if (!sub("/.*", "", folder) || !(folder in rank)) offend("\"" part[2] "\" is in no layer")
    else if (rank[folder] > rank[own]) offend("\"" part[2] "\" is to the right of " own)
  }
  prefix == "" && /^[ \t]*#[ \t]*include[ \t]*</ {
    split($0, part, "[<>]")
    if (part[2] in allocates) offend("<" part[2] "> allocates; memory comes from util")
    else if (part[2] ~ "/" && part[2] !~ "^(sys|netinet|arpa)/")
      offend("<" part[2] "> is another library")
  }
  END {
    if (!files) { print "no source files"; bad = 1 }
    exit bad
  }'
