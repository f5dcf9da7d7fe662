#!/bin/sh
# debian.sh PACKAGES VERSION: lintian has nothing to say of the Debian packages; in a fresh minimal
# system they install, the README's example builds and runs, kwpki runs, and all is gone when they
# are removed.
set -eu
here=$(cd "$(dirname "$0")" && pwd) packages=$1 version=$2
lintian --fail-on error,warning "$packages"/*.deb
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
cp "$packages"/*.deb "$here/../../examples/readme.c" "$here/inside.sh" "$work"
openssl req -x509 -newkey rsa:2048 -nodes -keyout "$work/key.pem" -out "$work/today.pem" \
  -subj "/C=FI/CN=today" 2>"$work/openssl.log" || { cat "$work/openssl.log"; exit 1; }
mmdebstrap --quiet --variant=minbase --include=gcc,libc6-dev,pkgconf --format=null \
  --customize-hook="copy-in $work /opt" \
  --customize-hook='chroot "$1" sh /opt/'"$(basename "$work")/inside.sh $version" \
  "${SUITE:-bookworm}" -
