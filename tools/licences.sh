#!/bin/sh
# licences.sh: every file has a licence and a holder, which REUSE.toml says. Releases of reuse
# before 4.0 know that file in an older form alone, and later ones refuse to see both: so the older
# form is made of it in a copy of the tree.
set -eu
cd "$(dirname "$0")/.."
tools/setup.sh licences
case $(reuse --version) in
  *" "[0123].*) ;;
  *) exec reuse lint ;;
esac
copy=$(mktemp -d) && trap 'rm -rf "$copy"' EXIT
git ls-files -z | xargs -0 cp -P --parents -t "$copy"
mkdir "$copy/.reuse"
python3 - >"$copy/.reuse/dep5" <<'END'
import tomllib
print("Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/")
with open("REUSE.toml", "rb") as file:
    for part in tomllib.load(file)["annotations"]:
        print("\nFiles:", part["path"].replace("**", "*"))
        print("Copyright:", part["SPDX-FileCopyrightText"])
        print("License:", part["SPDX-License-Identifier"])
END
reuse --root "$copy" lint
