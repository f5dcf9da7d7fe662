// Hexadecimal text for tests: octets in, octets out.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "util/bytes.h"

// unhex reads hexadecimal digits and ignores blanks; an odd digit at the end is dropped.
inline std::vector<uint8_t> unhex(std::string_view text) {
  std::vector<uint8_t> octets;
  int high = -1;
  for (const char c : text) {
    const int digit = c >= '0' && c <= '9'   ? c - '0'
                      : c >= 'a' && c <= 'f' ? c - 'a' + 10
                      : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                             : -1;
    if (digit < 0) continue;
    if (high < 0) {
      high = digit;
      continue;
    }
    octets.push_back(static_cast<uint8_t>(high * 16 + digit));
    high = -1;
  }
  return octets;
}

// hex writes octets as lower-case digits without blanks.
inline std::string hex(Bytes octets) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t octet : octets) {
    text += kDigits[octet >> 4];
    text += kDigits[octet & 15];
  }
  return text;
}
