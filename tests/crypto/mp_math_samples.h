// Numbers to calculate with: from signed hexadecimal text, and at random of the words that make
// carries, borrows and wrong estimates.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "support/hex.h"
#include "util/mp_int.h"

namespace mp_math {

// number reads hexadecimal digits, blanks between them allowed, of which the first may be alone,
// after an optional minus.
inline SshMpInt number(std::string_view text) {
  const bool negative = text.starts_with('-');
  std::string digits(text.substr(negative ? 1 : 0));
  std::erase(digits, ' ');
  if (digits.size() % 2 != 0) digits.insert(0, 1, '0');
  SshMpInt value;
  value.set_magnitude(unhex(digits), negative);
  return value;
}

inline std::string text(const SshMpInt &value) {
  return (value.negative() ? "-" : "") + hex(value.magnitude());
}

// random_octets is of exactly `length` octets: now and then all alike, often words of few values.
inline std::vector<uint8_t> random_octets(std::mt19937 &random, size_t length) {
  constexpr uint32_t kWords[] = {0,          0,          1,          0x7FFFFFFF,
                                 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF, 0xFFFFFFFF};
  std::vector<uint8_t> octets(length);
  const unsigned shape = static_cast<unsigned>(random() % 8);
  uint32_t word = 0;
  for (size_t i = 0; i < length; ++i) {
    if ((length - i) % 4 == 0 || i == 0) word = shape < 4 ? kWords[random() % 8] : random() & ~0u;
    octets[i] = static_cast<uint8_t>(shape == 7 ? 0xFF : word >> 8 * ((length - i - 1) % 4));
  }
  return octets;
}

// random_number has up to `most` octets and, if asked for, any sign.
inline SshMpInt random_number(std::mt19937 &random, size_t most, bool any_sign = true) {
  SshMpInt value;
  value.set_magnitude(random_octets(random, random() % (most + 1)), any_sign && random() % 2 == 0);
  return value;
}

// random_modulus is odd and above 1.
inline SshMpInt random_modulus(std::mt19937 &random, size_t most) {
  std::vector<uint8_t> octets = random_octets(random, 1 + random() % most);
  octets.back() |= 3;
  SshMpInt value;
  value.set_magnitude(octets);
  return value;
}

}  // namespace mp_math
