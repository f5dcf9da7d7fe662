// SHA-1 against OpenSSL's running one, whose count can be set.
#include "crypto/hash.h"

#define OPENSSL_SUPPRESS_DEPRECATED
#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <vector>

#include "support/hex.h"

// The length field passes 32 bits: set the count as if 2^29 octets had been fed before.
TEST(Hash, Sha1OfMoreThanFourGigabits) {
  const std::vector<uint8_t> data(64, 0x5A);
  SshHash hash;
  ASSERT_TRUE(ssh_hash_init(&hash, "sha1"));
  ssh_hash_update(&hash, data);
  SHA_CTX openssl;
  SHA1_Init(&openssl);
  SHA1_Update(&openssl, data.data(), data.size());
  hash.length += uint64_t{1} << 29;
  openssl.Nh += 1;
  uint8_t want[SHA_DIGEST_LENGTH], got[SHA_DIGEST_LENGTH];
  SHA1_Final(want, &openssl);
  ssh_hash_final(&hash, got);
  EXPECT_EQ(hex(got), hex(want));
}
