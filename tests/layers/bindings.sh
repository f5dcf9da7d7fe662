#!/bin/sh
# bindings.sh HEADER LIBRARY TOOL EXPORTS.TXT feeds the public header, as it stands, to tools that
# make bindings of it for other languages, as far as they are here: each must give every function and the
# status codes, with the values that `kwpki error` tells.
header=$1 library=$2 tool=$3 exports=$4
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT
wanted=$(sort "$exports")
codes=$("$tool" error | sed -n 's/^\(KWPKI_[A-Z_]*\) .* \([0-9]*\)$/\1 \2/p' | sort)
seen=0 bad=0
# compare TOOL FUNCTIONS CODES
compare() {
  seen=$((seen + 1))
  test "$2" = "$wanted" && test "$3" = "$codes" && return
  printf '%s gives these functions and codes:\n%s\n%s\n' "$1" "$2" "$3"
  bad=1
}

python=/usr/bin/python3  # Debian's
if "$python" -c 'import cffi' 2>/dev/null; then
  cc -E "$header" >"$work/kwpki.i"
  got=$("$python" - "$work/kwpki.i" "$library" <<'END'
import cffi, sys
ffi = cffi.FFI()
ffi.cdef("\n".join(line for line in open(sys.argv[1]) if not line.startswith("# ")))
library = ffi.dlopen(sys.argv[2])
certificate = library.KwPkiCertAllocate()
assert library.KwPkiCertSetBer(b"0", 1, certificate) == library.KWPKI_FAILED
library.KwPkiCertFree(certificate)
for name in dir(library):
    value = getattr(library, name)
    print(name, value if isinstance(value, int) else "")
END
  ) || bad=1
  compare cffi "$(echo "$got" | sed -n 's/^\(KwPki[A-Za-z]*\) $/\1/p' | sort)" \
    "$(echo "$got" | grep ^KWPKI | sort)"
fi
if command -v swig >/dev/null; then
  swig -Wall -Werror -python -o "$work/swig.c" -outdir "$work" -module kwpki "$header" || bad=1
  compare swig "$(sed -n 's/^def \(KwPki[A-Za-z]*\)(.*/\1/p' "$work/kwpki.py" | sort)" \
    "$(sed -n 's/.*"\(KWPKI_[A-Z_]*\)",SWIG_From_unsigned.*)(\(0[xX0-9A-F]*\|0\)u)));/\1 \2/p' \
      "$work/swig.c" | while read -r name value; do echo "$name $((value))"; done | sort)"
fi
if command -v bindgen >/dev/null; then
  bindgen "$header" >"$work/kwpki.rs" || bad=1
  compare bindgen "$(sed -n 's/.*pub fn \(KwPki[A-Za-z]*\).*/\1/p' "$work/kwpki.rs" | sort)" \
    "$(sed -n 's/^pub const \(KWPKI_[A-Z_]*\): u32 = \([0-9]*\);/\1 \2/p' "$work/kwpki.rs" | sort)"
fi
test $seen -gt 0 || { echo "no such tool is here"; exit 77; }
exit $bad
