"""doc.py HTML: every link of the pages in this folder leads to a page and place that there is."""
import pathlib
import sys
import urllib.parse

import lxml.html

folder = pathlib.Path(sys.argv[1]).resolve()
pages = {path.name: lxml.html.parse(path) for path in folder.glob("*.html")}
places = {name: set(page.xpath("//@id | //@name")) for name, page in pages.items()}
links = [(name, link) for name, page in pages.items()
         for link in map(urllib.parse.urlsplit, page.xpath("//@href | //@src"))
         if not link.scheme and not link.netloc]
bad = []
for name, link in links:
    target = urllib.parse.unquote(link.path) or name
    if not (folder / target).exists():
        bad.append(f"{name}: {link.geturl()}: no such page")
    elif link.fragment and link.fragment not in places.get(target, {link.fragment}):
        bad.append(f"{name}: {link.geturl()}: no such place")
print("\n".join(bad) or f"{len(links)} links")
sys.exit(bool(bad) or len(links) < 1000)
