// Hashes against the vectors of their standards and another implementation: every length around the block bounds, fed
// in every kind of pieces.
#include "crypto/hash.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "support/hex.h"
#include "support/peer.h"

namespace {

constexpr std::string_view kTwoBlocks = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
constexpr std::string_view kTwoLongBlocks =
    "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopq"
    "rsmnopqrstnopqrstu";
const std::string kMillion(1000000, 'a');

// RFC 1321 A.5 and the examples to FIPS 180.
const struct Vector {
  const char *name;
  std::string_view text;
  const char *digest;
} kVectors[] = {
    {"md5", "", "d41d8cd98f00b204e9800998ecf8427e"},
    {"md5", "a", "0cc175b9c0f1b6a831c399e269772661"},
    {"md5", "abc", "900150983cd24fb0d6963f7d28e17f72"},
    {"md5", "message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
    {"md5", "abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
    {"md5", "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
     "d174ab98d277d9f5a5611c2c9f419d9f"},
    {"md5", "12345678901234567890123456789012345678901234567890123456789012345678901234567890",
     "57edf4a22be3c955ac49da2e2107b67a"},
    {"sha1", "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
    {"sha1", kTwoBlocks, "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
    {"sha1", kMillion, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
    {"sha224", "abc", "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7"},
    {"sha224", kTwoBlocks, "75388b16512776cc5dba5da1fd890150b0c6455cb4f58b1952522525"},
    {"sha224", kMillion, "20794655980c91d8bbb4c1ea97618a4bf03f42581948b2ee4ee7ad67"},
    {"sha256", "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {"sha256", kTwoBlocks, "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
    {"sha256", kMillion, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    {"sha384", "abc",
     "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072b"
     "a1e7cc2358baeca134c825a7"},
    {"sha384", kTwoLongBlocks,
     "09330c33f71147e83d192fc782cd1b4753111b173b3b05d22fa08086e3b0f712fcc7c71a"
     "557e2db966c3e9fa91746039"},
    {"sha384", kMillion,
     "9d0e1809716474cb086e834e310a4a1ced149e9c00f248527972cec5704c2a5b07b8b3dc"
     "38ecc4ebae97ddd87f3d8985"},
    {"sha512", "abc",
     "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a"
     "274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
    {"sha512", kTwoLongBlocks,
     "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018501d289e"
     "4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909"},
    {"sha512", kMillion,
     "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973ebde0ff244"
     "877ea60a4cb0432ce577c31beb009c5c2c49aa2e4eadb217ad8cc09b"},
};

// digest_of feeds the octets in pieces as long as `next` says.
std::string digest_of(const char *name, Bytes data, const std::function<size_t()> &next) {
  SshHash hash;
  if (!ssh_hash_init(&hash, name)) return "no such hash";
  while (!data.empty()) {
    const Bytes piece = data.first(std::min(next(), data.size()));
    ssh_hash_update(&hash, piece);
    data = data.subspan(piece.size());
  }
  std::vector<uint8_t> digest(ssh_hash_digest_length(&hash));
  ssh_hash_final(&hash, digest.data());
  return hex(digest);
}

std::string split_digest(const char *name, Bytes data, size_t split) {
  return digest_of(name, data, [&] { return std::exchange(split, data.size()); });
}

std::vector<uint8_t> random_octets(std::mt19937 &random, size_t size) {
  std::vector<uint8_t> octets(size);
  for (uint8_t &octet : octets) octet = static_cast<uint8_t>(random());
  return octets;
}

}  // namespace

TEST(Hash, KnownNamesAlone) {
  SshHash hash;
  for (const char *name : {"", "SHA1", "sha", "sha1 ", "md4", "sha-256"}) {
    EXPECT_FALSE(ssh_hash_init(&hash, name)) << name;
    EXPECT_TRUE(ssh_hash_digest_info(name).empty()) << name;
  }
}

TEST(Hash, PublishedVectorsAtEverySplit) {
  std::mt19937 random(4);
  for (const Vector &row : kVectors) {
    const Bytes data = ssh_text_bytes(row.text);
    ASSERT_EQ(digest_of(row.name, data, [&] { return data.size(); }), row.digest) << row.name;
    ASSERT_EQ(digest_of(row.name, data, [&] { return random() % 300; }), row.digest) << row.name;
    if (data.size() > 1000) continue;
    for (size_t split = 1; split < data.size(); ++split) {
      ASSERT_EQ(split_digest(row.name, data, split), row.digest) << row.name << " at " << split;
    }
  }
}

TEST(Hash, AgreesAtEveryLengthAndSplit) {
  std::mt19937 random(5);
  for (size_t size = 0; size <= 300; ++size) {
    const std::vector<uint8_t> data = random_octets(random, size);
    const std::string sha1 = peer_sha1(data), sha256 = peer_sha256(data);
    for (size_t split = 0; split <= size; split += 1 + size / 16) {
      ASSERT_EQ(split_digest("sha1", data, split), sha1) << size << " split at " << split;
      ASSERT_EQ(split_digest("sha256", data, split), sha256) << size << " split at " << split;
    }
  }
}

// RFC 8017 9.2, note 1, and the lengths that go with it.
TEST(Hash, DigestInfoAndLengths) {
  const struct {
    const char *name, *info;
    size_t digest, block;
  } rows[] = {
      {"md5", "3020300c06082a864886f70d020505000410", 16, 64},
      {"sha1", "3021300906052b0e03021a05000414", 20, 64},
      {"sha224", "302d300d06096086480165030402040500041c", 28, 64},
      {"sha256", "3031300d060960864801650304020105000420", 32, 64},
      {"sha384", "3041300d060960864801650304020205000430", 48, 128},
      {"sha512", "3051300d060960864801650304020305000440", 64, 128},
  };
  for (const auto &row : rows) {
    SshHash hash;
    ASSERT_TRUE(ssh_hash_init(&hash, row.name));
    EXPECT_EQ(ssh_hash_digest_length(&hash), row.digest) << row.name;
    EXPECT_EQ(ssh_hash_block_length(&hash), row.block) << row.name;
    EXPECT_EQ(hex(ssh_hash_digest_info(row.name)), row.info) << row.name;
  }
}
