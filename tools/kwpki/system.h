// What the operating system does for the tool, each system in its own way: system_posix.cc and
// system_win32.cc. Another such function is declared here and needed in both.
#pragma once

#include <array>
#include <cstdio>
#include <optional>

#include "util/bytes.h"

namespace kwpki {

// is_terminal tells whether a file is a terminal that understands escape sequences.
bool is_terminal(std::FILE *file);

// open_missing_files makes standard streams that are closed fail. Otherwise the next file that is
// opened would take their place, and be read or overwritten for them.
void open_missing_files();

// use_octets makes a standard stream pass on every octet as it is.
void use_octets(std::FILE *file);

// sha256 gives the SHA-256 digest, which is no business of the library's; nothing if the system has
// none to offer.
std::optional<std::array<uint8_t, 32>> sha256(Bytes octets);

}  // namespace kwpki
