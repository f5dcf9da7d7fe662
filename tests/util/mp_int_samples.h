// Integers to test with: from hexadecimal digits, at random around the inline size, and their text.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "support/hex.h"
#include "util/mp_int.h"
#include "util/owner.h"

namespace mp_int {

inline std::string decimal(const SshMpInt &value) { return SshText(value.to_decimal()).get(); }

inline SshMpInt from_hex(std::string_view text, bool negative = false) {
  SshMpInt value;
  value.set_magnitude(unhex(text), negative);
  return value;
}

// random_int is of up to `most` octets, often with runs of zeros or ones at its ends.
inline SshMpInt random_int(std::mt19937 &random, size_t most) {
  std::vector<uint8_t> octets(random() % (most + 1));
  const unsigned shape = static_cast<unsigned>(random() % 4);
  for (size_t i = 0; i < octets.size(); ++i) {
    const bool plain = shape == 0 || (shape == 3 ? i > octets.size() / 2 : i < octets.size() / 3);
    octets[i] = static_cast<uint8_t>(plain ? random() : shape == 1 ? 0x00 : 0xFF);
  }
  SshMpInt value;
  value.set_magnitude(octets, random() % 2 == 0);
  return value;
}

}  // namespace mp_int
