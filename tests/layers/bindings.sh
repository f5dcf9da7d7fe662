#!/bin/sh
# bindings.sh HEADER LIBRARY TOOL EXPORTS.TXT feeds the public header, as it stands, to tools that
# make bindings of it for other languages, as far as they are here. cffi gives every function and
# the status codes, with the values that `kwpki error` tells.
header=$1 library=$2 tool=$3 exports=$4
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT
bad=0
for other in "swig -Wall -Werror -python -o $work/swig.c -outdir $work -module kwpki" bindgen; do
  command -v "${other%% *}" >/dev/null || continue
  $other "$header" >"$work/out" && cat "$work"/* | grep -q KwPkiStatusAsync || bad=1
done
python=/usr/bin/python3  # Debian's
"$python" -c 'import cffi' || exit 77
cc -E "$header" >"$work/kwpki.i"
wanted=$({ cat "$exports"
  "$tool" error | sed -n 's/^\(KWPKI_[A-Z_]*\) .* \([0-9]*\)$/\1 \2/p'; } | sort)
found=$("$python" - "$work/kwpki.i" "$library" <<'END' | sort
import cffi, sys
ffi = cffi.FFI()
ffi.cdef("\n".join(line for line in open(sys.argv[1]) if not line.startswith("# ")))
library = ffi.dlopen(sys.argv[2])
for name in dir(library):
    value = getattr(library, name)
    print(name, value) if isinstance(value, int) else print(name)
END
)
test "$found" = "$wanted" || { echo "cffi gives: $found"; bad=1; }
exit $bad
