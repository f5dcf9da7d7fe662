// Schemes against OpenSSL over random keys, lengths and data: what it signs, deciphers and agrees
// on, and that both take and refuse the same signatures.
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/dsa.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

#include <memory>
#include <random>

#include "crypto/key_support.h"
#include "crypto/noise.h"

namespace {

using namespace key;

template <class T, void (*Free)(T *)>
struct Freed {
  void operator()(T *object) const { Free(object); }
};
template <class T, void (*Free)(T *)>
using Peer = std::unique_ptr<T, Freed<T, Free>>;
using PeerKey = Peer<EVP_PKEY, EVP_PKEY_free>;
using PeerContext = Peer<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using PeerNumber = Peer<BIGNUM, BN_free>;

PeerNumber bignum(Bytes octets) {
  return PeerNumber(BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr));
}

SshMpInt number_of(const BIGNUM *value) {
  Octets octets(static_cast<size_t>(BN_num_bytes(value)));
  BN_bn2bin(value, octets.data());
  return number(octets);
}

SshMpInt number_of(const PeerKey &key, const char *name) {
  BIGNUM *value = nullptr;
  EXPECT_EQ(EVP_PKEY_get_bn_param(key.get(), name, &value), 1) << name;
  return number_of(PeerNumber(value).get());
}

struct Random : std::mt19937 {
  using std::mt19937::mt19937;
  size_t below(size_t limit) { return static_cast<size_t>((*this)()) % limit; }
  Octets octets(size_t length) {
    Octets out(length);
    for (uint8_t &octet : out) octet = static_cast<uint8_t>((*this)());
    return out;
  }
};

PeerContext context_of(const PeerKey &key) {
  return PeerContext(EVP_PKEY_CTX_new(key.get(), nullptr));
}

// digest_of hashes by OpenSSL; without a hash the data stands for itself.
Octets digest_of(const char *hash, const Octets &data) {
  if (!hash) return data;
  Octets digest(EVP_MAX_MD_SIZE);
  unsigned length = 0;
  EVP_Digest(data.data(), data.size(), digest.data(), &length, EVP_get_digestbyname(hash), nullptr);
  digest.resize(length);
  return digest;
}

void set_hash(const PeerContext &context, const char *hash) {
  if (hash) EVP_PKEY_CTX_set_signature_md(context.get(), EVP_get_digestbyname(hash));
}

// peer_sign gives nothing where the digest does not fit.
Octets peer_sign(const PeerKey &key, const char *hash, const Octets &data) {
  const PeerContext context = context_of(key);
  const Octets digest = digest_of(hash, data);
  Octets signature(static_cast<size_t>(EVP_PKEY_get_size(key.get())));
  size_t length = signature.size();
  EVP_PKEY_sign_init(context.get());
  set_hash(context, hash);
  const int good =
      EVP_PKEY_sign(context.get(), signature.data(), &length, digest.data(), digest.size());
  signature.resize(good == 1 ? length : 0);
  return signature;
}

bool peer_verify(const PeerKey &key, const char *hash, const Octets &data,
                 const Octets &signature) {
  const PeerContext context = context_of(key);
  const Octets digest = digest_of(hash, data);
  EVP_PKEY_verify_init(context.get());
  set_hash(context, hash);
  return EVP_PKEY_verify(context.get(), signature.data(), signature.size(), digest.data(),
                         digest.size()) == 1;
}

PeerKey rsa_key(size_t bits, unsigned long e) {
  const PeerContext context(EVP_PKEY_CTX_new_id(EVP_PKEY_RSA, nullptr));
  const PeerNumber exponent(BN_new());
  BN_set_word(exponent.get(), e);
  EVP_PKEY_keygen_init(context.get());
  EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), static_cast<int>(bits));
  EVP_PKEY_CTX_set1_rsa_keygen_pubexp(context.get(), exponent.get());
  EVP_PKEY *key = nullptr;
  EXPECT_EQ(EVP_PKEY_keygen(context.get(), &key), 1) << bits << " " << e;
  return PeerKey(key);
}

