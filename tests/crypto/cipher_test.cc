// Ciphers against published vectors, and their refusals.
#include "crypto/cipher.h"

#include <gtest/gtest.h>

#include <cstddef>

#include "crypto/numbers.h"

namespace {

using namespace numbers;

// run takes a whole message through a cipher; empty if anything was refused.
Octets run(const char *name, const char *mode, SshCipherDirection direction, const Octets &key,
           const Octets &iv, const Octets &data) {
  SshCipher cipher;
  Octets out(data.size());
  const bool good = ssh_cipher_init(&cipher, name, mode, key, direction) &&
                    (iv.empty() || ssh_cipher_set_iv(&cipher, iv)) &&
                    ssh_cipher_transform(&cipher, data, out.data());
  return good ? out : Octets();
}

}  // namespace

// NIST SP 800-17 and 800-67, the message of FIPS 81, E. Young's set for Blowfish, RFC 2144 B.1.
TEST(Cipher, PublishedVectors) {
  const char *const now = "4E6F77206973207468652074696D6520666F7220616C6C20";
  const char *const key = "0123456789ABCDEF", *const iv = "1234567890ABCDEF";
  const char *const key_twice = "0123456789ABCDEF 0123456789ABCDEF";
  const char *const ecb = "3FA40E8A984D4815 6A271787AB8883F9 893D51EC4B563B53";
  const char *const long_key = "F0E1D2C3B4A5968778695A4B3C2D1E0F0011223344556677";
  const struct {
    const char *name, *mode, *key, *iv, *plain, *secret;
  } rows[] = {
      {"des", "ecb", "7CA110454A1A6E57", "", "01A1D6D039776742", "690F5B0D9A26939B"},
      {"des", "ecb", "0101010101010101", "", "8000000000000000", "95F8A5E5DD31D900"},  // a weak key
      {"des", "ecb", key, iv, now, ecb},
      {"des", "cbc", key, iv, now, "E5C7CDDE872BF27C 43E934008C389C0F 683788499A7C05F6"},
      {"des", "cfb", key, iv, now, "F3096249C7F46E51 A69E839B1A92F784 03467133898EA622"},
      {"des", "ofb", key, iv, now, "F3096249C7F46E51 35F24A242EEB3D3F 3D6D5BE3255AF8C3"},
      {"3des", "ecb", key_twice, "", now, ecb},
      {"3des", "ecb", "0123456789ABCDEF 23456789ABCDEF01 456789ABCDEF0123", "",
       "5468652071756663 6B2062726F776E20 666F78206A756D70",
       "A826FD8CE53B855F CCE21C8112256FE6 68D5C05DD9B6B900"},
      {"blowfish", "ecb", "F0", "", "FEDCBA9876543210", "F9AD597C49DB005E"},
      {"blowfish", "ecb", "FFFFFFFFFFFFFFFF", "", "FFFFFFFFFFFFFFFF", "51866FD5B85ECB8A"},
      {"blowfish", "ecb", long_key, "", "FEDCBA9876543210", "05044B62FA52D080"},
      {"cast128", "ecb", "0123456712345678234567893456789A", "", key, "238B4FE5847E44B2"},
      {"cast128", "ecb", "01234567123456782345", "", key, "EB6A711A2C02271B"},
      {"cast128", "ecb", "0123456712", "", key, "7AC816D16E9B302E"},
  };
  for (const auto &row : rows) {
    const Octets k = unhex(row.key), v = unhex(row.iv), p = unhex(row.plain), s = unhex(row.secret);
    EXPECT_EQ(hex(run(row.name, row.mode, SSH_CIPHER_ENCRYPT, k, v, p)), hex(s)) << row.key;
    EXPECT_EQ(hex(run(row.name, row.mode, SSH_CIPHER_DECRYPT, k, v, s)), hex(p)) << row.key;
  }
}

TEST(Cipher, RefusesWithoutATrace) {
  const Octets key(8, 0x31), data(16, 7), untouched(16, 0xEE);
  SshCipherKeyLengths told = {};
  EXPECT_TRUE(ssh_cipher_key_lengths("3des", &told));
  EXPECT_FALSE(ssh_cipher_key_lengths("aes", &told));
  EXPECT_TRUE(told.least == 16 && told.most == 24 && told.step == 8);

  SshCipher cipher;
  Octets out = untouched;
  EXPECT_FALSE(ssh_cipher_transform(&cipher, data, out.data())) << "no key yet";
  const struct {
    const char *name, *mode;
    size_t length;
  } bad[] = {{"", "cbc", 8},        {"DES", "cbc", 8},      {"des", "", 8},
             {"des", "ctr", 8},     {"des-cbc", "cbc", 8},  {"des", "cbc", 0},
             {"des", "cbc", 7},     {"des", "cbc", 9},      {"des", "cbc", 16},
             {"3des", "cbc", 0},    {"3des", "cbc", 8},     {"3des", "cbc", 15},
             {"3des", "cbc", 17},   {"3des", "cbc", 23},    {"3des", "cbc", 25},
             {"3des", "cbc", 32},   {"blowfish", "cbc", 0}, {"blowfish", "cbc", 57},
             {"cast128", "cbc", 0}, {"cast128", "cbc", 4},  {"cast128", "cbc", 17}};
  for (const auto &[name, mode, length] : bad) {
    SCOPED_TRACE(testing::Message() << name << " " << mode << " " << length);
    ASSERT_TRUE(ssh_cipher_init(&cipher, "des", "cbc", key, SSH_CIPHER_ENCRYPT));
    EXPECT_FALSE(ssh_cipher_init(&cipher, name, mode, Octets(length, 1), SSH_CIPHER_ENCRYPT));
    EXPECT_FALSE(ssh_cipher_transform(&cipher, data, out.data())) << "the key before is there";
  }

  ASSERT_TRUE(ssh_cipher_init(&cipher, "des", "cbc", key, SSH_CIPHER_ENCRYPT));
  for (const size_t length : {1u, 7u, 9u, 15u}) {
    EXPECT_FALSE(ssh_cipher_set_iv(&cipher, Bytes(data).first(length))) << length;
    EXPECT_FALSE(ssh_cipher_transform(&cipher, Bytes(data).first(length), out.data())) << length;
  }
  EXPECT_FALSE(ssh_cipher_set_iv(&cipher, {}) || ssh_cipher_set_iv(&cipher, data));
  EXPECT_EQ(out, untouched);
  ASSERT_TRUE(ssh_cipher_transform(&cipher, data, out.data()));
  EXPECT_EQ(out, run("des", "cbc", SSH_CIPHER_ENCRYPT, key, {}, data)) << "the chain was changed";
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
