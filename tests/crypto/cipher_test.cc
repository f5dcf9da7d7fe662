// Ciphers: their refusals, and what they leave behind. cipher_oracle_test.cc has what they compute.
#include "crypto/cipher.h"

#include <cstddef>

#include "support/numbers.h"
#include "support/test.h"

using namespace numbers;

TEST(Cipher, RefusesWithoutATrace) {
  const Octets key(8, 0x31), data(16, 7), untouched(16, 0xEE);
  SshCipherKeyLengths told = {};
  EXPECT_TRUE(ssh_cipher_key_lengths("3des", &told));
  EXPECT_FALSE(ssh_cipher_key_lengths("aes", &told));
  EXPECT_TRUE(told.least == 16 && told.most == 24 && told.step == 8);

  SshCipher cipher, other;
  Octets out = untouched, expected(16);
  const std::tuple<const char *, const char *, size_t> bad[] = {{"DES", "cbc", 8},
                                                                {"des", "ctr", 8},
                                                                {"3des", "cbc", 17},
                                                                {"3des", "cbc", 32},
                                                                {"cast128", "cbc", 4}};
  for (const auto &[name, mode, length] : bad) {
    SCOPED_TRACE(testing::Message() << name << " " << mode << " " << length);
    ASSERT_TRUE(ssh_cipher_init(&cipher, "des", "cbc", key, SSH_CIPHER_ENCRYPT));
    EXPECT_FALSE(ssh_cipher_init(&cipher, name, mode, Octets(length, 1), SSH_CIPHER_ENCRYPT));
    EXPECT_FALSE(ssh_cipher_transform(&cipher, data, out.data())) << "the key before is there";
  }
  for (SshCipher *each : {&cipher, &other})
    ASSERT_TRUE(ssh_cipher_init(each, "des", "cbc", key, SSH_CIPHER_ENCRYPT));
  for (const size_t length : {7u, 9u}) {
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
