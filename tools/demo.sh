#!/bin/sh
# demo.sh builds the tool and the libraries, prints the certificates and CRLs of examples/, puts
# them into a store of the loopback host and searches it, compiles two C programs here as a client
# would, and shows a certificate that openssl makes of itself.
set -eu
cd "$(dirname "$0")/.."
out=build/demo
kwpki="$out/bin/kwpki"
tools/setup.sh library demo
tools/build.sh demo kwpki KwPki KwPkiModern KWMA32 KWPMAPI
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

title() { printf '\n== %s\n' "$*"; }

title "kwpki examples: one line each, and the reason where something is refused"
"$kwpki" examples/*.der examples/*.pem || test $? = 1  # some of them are there to be refused

title "kwpki, over a certificate of today: openssl req -x509 -newkey rsa:2048 -days 20"
openssl req -x509 -newkey rsa:2048 -nodes -days 20 -keyout "$work/key.pem" -out "$work/today.pem" \
  -subj "/C=FI/O=Example Oy/CN=today.example.com" 2>"$work/openssl.log" ||
  cat "$work/openssl.log" >&2
"$kwpki" --expires 30 "$work/today.pem" || test $? = 1  # it expires soon

title "kwpki examples/refused-critical.der"
"$kwpki" examples/refused-critical.der || test $? = 1

title "kwpki add examples/, into a fresh store; kwpki search --dns www.example.com"
export KWPKI_STORE="$work/demo.store"
"$kwpki" add examples 2>/dev/null || test $? = 1  # likewise
"$kwpki" search --dns www.example.com --trace "$work"

title "kwpki message decode: the request of that search"
"$kwpki" message decode "$work/0001-request.bin"

# run_example NAME LIBRARIES [ARGUMENT...]
run_example() {
  name=$1 libraries=$2
  shift 2
  # shellcheck disable=SC2086
  cc -Wall -Wextra -Iinclude -Iloopback "examples/$name.c" -L"$out/lib" $libraries \
    -Wl,-rpath,"$PWD/$out/lib" -o "$out/bin/$name"
  "$out/bin/$name" "$@"
}

title "examples/search.c, a C program with the loopback host"
run_example search "-lKwPki -lKWMA32"

title "examples/readme.c, a C program of the modern library"
run_example readme "-lKwPkiModern" "$work/today.pem"
