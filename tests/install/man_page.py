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
faults = []


def told_by_help(path):
    """Gives {command: options} for a command and those below it."""
    text = subprocess.run([prefix / "bin/kwpki", *path, "--help"], check=True, text=True,
                          capture_output=True).stdout
    options = set(re.findall(r"^  (?:-\w,)?(--[a-z][a-z-]*)", text, re.M))
    below = re.search(r"^Subcommands:\n((?:  .*\n)+)", text, re.M)
    told = {" ".join(["kwpki", *path]): options - {"--help"}}
    for name in re.findall(r"^  (\S+)", below[1] if below else "", re.M):
        told |= told_by_help([*path, name])
    return told


def sections(roff):
    """Gives {title: text} of the page, without its markup."""
    text = re.sub(r"\\f(\[\w*\]|\w)", "", roff).replace(r"\-", "-")
    parts = re.split(r"^\.S[HS] (.*)$", text, flags=re.M)
    return {title.strip('"'): body for title, body in zip(parts[1::2], parts[2::2])}


told, page = told_by_help([]), sections(source.read_text())
groups = {command.rpartition(" ")[0] for command in told}  # they only have commands below them
for command, options in told.items():
    above = told.get(command.rpartition(" ")[0], set())
    if command in page:
        written = set(LONG.findall(page[command]))
        faults += [f"{command} {name}: not in the page" for name in options - written]
        faults += [f"{command} {name}: not in --help" for name in written - options - above]
    elif options or command not in groups:
        if not (command == "kwpki" and options <= set(LONG.findall(page["SYNOPSIS"]))):
            faults.append(f"{command}: has no section")
faults += [f"{title}: is no command" for title in page
           if title.startswith("kwpki ") and title not in told]
known = set().union(*told.values(), {"--help"})
faults += [f"{name} in {title}: is no option" for title, body in page.items()
           for name in LONG.findall(body) if name not in known]
if shutil.which("man"):
    shown = subprocess.run(["man", "--warnings", "-l", source], text=True, capture_output=True,
                           env={"PATH": "/usr/bin:/bin", "MANWIDTH": "80", "LC_ALL": "C.UTF-8"})
    faults += shown.stderr.splitlines()

print("\n".join(faults))
sys.exit(bool(faults))
