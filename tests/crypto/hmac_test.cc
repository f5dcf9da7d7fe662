// HMAC against published vectors, and what it leaves behind.
#include "crypto/hmac.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "support/hex.h"

namespace {

constexpr char kLargeKey[] = "Test Using Larger Than Block-Size Key - Hash Key First";
constexpr char kLargeBoth[] =
    "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data";
constexpr char kLargeBothAgain[] =
    "This is a test using a larger than block-size key and a larger than block-size data. "
    "The key needs to be hashed before being used by the HMAC algorithm.";

std::string octets(char octet, size_t count) { return std::string(count, octet); }

std::string counted(size_t count) {
  std::string made(count, 0);
  std::iota(made.begin(), made.end(), char{1});
  return made;
}

std::string mac_of(const char *name, Bytes key, Bytes data, size_t split) {
  SshHmac hmac;
  if (!ssh_hmac_init(&hmac, name, key)) return "no such hash";
  ssh_hmac_update(&hmac, data.first(split));
  ssh_hmac_update(&hmac, data.subspan(split));
  std::vector<uint8_t> mac(ssh_hash_digest_length(&hmac.inner));
  ssh_hmac_final(&hmac, mac.data());
  return hex(mac);
}

}  // namespace

// RFC 2202 and RFC 4231.
TEST(Hmac, PublishedVectors) {
  const struct {
    const char *name;
    std::string key, data, mac;
  } rows[] = {
      {"md5", octets(0x0b, 16), "Hi There", "9294727a3638bb1c13f48ef8158bfc9d"},
      {"md5", "Jefe", "what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738"},
      {"md5", octets('\xaa', 16), octets('\xdd', 50), "56be34521d144c88dbb8c733f0e8b3f6"},
      {"md5", counted(25), octets('\xcd', 50), "697eaf0aca3a3aea3a75164746ffaa79"},
      {"md5", octets('\xaa', 80), kLargeKey, "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd"},
      {"md5", octets('\xaa', 80), kLargeBoth, "6f630fad67cda0ee1fb1f562db3aa53e"},
      {"sha1", octets(0x0b, 20), "Hi There", "b617318655057264e28bc0b6fb378c8ef146be00"},
      {"sha1", "Jefe", "what do ya want for nothing?", "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
      {"sha1", octets('\xaa', 20), octets('\xdd', 50), "125d7342b9ac11cd91a39af48aa17b4f63f175d3"},
      {"sha1", counted(25), octets('\xcd', 50), "4c9007f4026250c6bc8414f9bf50c86c2d7235da"},
      {"sha1", octets('\xaa', 80), kLargeKey, "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
      {"sha1", octets('\xaa', 80), kLargeBoth, "e8e99d0f45237d786d6bbaa7965c7808bbff1a91"},
      {"sha224", "Jefe", "what do ya want for nothing?",
       "a30e01098bc6dbbf45690f3a7e9e6d0f8bbea2a39e6148008fd05e44"},
      {"sha224", octets('\xaa', 131), kLargeBothAgain,
       "3a854166ac5d9f023f54d517d0b39dbd946770db9c2b95c9f6f565d1"},
      {"sha256", octets(0x0b, 20), "Hi There",
       "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7"},
      {"sha256", "Jefe", "what do ya want for nothing?",
       "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
      {"sha256", octets('\xaa', 20), octets('\xdd', 50),
       "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe"},
      {"sha256", counted(25), octets('\xcd', 50),
       "82558a389a443c0ea4cc819899f2083a85f0faa3e578f8077a2e3ff46729665b"},
      {"sha256", octets('\xaa', 131), kLargeKey,
       "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54"},
      {"sha256", octets('\xaa', 131), kLargeBothAgain,
       "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2"},
      {"sha384", "Jefe", "what do ya want for nothing?",
       "af45d2e376484031617f78d2b58a6b1b9c7ef464f5a01b47e42ec3736322445e"
       "8e2240ca5e69e2c78b3239ecfab21649"},
      {"sha384", octets('\xaa', 131), kLargeBothAgain,
       "6617178e941f020d351e2f254e8fd32c602420feb0b8fb9adccebb82461e99c5"
       "a678cc31e799176d3860e6110c46523e"},
      {"sha512", octets(0x0b, 20), "Hi There",
       "87aa7cdea5ef619d4ff0b4241a1d6cb02379f4e2ce4ec2787ad0b30545e17cde"
       "daa833b7d6b8a702038b274eaea3f4e4be9d914eeb61f1702e696c203a126854"},
      {"sha512", "Jefe", "what do ya want for nothing?",
       "164b7a7bfcf819e2e395fbe73b56e0a387bd64222e831fd610270cd7ea250554"
       "9758bf75c05a994a6d034f65f8f0e6fdcaeab1a34d4a6b4b636e070a38bce737"},
      {"sha512", octets('\xaa', 20), octets('\xdd', 50),
       "fa73b0089d56a284efb0f0756c890be9b1b5dbdd8ee81a3655f83e33b2279d39"
       "bf3e848279a722c806b485a47e67c807b946a337bee8942674278859e13292fb"},
      {"sha512", counted(25), octets('\xcd', 50),
       "b0ba465637458c6990e5a8c5f61d4af7e576d97ff94b872de76f8050361ee3db"
       "a91ca5c11aa25eb4d679275cc5788063a5f19741120c4f2de2adebeb10a298dd"},
      {"sha512", octets('\xaa', 131), kLargeKey,
       "80b24263c7c1a3ebb71493c1dd7be8b49b46d1f41b4aeec1121b013783f8f352"
       "6b56d037e05f2598bd0fd2215d6a1e5295e64f73f63f0aec8b915a985d786598"},
      {"sha512", octets('\xaa', 131), kLargeBothAgain,
       "e37b6a775dc87dbaa4dfa9f96e5e3ffddebd71f8867289865df5a32d20cdc944"
       "b6022cac3c4982b10d5eeb55c3e4de15134676fb6de0446065c97440fa8c6a58"},
  };
  for (const auto &row : rows) {
    const Bytes data = ssh_text_bytes(row.data);
    for (const size_t split : {size_t{0}, data.size() / 2}) {
      EXPECT_EQ(mac_of(row.name, ssh_text_bytes(row.key), data, split), row.mac) << row.name;
    }
  }
}

TEST(Hmac, UnknownHashIsRefused) {
  SshHmac hmac;
  EXPECT_FALSE(ssh_hmac_init(&hmac, "md4", {}));
}

// Neither a finished computation nor one that was given up leaves anything of the key.
TEST(Hmac, LeavesNothingBehind) {
  const std::vector<uint8_t> key(200, 0x4B);
  for (const bool finish : {true, false}) {
    alignas(SshHmac) uint8_t place[sizeof(SshHmac)] = {};
    auto *hmac = new (place) SshHmac;
    ASSERT_TRUE(ssh_hmac_init(hmac, "sha512", key));
    ssh_hmac_update(hmac, key);
    uint8_t mac[SSH_HASH_DIGEST_MAX];
    const auto wiped = [&] {
      return std::all_of(std::begin(place), std::end(place),
                         [](uint8_t octet) { return octet == 0; });
    };
    EXPECT_FALSE(wiped());
    if (finish) {
      ssh_hmac_final(hmac, mac);
      EXPECT_TRUE(wiped());
    }
    hmac->~SshHmac();
    EXPECT_TRUE(wiped());
  }
}
