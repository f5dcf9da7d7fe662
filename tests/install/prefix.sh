#!/bin/sh
# prefix.sh SOURCE BUILD PREFIX VERSION installs into an empty PREFIX, which is moved afterwards, as
# it may be; and below DESTDIR, as packages are made, with the same outcome.
set -eu
source=$1 build=$2 prefix=$3 version=$4
work=$prefix.work
rm -rf "$prefix" "$work"
cmake --install "$build" --prefix "$work/first" >/dev/null
DESTDIR=$work/root cmake --install "$build" --prefix /opt/kwpki >/dev/null
diff -r "$work/first" "$work/root/opt/kwpki"
mv "$work/first" "$prefix"

cd "$prefix"
for file in share/zsh/site-functions/_kwpki share/fish/vendor_completions.d/kwpki.fish \
  share/kwpki/kwpki.schema.json; do
  test -s "$file" || { echo "not installed: $file"; exit 1; }
done
test "$(bin/kwpki --version)" = "kwpki $version"
if grep -rlF -e "$source" -e "$build" -e "$work" .; then
  echo "these name a folder of the build"
  exit 1
fi
