// Messages from JSON to bytes: the inverse of decode.h, with defaults for what is not given. The
// tables of schema.cc have the fields and their defaults; a new field is a row there.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kwpki/values/values.h"

namespace kwpki {

// MessageError says what is wrong with which member of the JSON.
struct MessageError : std::runtime_error {
  MessageError(const std::string &path, const std::string &text)
      : std::runtime_error((path.empty() ? "document" : path) + ": " + text) {}
};

// parse_message_json reads JSON text that may be a message: not nested deeper than one, and without
// members given twice. It throws MessageError.
Json parse_message_json(std::string_view text);

// encode_message makes the message; it throws MessageError.
std::vector<uint8_t> encode_message(const Json &document);

// parse_hex reads hexadecimal digits, with blanks and line ends between bytes; nothing if it is
// anything else.
std::optional<std::vector<uint8_t>> parse_hex(std::string_view text);

}  // namespace kwpki
