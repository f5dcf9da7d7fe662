// Digests to compare with, which are the library's own: the tests of the hashes
// hold those against OpenSSL.
#pragma once

#include <string>

#include "crypto/hash.h"
#include "support/hex.h"

// peer_digest gives a digest as hexadecimal digits.
inline std::string peer_digest(const char *name, Bytes octets) {
  uint8_t digest[SSH_HASH_DIGEST_MAX];
  return hex({digest, ssh_hash_digest(name, octets, digest)});
}
inline std::string peer_sha256(Bytes octets) { return peer_digest("sha256", octets); }
