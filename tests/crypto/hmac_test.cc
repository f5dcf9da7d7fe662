// What HMAC leaves behind. hash_oracle_test.cc has what it computes.
#include "crypto/hmac.h"

#include "support/numbers.h"
#include "support/test.h"

using namespace numbers;

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
