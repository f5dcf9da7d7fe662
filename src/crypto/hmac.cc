#include "crypto/hmac.h"

#include <algorithm>

#include "util/mem.h"

// HMAC (RFC 2104) of a key and data is hash(outer key, hash(inner key, data)), where both keys are
// one block of the hash long: the key with zeros behind it, each byte changed by a constant. The
// two hashes are begun with their keys in ssh_hmac_init, and the key itself is not kept.
namespace {

// start feeds a hash the key's bytes, each changed by `mask`.
void start(SshHash *hash, const uint8_t *key, size_t length, uint8_t mask) {
  uint8_t block[SSH_HASH_BLOCK_MAX];
  std::transform(key, key + length, block,
                 [mask](uint8_t octet) { return static_cast<uint8_t>(octet ^ mask); });
  ssh_hash_update(hash, {block, length});
  ssh_wipe(block, sizeof block);
}

}  // namespace

SshHmac::~SshHmac() {
  ssh_wipe(&inner, sizeof inner);
  ssh_wipe(&outer, sizeof outer);
}

bool ssh_hmac_init(SshHmac *hmac, const char *hash_name, Bytes key) {
  ssh_wipe(&hmac->inner, sizeof hmac->inner);
  ssh_wipe(&hmac->outer, sizeof hmac->outer);
  if (!ssh_hash_init(&hmac->inner, hash_name)) return false;
  hmac->outer = hmac->inner;
  const size_t length = ssh_hash_block_length(&hmac->inner);
  uint8_t block[SSH_HASH_BLOCK_MAX] = {};
  if (key.size() > length) {  // its digest stands in for it
    SshHash hash = hmac->inner;
    ssh_hash_update(&hash, key);
    ssh_hash_final(&hash, block);
    ssh_wipe(&hash, sizeof hash);
  } else {
    std::copy(key.begin(), key.end(), block);
  }
  start(&hmac->inner, block, length, 0x36);
  start(&hmac->outer, block, length, 0x5C);
  ssh_wipe(block, sizeof block);
  return true;
}

void ssh_hmac_update(SshHmac *hmac, Bytes data) { ssh_hash_update(&hmac->inner, data); }

void ssh_hmac_final(SshHmac *hmac, uint8_t *out) {
  uint8_t digest[SSH_HASH_DIGEST_MAX];
  const size_t length = ssh_hash_digest_length(&hmac->inner);
  ssh_hash_final(&hmac->inner, digest);
  ssh_hash_update(&hmac->outer, {digest, length});
  ssh_hash_final(&hmac->outer, out);
  ssh_wipe(digest, sizeof digest);
  ssh_wipe(&hmac->inner, sizeof hmac->inner);
  ssh_wipe(&hmac->outer, sizeof hmac->outer);
}
