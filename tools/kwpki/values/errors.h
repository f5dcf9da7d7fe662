// The codes that the library returns and the statuses of messages: what they mean and what usually
// causes them. The codes of the interface are rows of include/kwpki_errors.h, others of the tables
// in errors.cc.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "kwpki/terminal/output.h"

namespace kwpki {

struct ErrorRow {
  uint32_t code;
  std::string_view name;
  std::string_view meaning;
  std::string_view cause;
};

// error_rows gives the whole table; find_error the row of a code, or null.
std::span<const ErrorRow> error_rows();
const ErrorRow *find_error(uint32_t code);

struct ErrorOptions {
  std::string code;  // decimal, hexadecimal with 0x, or a name; empty: list all
  bool json = false;
};

// show_error is `kwpki error` and returns the exit code.
int show_error(const ErrorOptions &options, const Streams &streams);

}  // namespace kwpki
