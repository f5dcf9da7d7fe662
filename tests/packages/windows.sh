#!/bin/sh
# windows.sh PACKAGES VERSION TOOL unpacks the ZIPs, builds the examples with the lines that they
# come with, and runs them and kwpki.exe under Wine, also over a file whose name no old code page
# has, and without and with a host's agent; that gives a reply which the tool of this system got.
set -eu
examples=$(cd "$(dirname "$0")/../../examples" && pwd) packages=$1 version=$2 tool=$3
tree=$examples/.. here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT
fail() { echo "$machine: $*"; exit 1; }

export LC_ALL=C.UTF-8 KWPKI_STORE="$work/store"
"$tool" add "$examples/v3-rich.der" >/dev/null
"$tool" search --dns www.example.com --trace "$work/trace" >/dev/null
unset KWPKI_STORE

# try_zip MACHINE COMPILER WINE
try_zip() {
  machine=$1 gcc=$2 wine=$3
  unzip -q "$packages/kwpki-$version-windows-$machine.zip" -d "$work"
  cd "$work/kwpki-$version-windows-$machine"
  cd examples
  sed -n 's/\r$//; s/^    \([a-z0-9_-]*-gcc .*\)/\1/p' BUILD.txt >build.sh
  test "$(wc -l <build.sh)" = 2 || fail "BUILD.txt has not two lines to build with"
  sh -e build.sh
  cp ../bin/modern/KwPki.dll .
  export WINEPREFIX="$work/$machine" WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
  for program in readme inspect; do
    "$wine" "$program.exe" "$examples/name-multivalued.der" >said || fail "$program.exe fails"
    grep -q "DC=" said || fail "$program.exe gives no subject"
  done
  cp "$examples/v3-dsa.pem" αβ.pem
  "$wine" ../bin/kwpki.exe inspect αβ.pem >said || fail "kwpki.exe does not read αβ.pem"
  grep -q 'αβ.pem (PEM): certificate' said || fail "kwpki.exe does not name αβ.pem"
  "$wine" ../bin/kwpki.exe --version | grep -q "$version" || fail "kwpki.exe is of another version"

  status=0
  "$wine" ../bin/kwpki.exe search --dns www.example.com >said 2>&1 || status=$?
  grep -q 'KWMA32.dll, .*was not found' said && test $status = 3 ||
    fail "it searches without an agent"
  "$gcc" -shared -static -Wl,--kill-at -I../include -I"$tree/loopback" "$here/agent.c" \
    -o ../bin/KWMA32.dll
  export KWPKI_STORE="$work/trace/0001-reply.bin"
  "$wine" ../bin/kwpki.exe search --dns www.example.com >said ||
    fail "it does not search through the agent"
  grep -q 'CN=www.example.com' said || fail "it does not show what was found"
  wineserver -w  # it writes its files when all programs have ended
}
(export WINEARCH=win32 && try_zip x86 i686-w64-mingw32-gcc wine)
export WINELOADER=/usr/lib/wine/wine64
(export WINEARCH=win64 && try_zip x64 x86_64-w64-mingw32-gcc "$WINELOADER")
