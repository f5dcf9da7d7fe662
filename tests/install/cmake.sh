#!/bin/sh
# cmake.sh PREFIX EXAMPLE CERTIFICATE SUBJECT WORK builds the project in consumer/ with each library
# and with the loopback host, and runs what it made.
set -eu
prefix=$1 example=$2 certificate=$3 subject=$4 work=$5
rm -rf "$work"
cmake -S "$(dirname "$0")/consumer" -B "$work" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DEXAMPLE="$example" -DSEARCH="${example%/*}/search.cc"
cmake --build "$work"
for library in KwPki Modern; do
  found=$("$work/$library" "$certificate")
  test "$found" = "$subject" || { echo "the subject is: $found"; exit 1; }
done
cd "${example%/*}/.." && "$work/search"
