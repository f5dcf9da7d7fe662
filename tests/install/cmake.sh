#!/bin/sh
# cmake.sh PREFIX CERTIFICATE SUBJECT WORK builds the project in consumer/ and runs what it made.
set -eu
prefix=$1 certificate=$2 subject=$3 work=$4
rm -rf "$work"
cmake -S "$(dirname "$0")/consumer" -B "$work" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DEXAMPLE="$(dirname "$certificate")/readme.c"
cmake --build "$work"
found=$("$work/c_client" "$certificate")
test "$found" = "$subject" || { echo "the subject is: $found"; exit 1; }
