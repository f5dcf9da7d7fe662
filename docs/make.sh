#!/bin/sh
# make.sh DOXYFILE SOURCE OUT makes the reference as HTML in OUT/html: of the headers, the pages
# here, the READMEs of the loopback and of Python, and the tool's manual. First the C interface
# alone: whatever of it is not told, down to each parameter, is an error.
set -eu
doxyfile=$1 source=$2 out=$3
doxygen=${DOXYGEN:-doxygen}
rm -rf "$out"
mkdir -p "$out/pages"
header=$(sed -n 's/^HTML_HEADER *= *//p' "$doxyfile")
if test -n "$header"; then
  # Doxygen's own header, with what switches between light and dark.
  sed '/^HTML_HEADER/d' "$doxyfile" >"$out/bare"
  "$doxygen" -w html "$header" "$out/footer.html" "$out/style.css" "$out/bare"
  sed -i 's|</head>|<script type="text/javascript" \
src="$relpath^doxygen-awesome-darkmode-toggle.js"></script>\
<script type="text/javascript">DoxygenAwesomeDarkModeToggle.init()</script>\
&|' "$header"
fi
# Doxygen makes links of functions by their parentheses, which text does without.
{
  printf '/^( \\*|\\/\\*\\*|[|A-Za-z0-9-])/ {\n'
  sed 's/.*/  s:(^|[^A-Za-z#"])(&)($|[^A-Za-z(]):\\1\\2()\\3:g/' "$source/src/api/exports.txt"
  printf '}\n'
} >"$out/links.sed"
cp "$source"/docs/pages/*.md "$out/pages"
sed '1s/$/ {#loopback}/' "$source/loopback/README.md" >"$out/pages/6_loopback.md"
sed '1s/$/ {#python}/' "$source/python/README.md" >"$out/pages/7_python.md"
{
  printf '# The tool {#tool}\n\n@htmlonly\n'
  pandoc --from markdown-smart --to html --shift-heading-level-by=1 "$source/docs/kwpki.1.md"
  printf '@endhtmlonly\n'
} >"$out/pages/5_tool.md"
{
  cat "$doxyfile"
  printf '%s\n' "INPUT = $source/include/kwpki.h $out/pages" "HTML_OUTPUT = strict_html" \
    "WARN_IF_UNDOCUMENTED = YES" "WARN_NO_PARAMDOC = YES"
} >"$out/strict"
"$doxygen" "$out/strict"
rm -r "$out/strict_html"

"$doxygen" "$doxyfile"
