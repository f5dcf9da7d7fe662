// `kwpki inspect`: shows certificates and CRLs, and what the library refuses as a tree of elements.
// Options are parsed in command_line.cc; input.h finds what to read, describe.h and tree.h say what
// to show.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kwpki/output.h"

namespace kwpki {

// Exit codes. When several apply, the largest wins.
enum : int { kExitOk = 0, kExitRefused = 1, kExitUsage = 2, kExitUnreadable = 3 };

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

// run_command_line is the whole program, for main() and for tests.
int run_command_line(int argc, const char *const *argv, const Streams &streams);

}  // namespace kwpki
