// Digests to compare with, which are the library's own: the tests of the hashes
// hold those against OpenSSL.
#pragma once

#include <gtest/gtest.h>

#include <string>

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
