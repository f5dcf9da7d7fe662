#!/bin/sh
# include_order_selftest.sh DIR: include_order.sh must name exactly the offenders in a small tree of
# two layers, and must be content with the tree once they are gone.
check=$(dirname "$0")/include_order.sh
rm -rf "$1" && mkdir -p "$1/left" "$1/right" || exit 2
printf '#include <cstdint>\n#include <sys/stat.h>\n#include "left/a.h"\n' >"$1/left/good.cc"
printf '#include "left/a.h"\n#include "right/b.h"\n#include <string_view>\n' >"$1/right/good.cc"
sh "$check" "$1" left right || exit 1

mkdir "$1/middle"
printf '#include "left/a.h"\n # include "right/b.h"\n' >"$1/left/outward.cc"
printf '#include "a.h"\n#include <openssl/x509.h>\n#include <vector>\n' >"$1/right/foreign.h"
printf '#ifdef _WIN32\n#endif\n' >"$1/right/platform.cc"
printf '#ifdef _WIN32\n#endif\n' >"$1/right/platform_win32.cc"
printf '\n' >"$1/middle/stray.cc"
found=$(sh "$check" "$1" left right) && exit 1
echo "$found"
test "$(echo "$found" | cut -d: -f1,2)" = "left/outward.cc:2
middle/stray.cc:1
right/foreign.h:1
right/foreign.h:2
right/foreign.h:3
right/platform.cc:1"
