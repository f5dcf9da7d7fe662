// Hashes and HMAC against OpenSSL: random bytes of every length around the block bounds, in random
// pieces.
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include "crypto/hash.h"
#include "crypto/hmac.h"
#include "support/numbers.h"
#include "support/test.h"

namespace {

using namespace numbers;

template <class Update>
void feed(std::mt19937 &random, Bytes data, Update update) {
  while (!data.empty()) {
    const Bytes piece = data.first(std::min<size_t>(random() % 400, data.size()));
    update(piece);
    data = data.subspan(piece.size());
  }
}

}  // namespace

TEST(HashOracle, RandomOctetsInRandomPieces) {
  std::mt19937 random(6);
  for (const char *name : {"md5", "sha1", "sha224", "sha256", "sha384", "sha512"}) {
    const EVP_MD *openssl = EVP_get_digestbyname(name);
    for (size_t i = 0; i < 700; ++i) {
      const size_t size = i < 400 ? i : random() % (i % 100 ? 2000 : 200000);
      SCOPED_TRACE(testing::Message() << name << " of " << size);
      const Octets data = random_octets(random, size), key = random_octets(random, random() % 300);
      uint8_t want[EVP_MAX_MD_SIZE] = {}, got[EVP_MAX_MD_SIZE] = {};
      ASSERT_EQ(EVP_Digest(data.data(), size, want, nullptr, openssl, nullptr), 1);
      SshHash hash;
      ASSERT_TRUE(ssh_hash_init(&hash, name));
      feed(random, data, [&](Bytes piece) { ssh_hash_update(&hash, piece); });
      ssh_hash_final(&hash, got);
      ASSERT_EQ(hex(got), hex(want));

      ASSERT_TRUE(HMAC(openssl, key.data(), static_cast<int>(key.size()), data.data(), size, want,
                       nullptr));
      SshHmac hmac;
      ASSERT_TRUE(ssh_hmac_init(&hmac, name, key));
      feed(random, data, [&](Bytes piece) { ssh_hmac_update(&hmac, piece); });
      ssh_hmac_final(&hmac, got);
      ASSERT_EQ(hex(got), hex(want)) << "key of " << key.size();
    }
  }
}
