// Object identifiers as their tests see them: octets to text and back.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "asn1/oid.h"
#include "support/hex.h"
#include "util/owner.h"

namespace oid {

inline std::string text_of(Bytes octets, bool standard = false) {
  const std::vector<uint8_t> exact(octets.begin(), octets.end());
  const SshText text(ssh_ber_oid_text({exact}, standard));
  EXPECT_EQ(ssh_ber_oid_is_valid(exact), text != nullptr);
  return text ? text.get() : "null";
}

inline std::string octets_of(const std::string &text, bool standard = false) {
  std::vector<uint8_t> out(SSH_OID_ENCODED_MAX(text.size()));
  return hex({out.data(), ssh_ber_oid_from_text(text.c_str(), out.data(), standard)});
}

// arcs_of gives the text of the arcs that are read from text.
inline std::string arcs_of(const std::string &text) {
  size_t count = 0;
  uint32_t *arcs = ssh_ber_oid_string_to_arcs(text.c_str(), &count);
  if (!arcs) return "null";
  const SshText joined(ssh_ber_arcs_to_oid_string(arcs, count));
  ssh_xfree(arcs);
  return joined.get();
}

}  // namespace oid
