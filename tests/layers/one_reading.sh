#!/bin/sh
# one_reading.sh TOOL REGISTRY.CC: the tool shows records and reads nothing again. Elements are
# opened by --tree alone, where a DER file is told from text, and where a file is called by its name
# that the library does not read. No identifier has a row both in the registry and in the tool's own
# table, where the second would never be found.
grep -nE '_asn1\b|ssh_asn1_|ssh_ber_(open|check|[a-z_]*decode)\(' "$1"/*/*.cc "$1"/*/*.h |
  grep -vE '/(tree|kinds)[.]cc:|/input[.]cc:.*ssh_ber_open|ssh_asn1_status_text' && exit 1
awk '
  match($0, /^ *\{(\.oid = )?"[0-9.]+"/) {
    split($0, part, "\"")
    rows[FILENAME]++
    if (part[2] in first && first[part[2]] != FILENAME) {
      print part[2] " is in " first[part[2]] " and in " FILENAME
      bad = 1
    }
    first[part[2]] = FILENAME
  }
  END {
    if (!rows[ARGV[1]] || !rows[ARGV[2]]) { print "a table without rows"; bad = 1 }
    exit bad
  }' "$2" "$1/values/oid_names.cc"
