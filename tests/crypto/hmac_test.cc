// HMAC against a published vector, for systems without OpenSSL, and what it leaves behind.
#include "crypto/hmac.h"

#include "support/numbers.h"
#include "support/test.h"

using namespace numbers;

// RFC 4231, with a key that is hashed because it is longer than a block.
TEST(Hmac, PublishedVector) {
  const Octets key(131, 0xAA);
  const Bytes data = ssh_text_bytes(
      "This is a test using a larger than block-size key and a larger than block-size data. "
      "The key needs to be hashed before being used by the HMAC algorithm.");
  SshHmac hmac;
  ASSERT_TRUE(ssh_hmac_init(&hmac, "sha512", key));
  ssh_hmac_update(&hmac, data);
  Octets mac(ssh_hash_digest_length(&hmac.inner));
  ssh_hmac_final(&hmac, mac.data());
  EXPECT_EQ(hex(mac),
            "e37b6a775dc87dbaa4dfa9f96e5e3ffddebd71f8867289865df5a32d20cdc944"
            "b6022cac3c4982b10d5eeb55c3e4de15134676fb6de0446065c97440fa8c6a58");
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
