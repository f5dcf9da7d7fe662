// `kwpki inspect`: shows certificates and CRLs, and the elements of what the library refuses.
// Options are parsed in commands/inspect_command.cc; input/input.h finds what to read;
// values/describe.h and values/tree.h make JSON of it, and the other files of this folder text and
// pages. A further view is an option here and a branch in show_certificate, show_crl and
// show_refused.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kwpki/terminal/exit.h"
#include "kwpki/terminal/output.h"
#include "util/mp_int.h"

namespace kwpki {

constexpr size_t kAll = SIZE_MAX;

struct InspectOptions {
  std::vector<std::string> files;  // none: standard input
  bool json = false;
  bool tree = false;
  bool full = false;  // every field, not only the short view
  bool html = false;  // a page for browsers
  bool pem = false;   // the certificates and CRLs themselves
  size_t entries = 10;
  bool entries_given = false;  // without it, JSON has every entry
  size_t tree_lines = 1000;
  std::optional<uint32_t> expires;  // days: what ends within them is marked, and is status 1
  std::optional<SshMpInt> find;     // a serial number to look for in CRLs
};

// inspect shows everything and returns the exit code. Output that nobody reads any more ends it
// quietly.
int inspect(const InspectOptions &options, const Streams &streams);

}  // namespace kwpki
