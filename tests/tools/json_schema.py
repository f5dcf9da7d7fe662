"""json_schema.py KWPKI SCHEMA CORPUS EXAMPLES: what each command writes with --json over the corpus,
what it refuses included, is what docs/kwpki.schema.json tells, and has no member besides; and keys
of the corpus are shown as independent tools read them."""
import base64
import csv
import functools
import hashlib
import json
import os
import pathlib
import subprocess
import sys
import tempfile

import jsonschema

kwpki, schema_file, corpus, examples = sys.argv[1:]
schema = json.loads(pathlib.Path(schema_file).read_text())
checker = jsonschema.Draft202012Validator
faults = []


def closed(part):
    """Gives a schema as it is today, where later members are not yet there."""
    if isinstance(part, list):
        return [closed(item) for item in part]
    if not isinstance(part, dict):
        return part
    made = {key: closed(value) for key, value in part.items()}
    if "properties" in part and part.get("type") in ("object", ["object", "null"]):
        made["additionalProperties"] = False
    return made


def run(*words):
    done = subprocess.run([kwpki, *words], capture_output=True, text=True)
    if done.returncode > 1:
        faults.append(f"{words}: exit status {done.returncode}: {done.stderr}")
    return done.stdout


def check(name, text, whole=False):
    """Holds each line, or all of a text, against the schema of a command."""
    rules = checker({**closed(schema), "anyOf": [{"$ref": "#/$defs/" + name}]})
    objects = [text] if whole else text.splitlines()
    if not objects:
        faults.append(f"{name}: wrote nothing")
    for line in objects:
        shown = json.loads(line)
        if not whole and not line.isascii():
            faults.append(f"{name}: not in ASCII: {line[:80]}")
        der = base64.b64decode(shown.get("der") or "")
        for kind, digest in shown.get("fingerprints", {}).items():
            if shown.get("accepted") and digest != hashlib.new(kind, der).hexdigest():
                faults.append(f"{name} {shown['file']}: {kind} is {digest}")
        error = jsonschema.exceptions.best_match(rules.iter_errors(shown))
        if error:
            faults.append(f"{name} {shown.get('file', '')}: {list(error.absolute_path)}: "
                          f"{error.message[:300]}")


FACTS = {"bits": "bits", "n": "modulus hex", "e": "public_exponent decimal", "p": "p hex", "q": "q hex",
         "g": "g hex", "y": "y hex", "curve": "curve oid", "point": "public_value"}


def compare_keys(shown):
    """Holds keys of what was accepted against the table of the corpus."""
    with open(pathlib.Path(corpus, "keys.tsv"), newline="") as table:
        for row in csv.DictReader(table, delimiter="\t", quoting=csv.QUOTE_NONE):
            key = shown[row["file"]].get("public_key", {"type": "unknown"})
            for name, _, value in (fact.partition("=") for fact in row["values"].split(";")):
                if name in FACTS and value != "explicit" and key["type"] != "unknown":
                    part = functools.reduce(dict.__getitem__, FACTS[name].split(), key)
                    if str(part).lstrip("0") != value.lstrip("0"):
                        faults.append(f"{row['file']}: {name} is {part!r}, not {value!r}")


checker.check_schema(schema)
paths = [path for path in (corpus, examples) if os.path.isdir(path)]
lines = run("inspect", "--json", *paths)
check("inspect", lines)
if os.path.isdir(corpus):
    compare_keys({os.path.basename(each["file"]): each
                  for each in map(json.loads, lines.splitlines())})
check("inspect", run("inspect", "--json", "--profile", "classic", examples))
check("inspect", run("inspect", "--json", "--tree", "--tree-lines", "3", examples))
check("inspect", run("inspect", "--json", "--find", "2", *paths))
issuers = [word for path in paths for word in ("--issuer", path)]
check("verify", run("verify", "--json", *issuers, *paths))
check("verify", run("verify", "--json", "--chain", "--root", examples, examples))
check("error", run("error", "--json"))

with tempfile.TemporaryDirectory() as work:
    store = ["--json", "--store", work + "/store", "--trace", work + "/trace"]
    check("import", run("add", *store, *paths))
    check("search", run("search", *store))
    check("search", run("search", "--profile", "classic", *store))
    check("search", run("path", *store, "--from", "dns=www.example.com", "--to", "path-length=1"))
    check("ca_names", run("ca-names", *store))
    check("status", run("status", *store))
    check("request", run("request", *store, "--name", "one", examples + "/README.md"))
    check("request", run("request", "remove", *store, "--name", "one"))
    messages = sorted(os.listdir(work + "/trace"))
    for name in messages[:4] + messages[-16:]:
        whole = pathlib.Path(work, "trace", name).read_bytes()[:100000]
        for size in {len(whole), len(whole) // 2, 30, 7}:
            pathlib.Path(work, "cut").write_bytes(whole[:size])
            check("message", run("message", "decode", "--json", work + "/cut"), whole=True)

print("\n".join(faults[:40]))
sys.exit(bool(faults))
