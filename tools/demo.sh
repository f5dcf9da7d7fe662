#!/bin/sh
# demo.sh builds the tool and the library, prints the certificates and CRLs of examples/, and reads a
# certificate with a C program that is compiled here as a client would compile it.
set -eu
cd "$(dirname "$0")/.."
out=build/native
tools/build.sh native kwpki KwPki

echo
echo "== kwpki inspect, over the certificates and CRLs of examples/"
"$out/bin/kwpki" inspect examples/*.der examples/*.pem ||
  test $? = 1  # some of them are there to be refused

echo
echo "== examples/inspect.c, a C program against libKwPki.so"
cc -Wall -Wextra -Iinclude examples/inspect.c -L"$out/lib" -lKwPki -Wl,-rpath,"$PWD/$out/lib" \
  -o "$out/bin/inspect"
"$out/bin/inspect" examples/ca-root.pem examples/v3-dsa.pem examples/name-multivalued.der
