// Object identifiers as their tests see them: octets to text and back, and random ones.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "asn1/oid.h"
#include "support/hex.h"
#include "util/owner.h"

namespace oid {

struct Random : std::mt19937 {
  using std::mt19937::mt19937;
  uint32_t operator()() { return static_cast<uint32_t>(std::mt19937::operator()()); }
};

inline std::string text_of(Bytes octets) {
  const std::vector<uint8_t> exact(octets.begin(), octets.end());
  const SshText text(ssh_ber_oid_text({exact}));
  EXPECT_EQ(ssh_ber_oid_is_valid(exact), text != nullptr);
  return text ? text.get() : "null";
}

inline std::vector<uint8_t> octets_of(const std::string &text) {
  std::vector<uint8_t> out(SSH_OID_ENCODED_MAX(text.size()));
  out.resize(ssh_ber_oid_from_text(text.c_str(), out.data()));
  return out;
}

}  // namespace oid
