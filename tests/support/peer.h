// Digests and base64 to compare with. The digests are the library's own: the tests of the hashes
// hold those against OpenSSL.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "crypto/hash.h"
#include "support/hex.h"

// peer_digest gives a digest as hexadecimal digits.
inline std::string peer_digest(const char *name, Bytes octets) {
  SshHash hash;
  EXPECT_TRUE(ssh_hash_init(&hash, name));
  ssh_hash_update(&hash, octets);
  std::vector<uint8_t> digest(ssh_hash_digest_length(&hash));
  ssh_hash_final(&hash, digest.data());
  return hex(digest);
}
inline std::string peer_sha256(Bytes octets) { return peer_digest("sha256", octets); }

// peer_base64 encodes octets on one line.
inline std::string peer_base64(std::string_view octets) {
  std::string text;
  for (size_t i = 0; i < octets.size(); i += 3) {
    uint32_t bits = 0;
    for (size_t j = i; j < i + 3; ++j)
      bits = bits << 8 | (j < octets.size() ? static_cast<uint8_t>(octets[j]) : 0);
    for (size_t j = 0; j < 4; ++j, bits <<= 6) {
      text +=
          i + j > octets.size()
              ? '='
              : "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[bits >> 18 & 63];
    }
  }
  return text;
}
