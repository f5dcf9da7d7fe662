// Schemes against OpenSSL over random keys, lengths and data: what it signs, deciphers and agrees
// on. Its functions for each kind of key, deprecated as they are, take and give bare numbers.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <gtest/gtest.h>
#include <openssl/dh.h>
#include <openssl/dsa.h>
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

TEST(SchemesOracle, Dsa) {
  constexpr const char *kSchemes[] = {"dsa-nist-sha1", "dsa-nist-sha224", "dsa-nist-sha256"};
  std::mt19937 random(23);
  for (const int bits : {512, 1024, 2048}) {  // the last with an order of 256 bits
    const Owner<DSA, DSA_free> peer(DSA_new());
    DSA_generate_parameters_ex(peer.get(), bits, nullptr, 0, nullptr, nullptr, nullptr);
    const Group group = {value_of(DSA_get0_p(peer.get())), value_of(DSA_get0_q(peer.get())),
                         value_of(DSA_get0_g(peer.get()))};
    const size_t length = group.q.magnitude().size();
    for (int i = 0; i < 24; ++i) {
      const char *scheme = kSchemes[i % 3];
      ASSERT_EQ(DSA_generate_key(peer.get()), 1);
      const SshPublicKeyOwner key = dl(group, value_of(DSA_get0_pub_key(peer.get())));
      const Octets data = random_octets(random, random() % 300), digest = digest_of(scheme, data);
      const Owner<DSA_SIG, DSA_SIG_free> pair(
          DSA_do_sign(digest.data(), static_cast<int>(digest.size()), peer.get()));
      const BIGNUM *r = nullptr, *s = nullptr;
      DSA_SIG_get0(pair.get(), &r, &s);
      const Octets good = join({padded(value_of(r), length), padded(value_of(s), length)});
      ASSERT_EQ(verify(key, scheme, data, good), SSH_KEY_OK) << bits << " " << scheme;
      const Octets zero = {0};  // the same numbers in another form
      for (const Octets &other :
           {join({zero, good}), join({good, zero}), Octets(good.begin(), good.end() - 1), Octets()})
        ASSERT_EQ(verify(key, scheme, data, other), SSH_KEY_BAD_SIGNATURE) << other.size();
      ASSERT_EQ(verify(key, scheme, data, flipped(random, good)), SSH_KEY_BAD_SIGNATURE);
    }
  }
}

// OpenSSL is not told of the order (p - 1) / 2, as it wants more than a safe prime then.
TEST(SchemesOracle, Dh) {
  std::mt19937 random(24);
  for (const char *name :
       {"ietf-ike-grp-modp-768", "ietf-ike-grp-modp-1024", "ietf-ike-grp-modp-1536"}) {
    const SshPublicKeyOwner base = named(name, SshMpInt(2));
    for (int i = 0; i < 8; ++i) {
      const Owner<DH, DH_free> peer(DH_new());
      DH_set0_pqg(peer.get(), bignum(ask(base, SSH_KEY_TAG_P)), nullptr, bignum(SshMpInt(2)));
      ASSERT_EQ(DH_generate_key(peer.get()), 1);
      const Octets secret = random_octets(random, 20 + random() % 30);
      Octets own, found, wanted(static_cast<size_t>(DH_size(peer.get())));
      ASSERT_EQ(agree(base, secret, &own), SSH_KEY_OK);
      const SshPublicKeyOwner theirs = named(name, value_of(DH_get0_pub_key(peer.get())));
      ASSERT_EQ(agree(theirs, secret, &found), SSH_KEY_OK);
      const Owner<BIGNUM, BN_free> y(bignum(number(own)));
      ASSERT_EQ(DH_compute_key_padded(wanted.data(), y.get(), peer.get()), DH_size(peer.get()));
      EXPECT_EQ(hex(found), hex(wanted)) << name;
    }
  }
}
