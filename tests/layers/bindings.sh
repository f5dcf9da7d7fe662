#!/bin/sh
# bindings.sh HEADER LIBRARY TOOL EXPORTS.TXT feeds the public header, as it stands, to tools that
# make bindings of it for other languages, as far as they are here: each must give every function and the
# status codes, with the values that `kwpki error` tells.
header=$1 library=$2 tool=$3 exports=$4
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT
wanted=$({ cat "$exports"
  "$tool" error | sed -n 's/^\(KWPKI_[A-Z_]*\) .* \([0-9]*\)$/\1 \2/p'; } | sort)
seen=0 bad=0
# compare TOOL FOUND
compare() {
  seen=$((seen + 1))
  test "$(echo "$2" | sort)" = "$wanted" || { echo "$1 gives: $2"; bad=1; }
}

python=/usr/bin/python3  # Debian's
if "$python" -c 'import cffi' 2>/dev/null; then
  cc -E "$header" >"$work/kwpki.i"
  compare cffi "$("$python" - "$work/kwpki.i" "$library" <<'END'
import cffi, sys
ffi = cffi.FFI()
ffi.cdef("\n".join(line for line in open(sys.argv[1]) if not line.startswith("# ")))
library = ffi.dlopen(sys.argv[2])
for name in dir(library):
    value = getattr(library, name)
    print(name, value) if isinstance(value, int) else print(name)
END
  )"
fi
if command -v swig >/dev/null; then
  swig -Wall -Werror -python -o "$work/swig.c" -outdir "$work" -module kwpki "$header" || bad=1
  compare swig "$(sed -n 's/^def \(KwPki[A-Za-z]*\)(.*/\1/p' "$work/kwpki.py"
    sed -n 's/.*"\(KWPKI_[A-Z_]*\)",SWIG_From_unsigned.*)(\(0[xX0-9A-F]*\|0\)u)));/\1 \2/p' \
      "$work/swig.c" | while read -r name value; do echo "$name $((value))"; done)"
fi
if command -v bindgen >/dev/null; then
  compare bindgen "$(bindgen "$header" | sed -n 's/.*pub fn \(KwPki[A-Za-z]*\).*/\1/p
    s/^pub const \(KWPKI_[A-Z_]*\): u32 = \([0-9]*\);/\1 \2/p')"
fi
test $seen -gt 0 || { echo "no such tool is here"; exit 77; }
exit $bad
