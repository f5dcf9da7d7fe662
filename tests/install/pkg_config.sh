#!/bin/sh
# pkg_config.sh PREFIX EXAMPLE WORK builds the example of the README with the line given there, once
# for each library, and runs it over a certificate of today: the modern one reads it as PEM and DER,
# and the classic one says what it returned. Then the program of the README that searches, with the
# line given there, over a store; linkers may leave out what a program does not call.
set -eu
prefix=$1 example=$2 work=$3 readme=${2%/*}/../README.md
mkdir -p "$work"
cp "$example" "$work/example.c"
cd "$work"
openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out today.pem -subj "/C=FI/CN=today" \
  2>openssl.log || { cat openssl.log; exit 1; }
openssl x509 -in today.pem -outform der -out today.der
lib=$(dirname "$(find "$prefix" -name 'libKwPki.*' | head -n 1)")
export PKG_CONFIG_PATH="$lib/pkgconfig" LD_LIBRARY_PATH="$lib"
for package in kwpki-modern kwpki; do
  ${CC:-cc} example.c -o $package $(pkg-config --cflags --libs $package)
done
for file in today.pem today.der; do
  test "$(./kwpki-modern $file)" = "C=FI, CN=today" || { echo "no subject of $file"; exit 1; }
  test "$(./kwpki $file 2>&1)" = "$file: error 0x84090005" || { echo "classic reads $file"; exit 1; }
done

sed -n '/^```c$/,/^```$/{/^```/!p}' "$readme" | sed -n '/kwloopback/,$p' >find.c
line=$(sed -n 's/^`\(cc find.c [^`]*\)`.*/\1/p' "$readme")
cc() { command cc -Wl,--as-needed "$@"; }
eval "$line -o find"
"$prefix/bin/kwpki" add --store try.store "${example%/*}/v3-rich.der" >/dev/null
test "$(./find try.store www.example.com)" = "C=FI, L=Helsinki, O=Example Oy, OU=Web, \
CN=www.example.com
www.example.com: status 0" || { echo "find does not find"; exit 1; }