constexpr struct {
  size_t bits;
  unsigned long e;
} kRsaKeys[] = {{512, 3},    {513, 65537},  {521, 17},         {768, 65537},
                {1000, 3},   {1023, 65537}, {1024, 3},         {1025, 0x10001},
                {1031, 257}, {2048, 65537}, {2047, 0xFFFFFFFB}};

constexpr struct {
  const char *scheme, *hash;
} kRsaSchemes[] = {{"rsa-pkcs1-md5", "MD5"},       {"rsa-pkcs1-sha1", "SHA1"},
                   {"rsa-pkcs1-none", nullptr},    {"rsa-nist-sha1", "SHA1"},
                   {"rsa-pkcs1-sha224", "SHA224"}, {"rsa-pkcs1-sha256", "SHA256"},
                   {"rsa-pkcs1-sha384", "SHA384"}, {"rsa-pkcs1-sha512", "SHA512"}};

// changed gives octets with one bit flipped, one octet more or less, or others altogether.
Octets changed(Random &random, Octets octets) {
  switch (random.below(6)) {
    case 0:
      octets.push_back(0);
      return octets;
    case 1:
      octets.pop_back();
      return octets;
    case 2:
      return random.octets(octets.size());
    default:
      octets[random.below(octets.size())] ^= static_cast<uint8_t>(1u << random.below(8));
      return octets;
  }
}

// DsaPair is a signature in OpenSSL's form and in ours.
Octets dsa_pair(const Octets &der, size_t length) {
  const uint8_t *at = der.data();
  const Peer<DSA_SIG, DSA_SIG_free> pair(d2i_DSA_SIG(nullptr, &at, static_cast<long>(der.size())));
  const BIGNUM *r = nullptr, *s = nullptr;
  DSA_SIG_get0(pair.get(), &r, &s);
  return join({padded(number_of(r), length), padded(number_of(s), length)});
}
Octets dsa_der(Bytes pair) {
  const Peer<DSA_SIG, DSA_SIG_free> made(DSA_SIG_new());
  DSA_SIG_set0(made.get(), bignum(pair.first(pair.size() / 2)).release(),
               bignum(pair.last(pair.size() / 2)).release());
  Octets der(static_cast<size_t>(i2d_DSA_SIG(made.get(), nullptr)));
  uint8_t *at = der.data();
  i2d_DSA_SIG(made.get(), &at);
  return der;
}

PeerKey dsa_parameters(int bits, int q_bits, const char *type) {
  const PeerContext context(EVP_PKEY_CTX_new_id(EVP_PKEY_DSA, nullptr));
  EVP_PKEY_paramgen_init(context.get());
  EVP_PKEY_CTX_set_dsa_paramgen_type(context.get(), type);
  EVP_PKEY_CTX_set_dsa_paramgen_bits(context.get(), bits);
  EVP_PKEY_CTX_set_dsa_paramgen_q_bits(context.get(), q_bits);
  EVP_PKEY *key = nullptr;
  EXPECT_EQ(EVP_PKEY_paramgen(context.get(), &key), 1) << bits;
  return PeerKey(key);
}

PeerKey generate(const PeerKey &parameters) {
  const PeerContext context = context_of(parameters);
  EVP_PKEY *key = nullptr;
  EVP_PKEY_keygen_init(context.get());
  EXPECT_EQ(EVP_PKEY_keygen(context.get(), &key), 1);
  return PeerKey(key);
}

Group group_of(const PeerKey &key) {
  return {number_of(key, OSSL_PKEY_PARAM_FFC_P), number_of(key, OSSL_PKEY_PARAM_FFC_Q),
          number_of(key, OSSL_PKEY_PARAM_FFC_G)};
}

