// Integers to test with: at random around the inline size, and their text.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "support/hex.h"
#include "util/mp_int.h"
#include "util/owner.h"

namespace mp_int {

inline std::string decimal(const SshMpInt &value) { return SshText(value.to_decimal()).get(); }

inline std::vector<uint8_t> twos_complement(const SshMpInt &value) {
  std::vector<uint8_t> content(value.twos_complement_length());
  value.write_twos_complement(content.data());
  return content;
}

}  // namespace mp_int
