#!/bin/sh
# wheel.sh SOURCE LIBRARY TOOL HOST WORK builds the wheel twice, which must give the same bytes,
# installs it into a fresh environment without a network and runs the tests with that, over the
# host's libraries in the folder HOST; and it has the types checked.
set -eu
source=$1 library=$2 tool=$3 host=$4 work=$5
python=/usr/bin/python3  # Debian's
"$python" -c 'import build, pytest, mypy, setuptools, wheel' 2>/dev/null ||
  { echo "Debian's packages to build and test wheels are not here"; exit 77; }
rm -rf "$work"
for i in 1 2; do
  "$source/python/wheel.sh" "manylinux_2_36_$(uname -m)" "$library" "$tool" "$work/$i"
done
cmp "$work"/1/*.whl "$work"/2/*.whl
"$python" -m venv --system-site-packages "$work/env"  # with pytest
"$work/env/bin/pip" install -q --no-index "$work"/1/*.whl
cd "$work"  # away from the sources of the package
KWPKI_LOOPBACK=$host KWPKI_EXAMPLES=$source/examples \
  "$work/env/bin/python" -m pytest -q -p no:cacheprovider "$source/tests/python"
"$work/env/bin/python" "$source/examples/search.py" "$host" "$source/examples" | grep '^1\. ' >/dev/null
installed=$(echo "$work"/env/lib/python3*/site-packages/kwpki)
"$python" -m mypy --strict --cache-dir "$work/mypy" "$installed"
"$python" -m mypy --strict --cache-dir "$work/mypy" --platform win32 "$installed"
