// Hexadecimal text for tests: bytes in, bytes out.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "util/bytes.h"

// unhex reads hexadecimal digits and ignores blanks; an odd digit at the end is dropped.
inline std::vector<uint8_t> unhex(std::string_view text) {
  std::vector<uint8_t> octets;
  bool half = false;
  size_t value = 0;
  for (const char c : text) {
    const size_t digit = std::string_view("0123456789abcdef0123456789ABCDEF").find(c);
    if (digit == std::string_view::npos) continue;
    value = value << 4 | (digit & 15);
    if ((half = !half)) continue;
    octets.push_back(static_cast<uint8_t>(value));
  }
  return octets;
}

// hex writes bytes as lower-case digits without blanks.
inline std::string hex(Bytes octets) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t octet : octets) {
    text += kDigits[octet >> 4];
    text += kDigits[octet & 15];
  }
  return text;
}
