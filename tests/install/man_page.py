"""man_page.py PREFIX: kwpki(1) tells of each command its long options, those that --help tells of
and no others, and man shows it without a warning."""
import pathlib
import re
import shutil
import subprocess
import sys

prefix = pathlib.Path(sys.argv[1])
source = prefix / "share/man/man1/kwpki.1"
LONG = re.compile(r"--[a-z][a-z-]*")


def told_by_help(path):
    """Gives {command: options} for a command and those below it."""
    text = subprocess.run([prefix / "bin/kwpki", *path, "--help"], check=True, text=True,
                          capture_output=True).stdout
    options = set(re.findall(r"^  (?:-\w,)?(--[a-z][a-z-]*)", text, re.M)) - {"--help"}
    below = re.search(r"^Subcommands:\n((?:  .*\n)+)", text, re.M)
    told = {} if below and not options else {" ".join(["kwpki", *path]): options}
    for name in re.findall(r"^  (\S+)", below[1] if below else "", re.M):
        told |= told_by_help([*path, name])
    return told


text = re.sub(r"\\f(\[\w*\]|\w)", "", source.read_text()).replace(r"\-", "-")
parts = re.split(r'^\.S[HS] "?(.*?)"?$', text, flags=re.M)
page = dict(zip(parts[1::2], parts[2::2]))
told = told_by_help([])
page["kwpki"] = " ".join(told["kwpki"])  # the synopsis has them
faults = [f"{command}: has no section" for command in told if command not in page]
for command, options in told.items():
    written = set(LONG.findall(page.get(command, "")))
    above = told.get(command.rpartition(" ")[0], set())
    faults += [f"{command} {name}: not in the page" for name in options - written]
    faults += [f"{command} {name}: not in --help" for name in written - options - above]
if shutil.which("man"):
    shown = subprocess.run(["man", "--warnings", "-l", source], text=True, capture_output=True,
                           env={"PATH": "/usr/bin:/bin", "MANWIDTH": "80", "LC_ALL": "C.UTF-8"})
    faults += shown.stderr.splitlines()
print("\n".join(faults))
sys.exit(bool(faults))
