#!/bin/sh
# wheel.sh PLATFORM LIBRARY TOOL OUT builds the wheel of a platform, with its library inside, into
# the folder OUT. TOOL is a kwpki that runs here: it has the version and the words of the status codes.
# Nothing is fetched, and the same input gives the same bytes.
set -eu
platform=$1 library=$(realpath "$2") tool=$(realpath "$3") out=$(realpath -m "$4")
cd "$(dirname "$0")"
python=${PYTHON:-/usr/bin/python3}  # Debian's, which has the packages that build
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
mkdir -p "$stage/kwpki" "$out"
cp pyproject.toml setup.py README.md ../LICENSE "$stage"
cp kwpki/*.py kwpki/py.typed "$stage/kwpki"
"$tool" error --json >"$stage/kwpki/errors.json"
cp "$library" "$stage/kwpki"
case $library in *.so*) strip --strip-unneeded "$stage/kwpki/${library##*/}" ;; esac
chmod -R u=rwX,go=rX "$stage"
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null || echo 1767225600)}
KWPKI_PLATFORM=$platform KWPKI_VERSION=$("$tool" --version | cut -d ' ' -f 2)
export SOURCE_DATE_EPOCH KWPKI_PLATFORM KWPKI_VERSION
cd "$stage"
"$python" -m build --wheel --no-isolation --outdir "$out" . >build.log 2>&1 ||
  { cat build.log >&2; exit 1; }
