// Hashes against the vectors of their standards, fed in pieces, and the counts of long data.
#include "crypto/hash.h"

#include <gtest/gtest.h>

#include "crypto/numbers.h"

namespace {

using namespace numbers;

constexpr std::string_view kTwoBlocks = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
constexpr std::string_view kTwoLongBlocks =
    "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopq"
    "rsmnopqrstnopqrstu";

}  // namespace

TEST(Hash, KnownNamesAlone) {
  SshHash hash;
  for (const char *name : {"", "SHA1", "sha", "sha1 ", "md4", "sha-256"}) {
    EXPECT_FALSE(ssh_hash_init(&hash, name)) << name;
    EXPECT_TRUE(ssh_hash_digest_info(name).empty()) << name;
  }
}

// RFC 1321 A.5, the examples to FIPS 180, and RFC 8017 9.2, note 1.
TEST(Hash, PublishedVectorsAtEverySplit) {
  const struct {
    const char *name;
    size_t block;
    const char *info;
    std::string_view text;
    const char *digest;
  } rows[] = {
      {"md5", 64, "3020300c06082a864886f70d020505000410",
       "12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
      {"sha1", 64, "3021300906052b0e03021a05000414", kTwoBlocks,
       "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
      {"sha224", 64, "302d300d06096086480165030402040500041c", kTwoBlocks,
       "75388b16512776cc5dba5da1fd890150b0c6455cb4f58b1952522525"},
      {"sha256", 64, "3031300d060960864801650304020105000420", kTwoBlocks,
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {"sha384", 128, "3041300d060960864801650304020205000430", kTwoLongBlocks,
       "09330c33f71147e83d192fc782cd1b4753111b173b3b05d22fa08086e3b0f712fcc7c71a"
       "557e2db966c3e9fa91746039"},
      {"sha512", 128, "3051300d060960864801650304020305000440", kTwoLongBlocks,
       "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018501d289e"
       "4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909"},
  };
  for (const auto &row : rows) {
    const Bytes data = ssh_text_bytes(row.text);
    EXPECT_EQ(hex(ssh_hash_digest_info(row.name)), row.info);
    for (size_t split = 0; split <= data.size(); ++split) {
      SshHash hash;
      ASSERT_TRUE(ssh_hash_init(&hash, row.name));
      ssh_hash_update(&hash, data.first(split));
      ssh_hash_update(&hash, data.subspan(split));
      Octets digest(ssh_hash_digest_length(&hash));
      ssh_hash_final(&hash, digest.data());
      ASSERT_EQ(hex(digest), row.digest) << row.name << " at " << split;
      ASSERT_EQ(ssh_hash_block_length(&hash), row.block) << row.name;
    }
  }
}

// The length in bits passes one word: padded by hand, the same octets lead to the same state.
TEST(Hash, LengthsPastOneWord) {
  const struct {
    const char *name;
    uint64_t before;
    const char *length;
  } rows[] = {{"md5", uint64_t{1} << 29, "00040000 01000000"},
              {"sha1", uint64_t{1} << 29, "00000001 00000400"},
              {"sha256", uint64_t{5} << 29, "00000005 00000400"},
              {"sha512", uint64_t{5} << 61, "00000000 00000005 00000000 00000400"}};
  for (const auto &row : rows) {
    SshHash hash, by_hand;
    ASSERT_TRUE(ssh_hash_init(&hash, row.name));
    ssh_hash_update(&hash, Octets(128, 0x5A));
    by_hand = hash;
    hash.length += row.before;
    uint8_t digest[SSH_HASH_DIGEST_MAX];
    ssh_hash_final(&hash, digest);
    const Octets length = unhex(row.length);
    const size_t zeros = ssh_hash_block_length(&hash) - 1 - length.size();
    ssh_hash_update(&by_hand, join({{0x80}, Octets(zeros), length}));
    EXPECT_TRUE(std::equal(hash.state, std::end(hash.state), by_hand.state)) << row.name;
  }
}
