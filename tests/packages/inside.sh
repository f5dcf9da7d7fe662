# inside.sh VERSION runs in the fresh system.
set -eu
version=$1
cd "$(dirname "$0")"
fail() { echo "$*"; exit 1; }
names=$(for file in ./*.deb; do dpkg-deb -f "$file" Package; done)
apt-get -qq -y --no-install-recommends install ./*.deb >apt.log 2>&1 || { cat apt.log; exit 1; }

cc readme.c $(pkg-config --cflags --libs kwpki-modern) -o readme
test "$(./readme today.pem)" = "C=FI, CN=today" || fail "the example gives no subject"
test "$(kwpki --version)" = "kwpki $version" || fail "kwpki is of another version"
kwpki today.pem | grep -q 'Subject  *C=FI, CN=today' || fail "kwpki shows no certificate"
KWPKI_STORE=$PWD/store kwpki add today.pem >/dev/null || fail "kwpki imports nothing"

files=$(dpkg -L $names)
apt-get -qq -y purge $names >apt.log 2>&1 || { cat apt.log; exit 1; }
for file in $files; do
  case $file in *kwpki* | *KwPki*) test ! -e "$file" || fail "$file stays behind" ;; esac
done
! ldconfig -p | grep -i kwpki || fail "the loader still knows the library"