// dh_key makes OpenSSL's key or parameters of numbers; without y only the group is given. Of groups
// with an order OpenSSL wants more than being safe, so the named ones go without.
PeerKey dh_key(const Group &group, const SshMpInt *y) {
  const Peer<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free> build(OSSL_PARAM_BLD_new());
  const PeerNumber p = bignum(group.p.magnitude()), q = bignum(group.q.magnitude()),
                   g = bignum(group.g.magnitude()), pub = bignum(y ? y->magnitude() : Bytes());
  OSSL_PARAM_BLD_push_BN(build.get(), OSSL_PKEY_PARAM_FFC_P, p.get());
  if (!group.q.is_zero()) OSSL_PARAM_BLD_push_BN(build.get(), OSSL_PKEY_PARAM_FFC_Q, q.get());
  OSSL_PARAM_BLD_push_BN(build.get(), OSSL_PKEY_PARAM_FFC_G, g.get());
  if (y) OSSL_PARAM_BLD_push_BN(build.get(), OSSL_PKEY_PARAM_PUB_KEY, pub.get());
  const Peer<OSSL_PARAM, OSSL_PARAM_free> parameters(OSSL_PARAM_BLD_to_param(build.get()));
  const PeerContext context(
      EVP_PKEY_CTX_new_from_name(nullptr, group.q.is_zero() ? "DH" : "DHX", nullptr));
  EVP_PKEY *key = nullptr;
  EVP_PKEY_fromdata_init(context.get());
  EXPECT_EQ(EVP_PKEY_fromdata(context.get(), &key,
                              y ? EVP_PKEY_PUBLIC_KEY : EVP_PKEY_KEY_PARAMETERS, parameters.get()),
            1);
  return PeerKey(key);
}

Octets peer_agree(const PeerKey &own, const PeerKey &other) {
  const PeerContext context = context_of(own);
  EXPECT_EQ(EVP_PKEY_derive_init(context.get()), 1);
  EVP_PKEY_CTX_set_dh_pad(context.get(), 1);
  EXPECT_EQ(EVP_PKEY_derive_set_peer(context.get(), other.get()), 1);
  Octets secret(static_cast<size_t>(EVP_PKEY_get_size(own.get())));
  size_t length = secret.size();
  EXPECT_EQ(EVP_PKEY_derive(context.get(), secret.data(), &length), 1);
  secret.resize(length);
  return secret;
}

}  // namespace

TEST(SchemesOracle, RsaSignatures) {
  Random random(21);
  size_t refused = 0;
  for (const auto &[bits, e] : kRsaKeys) {
    const PeerKey peer = rsa_key(bits, e);
    const SshPublicKeyOwner ours = rsa(number_of(peer, OSSL_PKEY_PARAM_RSA_N),
                                       number_of(peer, OSSL_PKEY_PARAM_RSA_E), "if-modn");
    for (const auto &[scheme, hash] : kRsaSchemes) {
      SCOPED_TRACE(testing::Message() << bits << " " << e << " " << scheme);
      const size_t octets = (bits + 7) / 8;
      const Octets data = random.octets(hash ? random.below(300) : random.below(octets - 10));
      const Octets signature = peer_sign(peer, hash, data);
      if (signature.empty()) {
        EXPECT_EQ(verify(ours, scheme, data, Octets(octets, 1)), SSH_KEY_TOO_LONG);
        continue;
      }
      ASSERT_EQ(verify(ours, scheme, data, signature), SSH_KEY_OK);
      for (int i = 0; i < 12; ++i) {
        const Octets bad = changed(random, signature);
        const bool valid = peer_verify(peer, hash, data, bad);
        refused += !valid;
        ASSERT_EQ(verify(ours, scheme, data, bad), valid ? SSH_KEY_OK : SSH_KEY_BAD_SIGNATURE)
            << hex(bad);
      }
    }
  }
  EXPECT_GT(refused, 500u);
}

TEST(SchemesOracle, RsaEncryption) {
  Random random(22);
  SshNoise noise;
  for (const auto &[bits, e] : kRsaKeys) {
    SCOPED_TRACE(testing::Message() << bits << " " << e);
    const PeerKey peer = rsa_key(bits, e);
    const SshPublicKeyOwner ours =
        rsa(number_of(peer, OSSL_PKEY_PARAM_RSA_N), number_of(peer, OSSL_PKEY_PARAM_RSA_E));
    const size_t most = (bits + 7) / 8 - 11;
    for (const size_t length : {size_t{0}, size_t{1}, size_t{24}, random.below(most), most}) {
      const Octets data = random.octets(length);
      SshBlock out;
      size_t size = 0;
      ASSERT_EQ(ssh_public_key_encrypt(ours.get(), data, &noise, &out, &size), SSH_KEY_OK);
      const PeerContext context = context_of(peer);
      EVP_PKEY_decrypt_init(context.get());
      Octets found(size);
      size_t found_length = found.size();
      ASSERT_EQ(EVP_PKEY_decrypt(context.get(), found.data(), &found_length, out.get(), size), 1);
      found.resize(found_length);
      ASSERT_EQ(hex(found), hex(data));
    }
  }
}

