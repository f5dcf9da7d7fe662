// Hexadecimal text for tests: bytes in, bytes out.
#pragma once

#include <cctype>
#include <string>
#include <string_view>
#include <vector>

#include "util/bytes.h"

// unhex reads hexadecimal digits and ignores blanks; an odd digit at the end is dropped.
inline std::vector<uint8_t> unhex(std::string_view text) {
  std::string digits(text);
  std::erase_if(digits, [](unsigned char c) { return !std::isxdigit(c); });
  std::vector<uint8_t> octets;
  for (size_t at = 0; at + 1 < digits.size(); at += 2)
    octets.push_back(static_cast<uint8_t>(std::stoul(digits.substr(at, 2), nullptr, 16)));
  return octets;
}

// hex writes bytes as lower-case digits without blanks.
inline std::string hex(Bytes octets) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t octet : octets) text += {kDigits[octet >> 4], kDigits[octet & 15]};
  return text;
}
