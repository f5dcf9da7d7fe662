// Hashes: the counts of long data. hash_oracle_test.cc holds what they compute.
#include "crypto/hash.h"

#include "support/numbers.h"
#include "support/test.h"

using namespace numbers;

// The length in bits passes one word: padded by hand, the same bytes lead to the same state.
TEST(Hash, LengthsPastOneWord) {
  const std::tuple<const char *, uint64_t, const char *> rows[] = {
      {"md5", uint64_t{1} << 29, "00040000 01000000"},
      {"sha1", uint64_t{1} << 29, "00000001 00000400"},
      {"sha256", uint64_t{5} << 29, "00000005 00000400"},
      {"sha512", uint64_t{5} << 61, "00000000 00000005 00000000 00000400"}};
  for (const auto &[name, before, digits] : rows) {
    SshHash hash, by_hand;
    ASSERT_TRUE(ssh_hash_init(&hash, name));
    ssh_hash_update(&hash, Octets(128, 0x5A));
    by_hand = hash;
    hash.length += before;
    uint8_t digest[SSH_HASH_DIGEST_MAX];
    ssh_hash_final(&hash, digest);
    const Octets length = unhex(digits);
    const size_t zeros = ssh_hash_block_length(&hash) - 1 - length.size();
    ssh_hash_update(&by_hand, join({{0x80}, Octets(zeros), length}));
    EXPECT_TRUE(std::equal(hash.state, std::end(hash.state), by_hand.state)) << name;
  }
}
