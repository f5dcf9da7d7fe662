// RSA against OpenSSL over random keys, lengths and data: what it signs and deciphers. Its
// functions for this kind of key, deprecated as they are, take and give bare numbers. DSA is in
// tests/x509.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/rsa.h>

#include "crypto/key_support.h"
#include "crypto/noise.h"

namespace {

using namespace key;

SshMpInt value_of(const BIGNUM *value) {
  Octets octets(static_cast<size_t>(BN_num_bytes(value)));
  BN_bn2bin(value, octets.data());
  return number(octets);
}

BIGNUM *bignum(const SshMpInt &value) {
  const Bytes octets = value.magnitude();
  return BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr);
}

// hash_of gives the name of a scheme's hash function.
const char *hash_of(const char *scheme) { return std::strrchr(scheme, '-') + 1; }

Octets digest_of(const char *scheme, const Octets &data) {
  Octets digest(EVP_MAX_MD_SIZE);
  unsigned length = 0;
  EVP_Digest(data.data(), data.size(), digest.data(), &length,
             EVP_get_digestbyname(hash_of(scheme)), nullptr);
  digest.resize(length);
  return digest;
}

Octets flipped(std::mt19937 &random, Octets octets) {
  octets[random() % octets.size()] ^= static_cast<uint8_t>(1u << random() % 8);
  return octets;
}

}  // namespace

TEST(SchemesOracle, Rsa) {
  constexpr const char *kSchemes[] = {"rsa-pkcs1-md5",    "rsa-pkcs1-sha1",   "rsa-nist-sha1",
                                      "rsa-pkcs1-sha224", "rsa-pkcs1-sha256", "rsa-pkcs1-sha384",
                                      "rsa-pkcs1-sha512"};
  constexpr std::pair<int, int64_t> kKeys[] = {{512, 3},      {513, 65537},      {1000, 3},
                                               {1023, 65537}, {1025, 65537},     {1031, 257},
                                               {2048, 65537}, {2047, 0xFFFFFFFB}};
  std::mt19937 random(21);
  SshNoise noise;
  for (const auto &[bits, e] : kKeys) {
    SCOPED_TRACE(testing::Message() << bits << " " << e);
    const Owner<RSA, RSA_free> peer(RSA_new());
    const Owner<BIGNUM, BN_free> exponent(bignum(SshMpInt(e)));
    ASSERT_EQ(RSA_generate_key_ex(peer.get(), bits, exponent.get(), nullptr), 1);
    const SshPublicKeyOwner key = rsa(value_of(RSA_get0_n(peer.get())), SshMpInt(e));
    const auto octets = static_cast<size_t>(RSA_size(peer.get()));
    for (const char *scheme : kSchemes) {
      for (int i = 0; i < 3; ++i) {
        const Octets data = random_octets(random, random() % 300), digest = digest_of(scheme, data);
        Octets signature(octets);
        unsigned length = 0;
        const bool fits = RSA_sign(OBJ_txt2nid(hash_of(scheme)), digest.data(),
                                   static_cast<unsigned>(digest.size()), signature.data(), &length,
                                   peer.get()) == 1;
        ASSERT_EQ(verify(key, scheme, data, signature), fits ? SSH_KEY_OK : SSH_KEY_TOO_LONG);
        if (!fits) continue;
        ASSERT_EQ(verify(key, scheme, data, flipped(random, signature)), SSH_KEY_BAD_SIGNATURE);
      }
    }
    for (const size_t length : {size_t{0}, size_t{1}, random() % octets / 2, octets - 11}) {
      const Octets data = random_octets(random, length);
      Octets out, found(octets);
      ASSERT_EQ(encrypt(key, data, &noise, &out), SSH_KEY_OK);
      ASSERT_EQ(RSA_private_decrypt(static_cast<int>(out.size()), out.data(), found.data(),
                                    peer.get(), RSA_PKCS1_PADDING),
                static_cast<int>(length));
      found.resize(length);
      ASSERT_EQ(hex(found), hex(data));
    }
  }
}
