"""page.py KWPKI EXAMPLES WORK: pages of --html in Chromium, driven by its own protocol. What is pointed
at or focused is marked, in elements and bytes; nothing is fetched, and names from data do nothing.
Without Chromium it ends with 77."""
import json
import os
import pathlib
import shutil
import subprocess
import sys

kwpki, examples, work = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
chromium = shutil.which("chromium") or sys.exit(77)
shutil.rmtree(work, ignore_errors=True)
work.mkdir(parents=True)
PAGE = work / "page.html"
faults = []


class Browser:
    """A page in Chromium; what it asked a network for is in `asked`, what it said in `said`."""

    def __init__(self):
        reader, writer = os.pipe()
        self.answers, to_us = os.pipe()
        subprocess.Popen(["sh", "-c", f'exec "$@" 3<&{reader} 4>&{to_us}', "sh", chromium,
                          "--headless=new", "--no-sandbox", "--disable-gpu",
                          "--remote-debugging-pipe", f"--user-data-dir={work}/profile"],
                         pass_fds=(reader, to_us), stderr=subprocess.DEVNULL)
        os.close(to_us)
        self.to, self.number, self.session = os.fdopen(writer, "wb", 0), 0, {}
        self.rest, self.asked, self.said = b"", [], []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = {"sessionId": self.call("Target.attachToTarget", targetId=target,
                                               flatten=True)["sessionId"]}
        for domain in ("Page", "Network", "Runtime", "Log"):
            self.call(domain + ".enable")

    def read(self):
        while b"\0" not in self.rest:
            self.rest += os.read(self.answers, 1 << 16) or sys.exit("Chromium ended")
        message, _, self.rest = self.rest.partition(b"\0")
        message = json.loads(message)
        if message.get("method") == "Network.requestWillBeSent":
            self.asked.append(message["params"]["request"]["url"])
        if message.get("method") in ("Runtime.exceptionThrown", "Runtime.consoleAPICalled",
                                     "Log.entryAdded", "Page.javascriptDialogOpening"):
            self.said.append(message)
        return message

    def call(self, method, **details):
        self.number += 1
        message = {"id": self.number, "method": method, "params": details, **self.session}
        self.to.write(json.dumps(message).encode() + b"\0")
        while (answer := self.read()).get("id") != self.number:
            pass
        return answer["result"]

    def show(self, *words, status=0):
        """Opens the page that a command writes, and gives its size."""
        done = subprocess.run([kwpki, *words], capture_output=True)
        expect(f"status of {words}, {done.stderr}", done.returncode, status)
        PAGE.write_bytes(done.stdout)
        self.asked, self.said = [], []
        self.call("Page.navigate", url=PAGE.as_uri())
        while self.read().get("method") != "Page.loadEventFired":
            pass
        return len(done.stdout)

    def eval(self, script):
        answer = self.call("Runtime.evaluate", expression=script, returnByValue=True,
                           awaitPromise=True)
        return answer["result"].get("value", answer.get("exceptionDetails"))

    def point(self, script):
        """Moves the mouse to the element or range that a script gives."""
        x, y = self.eval(f"""(() => {{ const at = {script};
          (at.startContainer || at).parentElement.scrollIntoView({{block: "center"}});
          const box = at.getBoundingClientRect(); return [box.x + 5, box.y + 5]; }})()""")
        self.call("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y)


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
    start, header, content, _ = map(int, browser.eval(SELECTED + ".dataset.r").split())
    expect(f"element {why}", start, wanted)
    expect(f"bytes marked {why}", browser.eval(MARKED),
           octets[start:start + header + content].hex(" "))


def check_marking(octets):
    rows = [list(map(int, row.split())) for row in browser.eval(ROWS + ".map(r => r.dataset.r)")]
    for at in (3, len(rows) - 1):
        browser.point(f"{ROWS}[{at}].querySelector('b')")
        check_marked("pointed at", octets, rows[at][0])
    for byte in (1, len(octets) // 2, len(octets) - 1):
        browser.point(f"{DIGITS}({byte})")
        around = [row for row in rows if row[0] <= byte < row[0] + row[1] + row[2]]
        check_marked(f"of byte {byte}", octets, around[-1][0])
        expect("byte told", browser.eval(NUMBER), str(byte))
    browser.eval(SELECTED + ".focus()")
    for key, row in (("Home", 0), ("ArrowDown", 1), ("End", -1), ("ArrowUp", -2), ("Home", 0)):
        browser.call("Input.dispatchKeyEvent", type="rawKeyDown", key=key)
        check_marked(f"after {key}", octets, rows[row][0])
    browser.eval("document.querySelector('pre').focus()")
    browser.call("Input.dispatchKeyEvent", type="rawKeyDown", key="ArrowRight")
    expect("byte after ArrowRight", browser.eval(NUMBER), "1")
    return rows


def check_quiet():
    """Nothing was fetched, said or run, and the page's policy lets nothing else in."""
    expect("fetched", browser.asked, [PAGE.as_uri()])
    expect("said", browser.said, [])
    expect("let in", browser.eval("""(async () => { const script = document.createElement('script');
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
    browser.show("inspect", "--html", path, path)
    browser.eval("document.querySelectorAll('details').forEach(each => each.open = true)")
    browser.eval(ROWS + ".forEach(each => each.focus())")
    expect("elements made of names", browser.eval("document.querySelectorAll("
           "'img, script:not(:last-child), [onmouseover], svg:not(.bar)').length"), 0)
    text = browser.eval("document.body.textContent")
    for part in ("<script>hacked=1</script>", "]]>-->\\x00</style>", "\\u{202e}\\u{2028}\\u{2066}",
                 "\\xff\\xfe&lt;", path.name):
        expect(f"{part} shown", part in text, True)
    check_quiet()


browser = Browser()
rich, refused = examples / "v3-rich.der", examples / "refused-sha256.der"
expect("below 100 KB", browser.show("inspect", "--html", rich) < 100_000, True)
tree = json.loads(subprocess.check_output([kwpki, "inspect", "--json", "--tree", rich]))["tree"]
expect("elements", check_marking(rich.read_bytes()),
       [[each["offset"], each["header_length"], each["length"], each["depth"]] for each in tree])
check_quiet()
browser.show("inspect", "--html", "--profile", "classic", refused, status=1)
expect("refused", "refused: signature" in browser.eval(SELECTED + ".textContent"), True)
check_hostile()
message = bytes.fromhex("00000001 00000007 00000004 000003e7 00000000 00000002 ff")
(work / "request").write_bytes(message)
browser.show("message", "decode", "--html", work / "request", status=1)
check_marking(message)
check_quiet()
browser.call("Browser.close")
print("\n".join(faults))
sys.exit(bool(faults))