TEST(SchemesOracle, DsaSignatures) {
  constexpr struct {
    int bits, q_bits;
    const char *type;
  } kSizes[] = {{1024, 160, "fips186_2"},
                {1024, 160, "fips186_4"},
                {2048, 224, "fips186_4"},
                {2048, 256, "fips186_4"}};
  constexpr struct {
    const char *scheme, *hash;
  } kSchemes[] = {
      {"dsa-nist-sha1", "SHA1"}, {"dsa-nist-sha224", "SHA224"}, {"dsa-nist-sha256", "SHA256"}};
  Random random(23);
  for (const auto &[bits, q_bits, type] : kSizes) {
    const PeerKey parameters = dsa_parameters(bits, q_bits, type);
    const auto length = static_cast<size_t>(q_bits) / 8;
    for (int i = 0; i < 12; ++i) {
      const PeerKey peer = generate(parameters);
      const auto &[scheme, hash] = kSchemes[i % 3];
      SCOPED_TRACE(testing::Message() << bits << " " << q_bits << " " << scheme);
      const SshPublicKeyOwner ours = dl(group_of(peer), number_of(peer, OSSL_PKEY_PARAM_PUB_KEY));
      const Octets data = random.octets(random.below(300));
      const Octets good = dsa_pair(peer_sign(peer, hash, data), length);
      ASSERT_EQ(verify(ours, scheme, data, good), SSH_KEY_OK);
      for (int j = 0; j < 6; ++j) {
        const Octets bad = changed(random, good);
        const bool valid = bad.size() == good.size() && peer_verify(peer, hash, data, dsa_der(bad));
        ASSERT_EQ(verify(ours, scheme, data, bad), valid ? SSH_KEY_OK : SSH_KEY_BAD_SIGNATURE);
      }
    }
  }
}

TEST(SchemesOracle, DhAgreement) {
  Random random(24);
  const PeerKey dsa = dsa_parameters(1024, 160, "fips186_4");
  std::vector<std::pair<const char *, Group>> groups = {{nullptr, group_of(dsa)}};
  for (const char *name :
       {"ietf-ike-grp-modp-768", "ietf-ike-grp-modp-1024", "ietf-ike-grp-modp-1536"}) {
    Group group;
    ASSERT_EQ(ssh_public_key_get_info(named(name, SshMpInt(2)).get(),
                                      {{SSH_KEY_TAG_P, &group.p}, {SSH_KEY_TAG_G, &group.g}}),
              SSH_KEY_OK);
    groups.emplace_back(name, group);
  }
  for (const auto &row : groups) {
    const char *name = row.first;
    const Group &group = row.second;
    const auto ours = [&](const SshMpInt &y) { return name ? named(name, y) : dl(group, y); };
    const PeerKey parameters = dh_key(group, nullptr);
    for (int i = 0; i < 8; ++i) {
      SCOPED_TRACE(testing::Message() << (name ? name : "explicit") << " " << i);
      const PeerKey peer = generate(parameters);
      const Octets secret = random.octets(20 + random.below(30));
      Octets own_value, found;
      ASSERT_EQ(agree(ours(group.g), secret, &own_value), SSH_KEY_OK);
      ASSERT_EQ(agree(ours(number_of(peer, OSSL_PKEY_PARAM_PUB_KEY)), secret, &found), SSH_KEY_OK);
      const SshMpInt y = number(own_value);
      EXPECT_EQ(hex(peer_agree(peer, dh_key(group, &y))), hex(found));
    }
  }
}
