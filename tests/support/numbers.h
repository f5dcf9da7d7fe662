// Bytes and numbers to calculate with: from hexadecimal text, and at random, also of the words
// that make carries, borrows and wrong estimates.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "support/der.h"
#include "support/hex.h"
#include "util/mp_int.h"
#include "util/owner.h"

namespace numbers {

using Octets = std::vector<uint8_t>;

inline SshMpInt number(Bytes octets, bool negative = false) {
  SshMpInt value;
  value.set_magnitude(octets, negative);
  return value;
}

// number reads pairs of hexadecimal digits after an optional minus.
inline SshMpInt number(std::string_view text) { return number(unhex(text), text.starts_with('-')); }

inline std::string text(const SshMpInt &value) {
  return (value.negative() ? "-" : "") + hex(value.magnitude());
}

inline std::string decimal(const SshMpInt &value) { return SshText(value.to_decimal()).get(); }

// ones is 2^bits - 1.
inline SshMpInt ones(size_t bits) {
  SshMpInt value = number(Octets((bits + 7) / 8, 0xFF));
  while (value.bits() > bits) value.halve();
  return value;
}

using der::join;

// padded gives a number as `length` bytes, or as many as it has.
inline Octets padded(const SshMpInt &value, size_t length) {
  const Octets octets(value.magnitude().begin(), value.magnitude().end());
  return join({Octets(length - std::min(length, octets.size())), octets});
}

inline Octets random_octets(std::mt19937 &random, size_t length) {
  Octets octets(length);
  for (uint8_t &octet : octets) octet = static_cast<uint8_t>(random());
  return octets;
}

// random_words is of exactly `length` bytes: now and then all alike, often words of few values.
inline Octets random_words(std::mt19937 &random, size_t length) {
  constexpr uint32_t kWords[] = {0,          0,          1,          0x7FFFFFFF,
                                 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF, 0xFFFFFFFF};
  Octets octets(length);
  const unsigned shape = static_cast<unsigned>(random() % 8);
  uint32_t word = 0;
  for (size_t i = 0; i < length; ++i) {
    if ((length - i) % 4 == 0 || i == 0) word = shape < 4 ? kWords[random() % 8] : random() & ~0u;
    octets[i] = static_cast<uint8_t>(shape == 7 ? 0xFF : word >> 8 * ((length - i - 1) % 4));
  }
  return octets;
}

// random_number has up to `most` bytes and, if asked for, any sign.
inline SshMpInt random_number(std::mt19937 &random, size_t most, bool any_sign = true) {
  const Octets octets = random_words(random, random() % (most + 1));
  return number(octets, any_sign && random() % 2 == 0);
}

}  // namespace numbers
