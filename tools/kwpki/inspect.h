// `kwpki inspect`: shows certificates and CRLs, and what the library refuses as a tree of elements.
// Options are parsed in inspect_command.cc; input.h finds what to read, describe.h and tree.h say
// what to show.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kwpki/commands.h"
#include "kwpki/output.h"

namespace kwpki {

constexpr size_t kAll = SIZE_MAX;

struct InspectOptions {
  std::vector<std::string> files;  // none: standard input
  bool json = false;
  bool tree = false;
  bool color = false;
  size_t entries = 10;
  bool entries_given = false;  // without it, JSON has every entry
  size_t tree_lines = 1000;
};

// inspect shows everything and returns the exit code. Output that nobody reads any more ends it
// quietly.
int inspect(const InspectOptions &options, const Streams &streams);

}  // namespace kwpki
