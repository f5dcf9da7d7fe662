// Hashes and HMAC against OpenSSL: random octets in random pieces, and counts past what fits in a word.
#include "crypto/hash.h"

#define OPENSSL_SUPPRESS_DEPRECATED
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/md5.h>
#include <openssl/sha.h>

#include <random>
#include <vector>

#include "crypto/hmac.h"
#include "support/hex.h"

namespace {

constexpr const char *kNames[] = {"md5", "sha1", "sha224", "sha256", "sha384", "sha512"};

std::vector<uint8_t> random_octets(std::mt19937 &random, size_t size) {
  std::vector<uint8_t> octets(size);
  for (uint8_t &octet : octets) octet = static_cast<uint8_t>(random());
  return octets;
}

template <class Update>
void feed(std::mt19937 &random, Bytes data, Update update) {
  while (!data.empty()) {
    const Bytes piece = data.first(std::min<size_t>(random() % 400, data.size()));
    update(piece);
    data = data.subspan(piece.size());
  }
}

// The length field passes 32 or 64 bits: both counts are set as if `before` octets had been fed.
template <class Context>
void expect_same_behind(const char *name, uint64_t before, auto start, auto update, auto final) {
  const std::vector<uint8_t> data(64, 0x5A);
  SshHash hash;
  ASSERT_TRUE(ssh_hash_init(&hash, name));
  ssh_hash_update(&hash, data);
  Context openssl;
  start(&openssl);
  update(&openssl, data.data(), data.size());
  hash.length += before;
  openssl.Nh += 1;
  uint8_t want[SSH_HASH_DIGEST_MAX] = {}, got[SSH_HASH_DIGEST_MAX] = {};
  final(want, &openssl);
  ssh_hash_final(&hash, got);
  EXPECT_EQ(hex(got), hex(want)) << name;
}

}  // namespace

TEST(Hash, RandomOctetsInRandomPieces) {
  std::mt19937 random(6);
  for (int i = 0; i < 3000; ++i) {
    const char *name = kNames[random() % std::size(kNames)];
    const EVP_MD *openssl = EVP_get_digestbyname(name);
    const std::vector<uint8_t> data = random_octets(random, random() % (i % 100 ? 2000 : 200000));
    uint8_t want[EVP_MAX_MD_SIZE] = {}, got[EVP_MAX_MD_SIZE] = {};
    ASSERT_EQ(EVP_Digest(data.data(), data.size(), want, nullptr, openssl, nullptr), 1);
    SshHash hash;
    ASSERT_TRUE(ssh_hash_init(&hash, name));
    feed(random, data, [&](Bytes piece) { ssh_hash_update(&hash, piece); });
    ssh_hash_final(&hash, got);
    ASSERT_EQ(hex(got), hex(want)) << name << " of " << data.size();

    const std::vector<uint8_t> key = random_octets(random, random() % 300);
    ASSERT_TRUE(HMAC(openssl, key.data(), static_cast<int>(key.size()), data.data(), data.size(),
                     want, nullptr));
    SshHmac hmac;
    ASSERT_TRUE(ssh_hmac_init(&hmac, name, key));
    feed(random, data, [&](Bytes piece) { ssh_hmac_update(&hmac, piece); });
    ssh_hmac_final(&hmac, got);
    ASSERT_EQ(hex(got), hex(want)) << name << " with a key of " << key.size();
  }
}

TEST(Hash, LengthsPastOneWord) {
  constexpr uint64_t kBits32 = uint64_t{1} << 29, kBits64 = uint64_t{1} << 61;
  expect_same_behind<MD5_CTX>("md5", kBits32, MD5_Init, MD5_Update, MD5_Final);
  expect_same_behind<SHA_CTX>("sha1", kBits32, SHA1_Init, SHA1_Update, SHA1_Final);
  expect_same_behind<SHA256_CTX>("sha256", kBits32, SHA256_Init, SHA256_Update, SHA256_Final);
  expect_same_behind<SHA512_CTX>("sha384", kBits64, SHA384_Init, SHA384_Update, SHA384_Final);
  expect_same_behind<SHA512_CTX>("sha512", kBits64, SHA512_Init, SHA512_Update, SHA512_Final);
}
