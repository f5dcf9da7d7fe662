// Ciphers: a published vector of each, for systems without OpenSSL, and their refusals.
#include "crypto/cipher.h"

#include <gtest/gtest.h>

#include <cstddef>

#include "crypto/numbers.h"

using namespace numbers;

// NIST SP 800-67, the message of FIPS 81 (with a weak key beside it), E. Young's set, RFC 2144 B.1.
TEST(Cipher, PublishedVectors) {
  const struct {
    const char *name, *mode, *key, *iv, *plain, *secret;
  } rows[] = {
      {"des", "ecb", "0101010101010101", "", "8000000000000000", "95F8A5E5DD31D900"},
      {"des", "cfb", "0123456789ABCDEF", "1234567890ABCDEF", "4E6F77206973207468652074696D6520",
       "F3096249C7F46E51 A69E839B1A92F784"},
      {"3des", "ecb", "0123456789ABCDEF 23456789ABCDEF01 456789ABCDEF0123", "",
       "5468652071756663 6B2062726F776E20", "A826FD8CE53B855F CCE21C8112256FE6"},
      {"blowfish", "ecb", "F0", "", "FEDCBA9876543210", "F9AD597C49DB005E"},
      {"cast128", "ecb", "0123456712345678234567893456789A", "", "0123456789ABCDEF",
       "238B4FE5847E44B2"},
  };
  for (const auto &row : rows) {
    const Octets key = unhex(row.key), iv = unhex(row.iv), plain = unhex(row.plain);
    SshCipher cipher;
    Octets out(plain.size());
    ASSERT_TRUE(ssh_cipher_init(&cipher, row.name, row.mode, key, SSH_CIPHER_ENCRYPT));
    EXPECT_TRUE(iv.empty() || ssh_cipher_set_iv(&cipher, iv));
    EXPECT_TRUE(ssh_cipher_transform(&cipher, plain, out.data()));
    EXPECT_EQ(hex(out), hex(unhex(row.secret))) << row.name;
  }
}

TEST(Cipher, RefusesWithoutATrace) {
  const Octets key(8, 0x31), data(16, 7), untouched(16, 0xEE);
  SshCipherKeyLengths told = {};
  EXPECT_TRUE(ssh_cipher_key_lengths("3des", &told));
  EXPECT_FALSE(ssh_cipher_key_lengths("aes", &told));
  EXPECT_TRUE(told.least == 16 && told.most == 24 && told.step == 8);

  SshCipher cipher, other;
  Octets out = untouched, expected(16);
  const struct {
    const char *name, *mode;
    std::vector<size_t> lengths;
  } bad[] = {{"DES", "cbc", {8}},           {"des", "ctr", {8}},
             {"des", "cbc", {0, 7, 9, 16}}, {"3des", "cbc", {8, 15, 17, 23, 25, 32}},
             {"blowfish", "cbc", {0, 57}},  {"cast128", "cbc", {4, 17}}};
  for (const auto &[name, mode, lengths] : bad) {
    for (const size_t length : lengths) {
      SCOPED_TRACE(testing::Message() << name << " " << mode << " " << length);
      ASSERT_TRUE(ssh_cipher_init(&cipher, "des", "cbc", key, SSH_CIPHER_ENCRYPT));
      EXPECT_FALSE(ssh_cipher_init(&cipher, name, mode, Octets(length, 1), SSH_CIPHER_ENCRYPT));
      EXPECT_FALSE(ssh_cipher_transform(&cipher, data, out.data())) << "the key before is there";
    }
  }
  for (SshCipher *each : {&cipher, &other})
    ASSERT_TRUE(ssh_cipher_init(each, "des", "cbc", key, SSH_CIPHER_ENCRYPT));
  for (const size_t length : {1u, 7u, 9u, 15u}) {
    EXPECT_FALSE(ssh_cipher_set_iv(&cipher, Bytes(data).first(length))) << length;
    EXPECT_FALSE(ssh_cipher_transform(&cipher, Bytes(data).first(length), out.data())) << length;
  }
  EXPECT_EQ(out, untouched);
  ASSERT_TRUE(ssh_cipher_transform(&cipher, data, out.data()));
  ASSERT_TRUE(ssh_cipher_transform(&other, data, expected.data()));
  EXPECT_EQ(out, expected) << "the chain was changed";
}

TEST(Cipher, WipesWhatItKnew) {
  alignas(SshCipher) uint8_t storage[sizeof(SshCipher)];
  auto *cipher = new (storage) SshCipher;
  Octets data(16, 0x5A);
  ASSERT_TRUE(ssh_cipher_init(cipher, "blowfish", "cfb", data, SSH_CIPHER_ENCRYPT));
  ASSERT_TRUE(ssh_cipher_transform(cipher, data, data.data()));
  const Bytes schedule = {storage + offsetof(SshCipher, schedule), sizeof SshCipher::schedule};
  const Bytes chain = {storage + offsetof(SshCipher, chain), sizeof SshCipher::chain};
  const std::string schedule_before = hex(schedule), chain_before = hex(chain);
  cipher->~SshCipher();
  EXPECT_EQ(hex(schedule), hex(Octets(schedule.size())));
  EXPECT_EQ(hex(chain), hex(Octets(chain.size())));
  EXPECT_TRUE(hex(schedule) != schedule_before && hex(chain) != chain_before);
}
