// What the operating system does for the tool, each system in its own way: system_posix.cc and
// system_win32.cc. Another such function is declared here and needed in both.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace kwpki {

// is_terminal tells whether a file is a terminal that understands escape sequences.
bool is_terminal(std::FILE *file);

// open_missing_files makes standard streams that are closed fail. Otherwise the next file that is
// opened would take their place, and be read or overwritten for them.
void open_missing_files();

// parse_ip gives the 4 or 16 bytes of an address in its usual form, and how many they are; 0 if it
// is none.
size_t parse_ip(const std::string &text, uint8_t (&octets)[16]);

// stores_are_files is true where the certificate service comes with the tool. Elsewhere the host's
// agent knows which store it has, and what another one is called.
bool stores_are_files();

// use_octets makes a standard stream pass on every byte as it is.
void use_octets(std::FILE *file);

}  // namespace kwpki
