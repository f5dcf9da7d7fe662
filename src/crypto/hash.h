// Hash functions by name, fed piece by piece: the digests behind public-key search keys.
// A further algorithm is a row of the table in hash.cc; the context is sized for the largest one.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SSH_HASH_DIGEST_MAX is the largest digest of any algorithm here, in octets.
constexpr size_t SSH_HASH_DIGEST_MAX = 20;

struct SshHashAlgorithm;

// SshHash is one running computation. It holds no memory of its own, so nothing has to free it.
struct SshHash {
  const SshHashAlgorithm *algorithm = nullptr;
  uint64_t length = 0;  // octets fed so far
  uint32_t state[5] = {};
  uint8_t block[64] = {};  // the octets not yet worked on
};

// ssh_hash_init starts a computation; false if no algorithm has that name ("sha1").
[[nodiscard]] bool ssh_hash_init(SshHash *hash, const char *name);

// ssh_hash_update feeds octets; any split into pieces gives the same digest.
void ssh_hash_update(SshHash *hash, Bytes data);

// ssh_hash_digest_length tells how many octets the digest has.
[[nodiscard]] size_t ssh_hash_digest_length(const SshHash *hash);

// ssh_hash_final writes the digest. The computation must be started anew before its next use.
void ssh_hash_final(SshHash *hash, uint8_t *digest);
