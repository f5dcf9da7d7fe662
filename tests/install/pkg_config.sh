#!/bin/sh
# pkg_config.sh PREFIX CERTIFICATE SUBJECT WORK builds the example of the README with the line given
# there and runs it.
set -eu
prefix=$1 certificate=$2 subject=$3 work=$4
mkdir -p "$work"
cp "$(dirname "$certificate")/readme.c" "$work/example.c"
cd "$work"
lib=$(dirname "$(find "$prefix" -name libKwPki.so)")
export PKG_CONFIG_PATH="$lib/pkgconfig"
${CC:-cc} example.c -o example $(pkg-config --cflags --libs kwpki)
found=$(LD_LIBRARY_PATH=$lib ./example "$certificate")
test "$found" = "$subject" || { echo "the subject is: $found"; exit 1; }
