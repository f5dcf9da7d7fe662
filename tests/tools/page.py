"""page.py KWPKI EXAMPLES WORK: pages of --html in Chromium. What is pointed at or focused is
marked, in elements and bytes; nothing is fetched, and names from data do nothing. Without
Chromium's driver it ends with 77."""
import json
import pathlib
import shutil
import subprocess
import sys

driver = shutil.which("chromedriver") or sys.exit(77)
import selenium.webdriver  # noqa: E402
from selenium.webdriver.chrome.service import Service  # noqa: E402

kwpki, examples, work = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
shutil.rmtree(work, ignore_errors=True)
work.mkdir(parents=True)
PAGE = work / "page.html"
faults = []


def show(*words, status=0):
    """Opens the page that a command writes, and gives its size."""
    done = subprocess.run([kwpki, *words], capture_output=True)
    expect(f"status of {words}, {done.stderr}", done.returncode, status)
    PAGE.write_bytes(done.stdout)
    browser.get("about:blank")
    log("performance"), log("browser")
    browser.get(PAGE.as_uri())
    return len(done.stdout)


def log(kind):
    return [entry["message"] for entry in browser.get_log(kind)]


def evaluate(script):
    return browser.execute_script("return " + script)


def point(script):
    """Moves the mouse to the element or range that a script gives."""
    x, y = evaluate(f"""(() => {{ const at = {script};
      (at.startContainer || at).parentElement.scrollIntoView({{block: "center"}});
      const box = at.getBoundingClientRect(); return [box.x + 5, box.y + 5]; }})()""")
    browser.execute_cdp_cmd("Input.dispatchMouseEvent", {"type": "mouseMoved", "x": x, "y": y})


def press(key):
    browser.execute_cdp_cmd("Input.dispatchKeyEvent", {"type": "rawKeyDown", "key": key})


def expect(what, found, wanted):
    if found != wanted:
        faults.append(f"{what}: {found!r}, not {wanted!r}")


ROWS = "[...document.querySelectorAll('[data-r]')]"
MARKED = "[...document.querySelectorAll('pre mark')].map(each => each.textContent).join(' ')"
SELECTED = "document.querySelector('[aria-selected=true]')"
NUMBER = "document.querySelector('input').value"
DIGITS = """(offset => { const digits = document.querySelectorAll('.digits')[offset >> 4];
  const range = new Range(), walker = document.createTreeWalker(digits, NodeFilter.SHOW_TEXT);
  let left = offset % 16 * 3, node = walker.nextNode();
  for (; left >= node.length; node = walker.nextNode()) left -= node.length;
  range.setStart(node, left), range.setEnd(node, left + 2); return range; })"""


def check_marked(why, octets, wanted):
    """The selected element begins there; its bytes are marked, and no others."""
    start, header, content, _ = map(int, evaluate(SELECTED + ".dataset.r").split())
    expect(f"element {why}", start, wanted)
    expect(f"bytes marked {why}", evaluate(MARKED),
           octets[start:start + header + content].hex(" "))


def check_marking(octets):
    rows = [list(map(int, row.split())) for row in evaluate(ROWS + ".map(r => r.dataset.r)")]
    for at in (3, len(rows) - 1):
        point(f"{ROWS}[{at}].querySelector('b')")
        check_marked("pointed at", octets, rows[at][0])
    for byte in (1, len(octets) // 2, len(octets) - 1):
        point(f"{DIGITS}({byte})")
        around = [row for row in rows if row[0] <= byte < row[0] + row[1] + row[2]]
        check_marked(f"of byte {byte}", octets, around[-1][0])
    evaluate(SELECTED + ".focus()")
    for key, row in (("Home", 0), ("ArrowDown", 1), ("End", -1), ("ArrowUp", -2), ("Home", 0)):
        press(key)
        check_marked(f"after {key}", octets, rows[row][0])
    evaluate("document.querySelector('pre').focus()")
    press("ArrowRight")
    expect("byte after ArrowRight", evaluate(NUMBER), "1")
    return rows


def check_quiet():
    """Nothing was fetched, said or run, and the page's policy lets nothing else in."""
    messages = [json.loads(entry)["message"] for entry in log("performance")]
    expect("fetched", [message["params"]["request"]["url"] for message in messages
                       if message["method"] == "Network.requestWillBeSent"], [PAGE.as_uri()])
    expect("said", log("browser"), [])
    expect("let in", evaluate("""(async () => { const script = document.createElement('script');
      script.textContent = 'hacked = 1'; document.body.append(script);
      const fetched = await fetch('data:,x').then(() => 'fetched', () => 'refused');
      return [typeof hacked, fetched]; })()"""), ["undefined", "refused"])


def check_hostile():
    """Names that want to be more than text, in a certificate whose signature nobody looks at."""
    names = [b"<script>hacked=1</script>", b'"onmouseover="hacked=1', b"]]>-->\0</style><svg>",
             "\u202e\u2028\u2066".encode(), b"\xff\xfe&lt;", b"<img src=x onerror=hacked=1>"]
    letters = [bytes([ord("A") + i]) * len(name) for i, name in enumerate(names)]
    made = subprocess.run(["openssl", "req", "-x509", "-newkey", "ed25519", "-nodes", "-outform",
                           "DER", "-keyout", "/dev/null", "-subj", b"/OU=" + b"/OU=".join(letters)],
                          capture_output=True, check=True).stdout
    for name, letter in zip(names, letters):
        made = made.replace(letter, name)
    path = work / "<img src=x onerror=hacked=1>&quot;'.der"
    path.write_bytes(made)
    show("inspect", "--html", path, path)
    evaluate("document.querySelectorAll('details').forEach(each => each.open = true)")
    evaluate(ROWS + ".forEach(each => each.focus())")
    expect("elements made of names", evaluate("document.querySelectorAll("
           "'img, script:not(:last-child), [onmouseover], svg:not(.bar)').length"), 0)
    text = evaluate("document.body.textContent")
    for part in ("<script>hacked=1</script>", "]]>-->\\x00</style>", "\\u{202e}\\u{2028}\\u{2066}",
                 "\\xff\\xfe&lt;", path.name):
        expect(f"{part} shown", part in text, True)
    check_quiet()


options = selenium.webdriver.ChromeOptions()
for word in ("--headless=new", "--no-sandbox", "--disable-gpu"):
    options.add_argument(word)
options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
browser = selenium.webdriver.Chrome(options=options, service=Service(driver))
rich, refused = examples / "v3-rich.der", examples / "refused-sha256.der"
expect("below 100 KB", show("inspect", "--html", rich) < 100_000, True)
tree = json.loads(subprocess.check_output([kwpki, "inspect", "--json", "--tree", rich]))["tree"]
expect("elements", check_marking(rich.read_bytes()),
       [[each["offset"], each["header_length"], each["length"], each["depth"]] for each in tree])
check_quiet()
show("inspect", "--html", "--profile", "classic", refused, status=1)
expect("refused", "refused: signature" in evaluate(SELECTED + ".textContent"), True)
check_hostile()
message = bytes.fromhex("00000001 00000007 00000004 000003e7 00000000 00000002 ff")
(work / "request").write_bytes(message)
show("message", "decode", "--html", work / "request", status=1)
check_marking(message)
check_quiet()
browser.quit()
print("\n".join(faults))
sys.exit(bool(faults))
