// Text for people and for JSON: what comes from data or file names is made harmless here and
// nowhere else. Code points that a terminal acts upon or hides are rows of the table in text.cc.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "util/bytes.h"

namespace kwpki {

// escape makes text fit for a terminal: bytes that are not UTF-8, control characters, and
// characters that hide or reorder others become \xNN or \u{NNNN}. Everything else, backslashes
// included, stays.
std::string escape(std::string_view text);

// is_utf8 is true for well-formed UTF-8 (no overlong forms, no surrogates). as_utf8 keeps such text
// and writes the stray bytes of any other as \xNN.
bool is_utf8(std::string_view text);
std::string as_utf8(std::string_view text);

// append_utf8 adds a code point; what is none becomes U+FFFD.
void append_utf8(std::string &out, uint32_t code);

// hex writes bytes as lower-case digits.
std::string hex(Bytes octets);

// base64 writes bytes without line ends, append_base64 behind a text; unbase64 is the inverse, and
// passes over what is no base64. is_base64 is true of text that is nothing but base64 and blanks.
std::string base64(Bytes octets);
void append_base64(std::string &out, Bytes octets);
std::vector<uint8_t> unbase64(std::string_view text);
bool is_base64(std::string_view text);

// pem_text gives bytes as armour with this label: RFC 7468.
std::string pem_text(std::string_view label, Bytes octets);

// take owns the text of a block that the library handed out (null gives empty text).
std::string take(char *block);

// Style knows the colours; every member gives its text unchanged when colours are off.
class Style {
 public:
  explicit Style(bool on) : on_(on) {}
  [[nodiscard]] std::string heading(std::string_view text) const { return paint("1", text); }
  [[nodiscard]] std::string label(std::string_view text) const { return paint("36", text); }
  [[nodiscard]] std::string warning(std::string_view text) const { return paint("1;31", text); }
  [[nodiscard]] std::string faint(std::string_view text) const { return paint("2", text); }

 private:
  [[nodiscard]] std::string paint(std::string_view code, std::string_view text) const;
  bool on_;
};

}  // namespace kwpki
