// HMAC against published vectors, for systems without OpenSSL, and what it leaves behind.
#include "crypto/hmac.h"

#include <gtest/gtest.h>

#include "crypto/numbers.h"

using namespace numbers;

// RFC 2202 and RFC 4231: short keys, and such as are hashed because they are longer than a block.
TEST(Hmac, PublishedVectors) {
  const std::string long_key(131, '\xaa');
  const std::string large =
      "This is a test using a larger than block-size key and a larger than block-size data. "
      "The key needs to be hashed before being used by the HMAC algorithm.";
  const struct {
    const char *name;
    std::string key, data, mac;
  } rows[] = {
      {"sha1", std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
       "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
      {"sha512", long_key, large,
       "e37b6a775dc87dbaa4dfa9f96e5e3ffddebd71f8867289865df5a32d20cdc944"
       "b6022cac3c4982b10d5eeb55c3e4de15134676fb6de0446065c97440fa8c6a58"},
  };
  for (const auto &row : rows) {
    SshHmac hmac;
    ASSERT_TRUE(ssh_hmac_init(&hmac, row.name, ssh_text_bytes(row.key)));
    ssh_hmac_update(&hmac, ssh_text_bytes(row.data).first(10));
    ssh_hmac_update(&hmac, ssh_text_bytes(row.data).subspan(10));
    Octets mac(ssh_hash_digest_length(&hmac.inner));
    ssh_hmac_final(&hmac, mac.data());
    EXPECT_EQ(hex(mac), row.mac) << row.name;
  }
  SshHmac hmac;
  EXPECT_FALSE(ssh_hmac_init(&hmac, "md4", {}));
}

// Neither a finished computation nor one that was given up leaves anything of the key.
TEST(Hmac, LeavesNothingBehind) {
  const Octets key(200, 0x4B);
  for (const bool finish : {true, false}) {
    alignas(SshHmac) uint8_t place[sizeof(SshHmac)] = {};
    auto *hmac = new (place) SshHmac;
    ASSERT_TRUE(ssh_hmac_init(hmac, "sha512", key));
    ssh_hmac_update(hmac, key);
    const auto wiped = [&] { return hex(place) == hex(Octets(sizeof place)); };
    EXPECT_FALSE(wiped());
    uint8_t mac[SSH_HASH_DIGEST_MAX];
    if (finish) ssh_hmac_final(hmac, mac);
    EXPECT_EQ(wiped(), finish);
    hmac->~SshHmac();
    EXPECT_TRUE(wiped());
  }
}
