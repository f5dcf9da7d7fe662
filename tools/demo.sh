#!/bin/sh
# demo.sh builds the tool and the libraries, prints the certificates and CRLs of examples/, puts
# them into a store of the loopback host and searches it, compiles two C programs here as a client
# would, and shows a certificate that openssl makes of itself.
set -eu
cd "$(dirname "$0")/.."
out=build/native
kwpki="$out/bin/kwpki"
tools/setup.sh library demo
tools/build.sh release kwpki KwPki KWMA32 KWPMAPI
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

title() { printf '\n== %s\n' "$*"; }

title "kwpki inspect, over the certificates and CRLs of examples/"
"$kwpki" inspect examples/*.der examples/*.pem ||
  test $? = 1  # some of them are there to be refused

title "kwpki store import examples/, into a fresh store"
export KWPKI_STORE="$work/demo.store"
"$kwpki" store import examples || test $? = 1  # likewise

title "kwpki search --dns www.example.com"
"$kwpki" search --dns www.example.com --trace "$work"

title "kwpki search --dn 'C=fi, O=EXAMPLE oy, CN=example  issuing'"
"$kwpki" search --dn 'C=fi, O=EXAMPLE oy, CN=example  issuing'

title "kwpki search --key-of examples/v3-dsa.pem"
"$kwpki" search --key-of examples/v3-dsa.pem

title "kwpki path, from www.example.com to the root"
"$kwpki" path --from-dns www.example.com --to-dn 'C=FI, O=Example Oy, OU=Roots, CN=Example Root'

title "kwpki message decode: the request for www.example.com"
"$kwpki" message decode "$work/0001-request.bin"

title "kwpki message decode: its reply"
"$kwpki" message decode "$work/0001-reply.bin"

# run_example NAME LIBRARIES [ARGUMENT...]
run_example() {
  name=$1 libraries=$2
  shift 2
  # shellcheck disable=SC2086
  cc -Wall -Wextra -Iinclude -Iloopback "examples/$name.c" -L"$out/lib" -Wl,--no-as-needed \
    $libraries -Wl,-rpath,"$PWD/$out/lib" -o "$out/bin/$name"
  "$out/bin/$name" "$@"
}

title "examples/inspect.c, a C program against libKwPki.so"
run_example inspect "-lKwPki" examples/ca-root.pem examples/v3-dsa.pem examples/name-multivalued.der

title "examples/search.c, a C program with the loopback host"
run_example search "-lKwPki -lKWMA32 -lKWPMAPI"

title "kwpki inspect, over a certificate of today: openssl req -x509 -newkey rsa:2048"
openssl req -x509 -newkey rsa:2048 -nodes -keyout "$work/key.pem" -out "$work/today.pem" \
  -subj "/C=FI/O=Example Oy/CN=today.example.com" 2>"$work/openssl.log" ||
  cat "$work/openssl.log" >&2
"$kwpki" inspect "$work/today.pem"
