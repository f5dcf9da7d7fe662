// Hash functions by name, fed piece by piece: behind search keys, signatures, HMAC and noise.
// A further algorithm is a file with its row (hash_rows.h) and an entry of the table in hash.cc;
// the context is sized for the largest one.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SSH_HASH_DIGEST_MAX is the largest digest of any algorithm here, in bytes.
constexpr size_t SSH_HASH_DIGEST_MAX = 64;

// SSH_HASH_BLOCK_MAX is the largest block that any algorithm works on at a time, in bytes.
constexpr size_t SSH_HASH_BLOCK_MAX = 128;

struct SshHashAlgorithm;

// SshHash is one running computation. It holds no memory of its own, so nothing has to be freed. A
// caller who hashes a secret wipes it afterwards (ssh_wipe): it keeps bytes of what it was fed.
struct SshHash {
  const SshHashAlgorithm *algorithm = nullptr;
  uint64_t length = 0;                     // bytes fed so far
  uint64_t state[8] = {};                  // one word each, of 32 or 64 bits
  uint8_t block[SSH_HASH_BLOCK_MAX] = {};  // the bytes not yet worked on
};

// ssh_hash_init starts a computation; false if no algorithm has that name: there are "md5" (RFC
// 1321), "sha1", "sha224", "sha256", "sha384" and "sha512" (FIPS 180-4). MD5 and SHA-1 are for old
// signatures and for identifiers: collisions can be made at will, so they prove nothing new.
[[nodiscard]] bool ssh_hash_init(SshHash *hash, const char *name);

// ssh_hash_start does the same for an algorithm at hand.
void ssh_hash_start(SshHash *hash, const SshHashAlgorithm &algorithm);

// ssh_hash_update feeds bytes; any split into pieces gives the same digest.
void ssh_hash_update(SshHash *hash, Bytes data);

// ssh_hash_digest_length tells how many bytes the digest has.
[[nodiscard]] size_t ssh_hash_digest_length(const SshHash *hash);

// ssh_hash_block_length tells how many bytes the algorithm works on at a time.
[[nodiscard]] size_t ssh_hash_block_length(const SshHash *hash);

// ssh_hash_final writes the digest. The computation must be started anew before its next use.
void ssh_hash_final(SshHash *hash, uint8_t *digest);

// ssh_hash_digest hashes data that is all at hand, and returns the length of the digest; 0, with
// nothing written, if no algorithm has that name.
[[nodiscard]] size_t ssh_hash_digest(const char *name, Bytes data, uint8_t *digest);

// ssh_hash_digest_info gives the DER of a DigestInfo with this algorithm up to where the bytes of
// the digest follow (RFC 8017 9.2, note 1).
[[nodiscard]] Bytes ssh_hash_digest_info(const SshHashAlgorithm &algorithm);
