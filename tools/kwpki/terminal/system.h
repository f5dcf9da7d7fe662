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

// open_missing_files takes the places of standard streams that are closed, so that using them is an
// error. Otherwise the next file that is opened would get such a place and be read as standard
// input, or be overwritten as standard output.
void open_missing_files();

// parse_ip gives the 4 or 16 bytes of an address in its usual form, and how many they are; 0 if it
// is none.
size_t parse_ip(const std::string &text, uint8_t (&octets)[16]);

// stores_are_files is true where the certificate service comes with the tool and keeps its store in
// a file. Elsewhere the host's agent has the store, and decides what a name of one means.
bool stores_are_files();

// use_octets makes a standard stream pass on every byte as it is.
void use_octets(std::FILE *file);

}  // namespace kwpki
