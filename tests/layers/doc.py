"""doc.py HTML: every link of the pages in this folder leads to a page and place that there is, and
a browser, where there is one, shows what scripts build: the menu, and what switches the colours."""
import html.parser
import pathlib
import shutil
import subprocess
import sys
import urllib.parse

folder = pathlib.Path(sys.argv[1]).resolve()


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.links, self.places = [], set()
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src") and value:
                self.links.append(value)
            if name in ("id", "name"):
                self.places.add(value)


pages = {path.name: Page(path) for path in folder.glob("*.html")}
bad, seen = [], 0
for name, page in pages.items():
    for link in page.links:
        parts = urllib.parse.urlsplit(link)
        if parts.scheme or parts.netloc:
            continue
        seen += 1
        target = urllib.parse.unquote(parts.path) or name
        if not (folder / target).exists():
            bad.append(f"{name}: {link}: no such page")
        elif parts.fragment and target in pages and parts.fragment not in pages[target].places:
            bad.append(f"{name}: {link}: no such place")
for wanted in ("quick_start", "concepts", "wire_format", "key_blob", "tool", "loopback",
               "group__requests", "classkwpki_1_1Search"):
    if f"{wanted}.html" not in pages:
        bad.append(f"no page {wanted}")

chromium = shutil.which("chromium")
for name in ("index.html", "group__lists.html", "concepts.html") if chromium else ():
    shown = subprocess.run(
        [chromium, "--headless", "--no-sandbox", "--disable-gpu", "--virtual-time-budget=5000",
         "--dump-dom", f"file://{folder}/{name}"], capture_output=True, text=True).stdout
    for wanted in (">Quick start<", ">Concepts<", "<doxygen-awesome-dark-mode-toggle"):
        if wanted not in shown:
            bad.append(f"{name}: the browser does not show {wanted}")
print("\n".join(bad) or f"{seen} links")
sys.exit(bool(bad) or seen < 1000)
