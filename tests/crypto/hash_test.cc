// Hashes against another implementation: every length around the block bounds, fed in every kind of pieces.
#include "crypto/hash.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/hex.h"
#include "support/peer.h"

namespace {

std::string final_hex(SshHash &hash) {
  std::vector<uint8_t> digest(ssh_hash_digest_length(&hash));
  ssh_hash_final(&hash, digest.data());
  return hex(digest);
}

std::vector<uint8_t> random_octets(std::mt19937 &random, size_t size) {
  std::vector<uint8_t> octets(size);
  for (uint8_t &octet : octets) octet = static_cast<uint8_t>(random());
  return octets;
}

}  // namespace

TEST(Hash, KnownNamesAlone) {
  SshHash hash;
  for (const char *name : {"", "SHA1", "sha", "sha1 ", "md5"})
    EXPECT_FALSE(ssh_hash_init(&hash, name));
  EXPECT_TRUE(ssh_hash_init(&hash, "sha1"));
  EXPECT_EQ(ssh_hash_digest_length(&hash), 20u);
}

TEST(Hash, Sha1AgreesAtEveryLengthAndSplit) {
  std::mt19937 random(5);
  for (size_t size = 0; size <= 300; ++size) {
    const std::vector<uint8_t> data = random_octets(random, size);
    const std::string want = peer_sha1(data);
    const size_t step = 1 + size / 16;
    for (size_t split = 0; split <= size; split += step) {
      SshHash hash;
      ASSERT_TRUE(ssh_hash_init(&hash, "sha1"));
      ssh_hash_update(&hash, Bytes(data).first(split));
      ssh_hash_update(&hash, {});
      ssh_hash_update(&hash, Bytes(data).subspan(split));
      ASSERT_EQ(final_hex(hash), want) << size << " split at " << split;
    }
  }
}

TEST(Hash, Sha1OfManyPieces) {
  std::mt19937 random(6);
  const std::vector<uint8_t> data = random_octets(random, 1 << 20);
  SshHash hash;
  ASSERT_TRUE(ssh_hash_init(&hash, "sha1"));
  for (size_t at = 0; at < data.size();) {
    const size_t piece = std::min<size_t>(random() % 200, data.size() - at);
    ssh_hash_update(&hash, Bytes(data).subspan(at, piece));
    at += piece;
  }
  EXPECT_EQ(final_hex(hash), peer_sha1(data));
}
