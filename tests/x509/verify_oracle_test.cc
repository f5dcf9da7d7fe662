// Signatures of certificates and CRLs: made and judged by OpenSSL, changed in every part, and those
// of the corpus.
#include "x509/verify.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <filesystem>
#include <map>
#include <random>

#include "support/samples.h"
#include "support/tsv.h"
#include "util/owner.h"

namespace {

using namespace sample;

using PeerKey = Owner<EVP_PKEY, EVP_PKEY_free>;
using PeerCert = Owner<X509, X509_free>;
using PeerCrl = Owner<X509_CRL, X509_CRL_free>;
using PeerContext = Owner<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;

PeerKey dsa_key(int bits, int q_bits) {
  const PeerContext context(EVP_PKEY_CTX_new_id(EVP_PKEY_DSA, nullptr));
  EVP_PKEY *parameters = nullptr, *key = nullptr;
  EVP_PKEY_paramgen_init(context.get());
  EVP_PKEY_CTX_set_dsa_paramgen_bits(context.get(), bits);
  EVP_PKEY_CTX_set_dsa_paramgen_q_bits(context.get(), q_bits);
  EXPECT_EQ(EVP_PKEY_paramgen(context.get(), &parameters), 1);
  const PeerKey owner(parameters);
  const PeerContext generator(EVP_PKEY_CTX_new(parameters, nullptr));
  EVP_PKEY_keygen_init(generator.get());
  EXPECT_EQ(EVP_PKEY_keygen(generator.get(), &key), 1);
  return PeerKey(key);
}

// Keys are made once: DSA parameters take long.
struct Keys {
  PeerKey rsa{EVP_RSA_gen(1024)}, other_rsa{EVP_RSA_gen(1024)}, odd_rsa{EVP_RSA_gen(1021)};
  PeerKey dsa = dsa_key(1024, 160), long_dsa = dsa_key(2048, 256);
};
const Keys &keys() {
  static const Keys made;
  return made;
}

Der key_info_of(const PeerKey &key) {
  Der der(static_cast<size_t>(i2d_PUBKEY(key.get(), nullptr)));
  uint8_t *at = der.data();
  i2d_PUBKEY(key.get(), &at);
  return der;
}

// object_of makes our key object the way callers do: out of a certificate.
SshPublicKeyOwner object_of(const PeerKey &key) {
  CertParts parts;
  parts.key = key_info_of(key);
  const Cert cert(parts.build());
  return SshPublicKeyOwner(ssh_x509_cert_public_key(cert.record.get()));
}

Bytes signed_part(Bytes whole) { return der::children(der::children(whole)[0].content)[0].whole; }

// sign gives a record the algorithm and OpenSSL's signature over its first part.
template <class Parts>
Der sign(Parts &parts, const PeerKey &key, const Der &algorithm, const char *hash) {
  parts.inner_algorithm = parts.outer_algorithm = algorithm;
  const Der unsigned_record = parts.build();
  const Bytes tbs = signed_part(unsigned_record);
  const Owner<EVP_MD_CTX, EVP_MD_CTX_free> context(EVP_MD_CTX_new());
  Der signature(1024);
  size_t length = signature.size();
  EXPECT_EQ(
      EVP_DigestSignInit(context.get(), nullptr, EVP_get_digestbyname(hash), nullptr, key.get()),
      1);
  EXPECT_EQ(EVP_DigestSign(context.get(), signature.data(), &length, tbs.data(), tbs.size()), 1);
  signature.resize(length);
  parts.signature = der::bits(signature);
  return parts.build();
}

PeerCert peer_cert(Bytes der) {
  const uint8_t *at = der.data();
  return PeerCert(d2i_X509(nullptr, &at, static_cast<long>(der.size())));
}
PeerCrl peer_crl(Bytes der) {
  const uint8_t *at = der.data();
  return PeerCrl(d2i_X509_CRL(nullptr, &at, static_cast<long>(der.size())));
}

// What one test does with both kinds of record.
struct CertKind {
  using Parts = CertParts;
  static std::pair<bool, SshX509Verdict> decode_and_verify(const Der &der,
                                                           const SshPublicKey *key) {
    const Cert cert(der);
    return {static_cast<bool>(cert), ssh_x509_cert_verify(cert.record.get(), key)};
  }
  static bool peer(const Der &der, EVP_PKEY *key) {
    const PeerCert cert = peer_cert(der);
    return cert && X509_verify(cert.get(), key) == 1;
  }
};
struct CrlKind {
  using Parts = CrlParts;
  static std::pair<bool, SshX509Verdict> decode_and_verify(const Der &der,
                                                           const SshPublicKey *key) {
    const Crl crl(der);
    return {static_cast<bool>(crl), ssh_x509_crl_verify(crl.record.get(), key)};
  }
  static bool peer(const Der &der, EVP_PKEY *key) {
    const PeerCrl crl = peer_crl(der);
    return crl && X509_CRL_verify(crl.get(), key) == 1;
  }
};

// ours gives the verdict on a record that can be read.
template <class Kind>
std::optional<SshX509Verdict> ours(const Der &der, const SshPublicKey *key) {
  const auto [decoded, verdict] = Kind::decode_and_verify(der, key);
  if (!decoded) return {};
  return verdict;
}

template <class Kind>
class VerifyOracle : public Balanced {};
using Kinds = testing::Types<CertKind, CrlKind>;
TYPED_TEST_SUITE(VerifyOracle, Kinds);

struct Case {
  const PeerKey *issuer, *subject;  // the subject's key is a certificate's own
  Der algorithm;
  const char *hash;
};
std::vector<Case> cases() {
  const Keys &k = keys();
  const auto rsa = [](std::string_view id) { return der::seq({der::oid(id), der::null()}); };
  const Der dsa = der::seq({der::oid(kDsaSha1)});
  return {{&k.rsa, &k.rsa, rsa("1.2.840.113549.1.1.4"), "MD5"},
          {&k.rsa, &k.dsa, rsa(kRsaSha1), "SHA1"},
          {&k.odd_rsa, &k.rsa, rsa("1.3.14.3.2.29"), "SHA1"},
          {&k.dsa, &k.dsa, dsa, "SHA1"},
          {&k.dsa, &k.long_dsa, dsa, "SHA1"},  // r and s come with more zeros than the issuer's q
          {&k.long_dsa, &k.long_dsa, dsa, "SHA1"},
          {&k.dsa, &k.dsa, der::seq({der::oid("1.3.14.3.2.27")}), "SHA1"}};
}

template <class Kind>
Der make(const Case &c) {
  typename Kind::Parts parts;
  if constexpr (requires { parts.key; }) parts.key = key_info_of(*c.subject);
  return sign(parts, *c.issuer, c.algorithm, c.hash);
}

}  // namespace

TYPED_TEST(VerifyOracle, WhatAnotherLibrarySigned) {
  for (const Case &c : cases()) {
    SCOPED_TRACE(hex(c.algorithm));
    const Der der = make<TypeParam>(c);
    ASSERT_TRUE(TypeParam::peer(der, c.issuer->get()));
    const bool dsa = EVP_PKEY_is_a(c.issuer->get(), "DSA");
    for (const PeerKey *key :
         {&keys().rsa, &keys().other_rsa, &keys().odd_rsa, &keys().dsa, &keys().long_dsa}) {
      const bool other_type = dsa != (EVP_PKEY_is_a(key->get(), "DSA") == 1);
      const SshX509Verdict wanted = key == c.issuer ? SSH_X509_VALID
                                    : other_type    ? SSH_X509_KEY_NOT_FIT
                                                    : SSH_X509_INVALID;
      EXPECT_EQ(ours<TypeParam>(der, object_of(*key).get()), wanted);
    }
    EXPECT_EQ(ours<TypeParam>(der, nullptr), SSH_X509_KEY_NOT_FIT);
  }
}

TYPED_TEST(VerifyOracle, AnyChangeIsSeen) {
  std::mt19937 random(31);
  for (const Case &c : cases()) {
    SCOPED_TRACE(hex(c.algorithm));
    const Der good = make<TypeParam>(c);
    const SshPublicKeyOwner key = object_of(*c.issuer);
    // What stands between the two is not signed, and its parameters are read by nobody.
    const auto parts = der::children(der::children(good)[0].content);
    const auto from = static_cast<size_t>(parts[1].whole.data() - good.data());
    size_t read = 0;
    for (size_t at = 0; at < good.size(); at += 1 + random() % 3) {
      if (at >= from && at < from + parts[1].whole.size()) continue;
      Der bad = good;
      bad[at] ^= static_cast<uint8_t>(1u << random() % 8);
      const auto verdict = ours<TypeParam>(bad, key.get());
      read += verdict.has_value();
      ASSERT_NE(verdict, SSH_X509_VALID) << at;
    }
    EXPECT_GT(read, 20u);
  }
}

TYPED_TEST(VerifyOracle, SchemesThatCannotBeComputed) {
  const struct {
    const char *id;
    const PeerKey *key;
  } schemes[] = {{"1.2.840.113549.1.1.2", &keys().rsa},
                 {"1.2.840.113549.1.1.3", &keys().rsa},
                 {"1.3.14.3.2.13", &keys().dsa},
                 {"1.3.14.7.2.3.2", &keys().dsa}};
  for (const auto &[id, key] : schemes) {
    typename TypeParam::Parts parts;
    if constexpr (requires { parts.key; }) {
      if (id == std::string_view("1.3.14.7.2.3.2")) continue;  // has no certificates
      parts.key = key_info_of(*key);
    }
    const Der der = sign(parts, *key, algorithm(id), "SHA1");
    for (const PeerKey *issuer : {&keys().rsa, &keys().dsa}) {
      EXPECT_EQ(ours<TypeParam>(der, object_of(*issuer).get()), SSH_X509_SCHEME_NOT_SUPPORTED)
          << id;
    }
  }
}

TYPED_TEST(VerifyOracle, OneFormOfADsaSignature) {
  const Keys &k = keys();
  typename TypeParam::Parts parts;
  if constexpr (requires { parts.key; }) parts.key = key_info_of(k.dsa);
  sign(parts, k.dsa, der::seq({der::oid(kDsaSha1)}), "SHA1");
  const Der value(parts.signature.begin() + 3, parts.signature.end());
  const auto pair = der::children(der::children(value)[0].content);
  ASSERT_EQ(pair.size(), 2u);
  const Der r(pair[0].whole.begin(), pair[0].whole.end()),
      s(pair[1].whole.begin(), pair[1].whole.end());
  const auto with_zero = [](const der::Element &element) {
    return der::tlv(2, der::join({{0}, Der(element.content.begin(), element.content.end())}));
  };
  const auto negated = [](const der::Element &element) {
    SshMpInt number;
    number.set_magnitude(element.content, true);
    Der content(number.twos_complement_length());
    number.write_twos_complement(content.data());
    return der::tlv(2, content);
  };
  const auto long_length = [](const Der &element) {
    return der::join({{element[0], 0x81}, Der(element.begin() + 1, element.end())});
  };
  const struct {
    Der signature;
    SshX509Verdict verdict;
  } cases[] = {
      {der::seq({r, s}), SSH_X509_VALID},
      {der::seq({s, r}), SSH_X509_INVALID},
      {der::join({der::seq({r, s}), {0}}), SSH_X509_INVALID},
      {der::join({der::seq({r, s}), der::null()}), SSH_X509_INVALID},
      {der::seq({r, s, der::null()}), SSH_X509_INVALID},
      {der::seq({with_zero(pair[0]), s}), SSH_X509_INVALID},
      {der::seq({r, with_zero(pair[1])}), SSH_X509_INVALID},
      {der::seq({long_length(r), s}), SSH_X509_INVALID},
      {long_length(der::seq({r, s})), SSH_X509_INVALID},
      {der::indefinite(0x30, {r, s}), SSH_X509_INVALID},
      {der::set({r, s}), SSH_X509_INVALID},
      {der::join({r, s}), SSH_X509_INVALID},
      {der::seq({r}), SSH_X509_INVALID},
      {der::seq({der::integer(0), der::integer(0)}), SSH_X509_INVALID},
      {der::seq({negated(pair[0]), s}), SSH_X509_INVALID},
      {der::seq({r, negated(pair[1])}), SSH_X509_INVALID},
      {der::seq({der::natural(Der(300, 0x11)), s}), SSH_X509_INVALID},
      {{}, SSH_X509_INVALID},
  };
  const SshPublicKeyOwner key = object_of(k.dsa);
  for (const auto &c : cases) {
    parts.signature = der::bits(c.signature);
    const Der der = parts.build();
    EXPECT_EQ(TypeParam::decode_and_verify(der, key.get()).second, c.verdict) << hex(c.signature);
    EXPECT_EQ(TypeParam::peer(der, k.dsa.get()), c.verdict == SSH_X509_VALID) << hex(c.signature);
  }
}

// A signature of whole octets with some bits behind it is another one, which nobody made.
TYPED_TEST(VerifyOracle, BitsBehindASignature) {
  for (const Case &c : cases()) {
    const Der good = make<TypeParam>(c);
    const auto parts = der::children(der::children(good)[0].content);
    const auto copy = [](Bytes octets) { return Der(octets.begin(), octets.end()); };
    Der value = copy(parts[2].content);
    value[0] = 3;
    value.push_back(0x50);
    const Der longer = der::seq({copy(parts[0].whole), copy(parts[1].whole), der::tlv(3, value)});
    EXPECT_EQ(ours<TypeParam>(longer, object_of(*c.issuer).get()), SSH_X509_INVALID);
  }
}

// r and s are made as long as q, which must not ask for more memory than there is for one request.
TYPED_TEST(VerifyOracle, AnOrderOfMillionsOfOctets) {
  const Der q = der::natural(Der(51 << 20, 0x55)), one = der::integer(1);
  const Der info = der::seq(
      {der::seq({der::oid("1.2.840.10040.4.1"), der::seq({one, q, one})}), der::bits(one)});
  SshMpInt order;
  order.set_magnitude(Der(51 << 20, 0x55));
  const SshMpInt other(7);
  SshPublicKey *key = nullptr;
  ASSERT_EQ(ssh_public_key_define(&key, "dl-modp{sign{dsa-nist-sha1}}",
                                  {{SSH_KEY_TAG_P, &other},
                                   {SSH_KEY_TAG_Q, &order},
                                   {SSH_KEY_TAG_G, &other},
                                   {SSH_KEY_TAG_Y, &other}}),
            SSH_KEY_OK);
  const SshPublicKeyOwner owner(key);
  EXPECT_EQ(ours<TypeParam>(make<TypeParam>(cases()[3]), key), SSH_X509_KEY_NOT_FIT);
  if constexpr (requires(typename TypeParam::Parts parts) { parts.key; }) {
    typename TypeParam::Parts parts;
    parts.key = info;
    const Der der = sign(parts, keys().dsa, der::seq({der::oid(kDsaSha1)}), "SHA1");
    EXPECT_EQ(ours<TypeParam>(der, key), std::nullopt);
  }
}

// A refused record may hold a good signature, as its refusal comes later; that counts for nothing.
TYPED_TEST(VerifyOracle, RecordsThatWereNotDecoded) {
  const Case c = cases()[1];
  typename TypeParam::Parts parts;
  if constexpr (requires { parts.key; }) parts.key = key_info_of(*c.subject);
  parts.extensions = {extension("2.5.29.35", der::null())};
  const Der bad = sign(parts, *c.issuer, c.algorithm, c.hash);
  EXPECT_TRUE(TypeParam::peer(bad, c.issuer->get()));
  EXPECT_EQ(TypeParam::decode_and_verify(bad, object_of(*c.issuer).get()),
            std::pair(false, SSH_X509_INVALID));
}

// Every certificate and CRL of the corpus that both libraries read, with the keys of every
// certificate that has its issuer's name.
TEST(VerifyOracleCorpus, BothLibrariesAgree) {
  const std::filesystem::path folder = std::filesystem::path(KWPKI_CORPUS_DIR) / "der";
  if (!std::filesystem::exists(folder)) GTEST_SKIP() << "there is no corpus";
  struct Issuer {
    std::string name;
    PeerCert peer;
    SshPublicKeyOwner key;
  };
  std::vector<std::pair<std::string, Der>> files;
  std::vector<Issuer> issuers;
  for (const auto &entry : std::filesystem::directory_iterator(folder)) {
    files.emplace_back(entry.path().filename().string(), read_file(entry.path().string()));
    const Cert cert(files.back().second);
    PeerCert peer = peer_cert(files.back().second);
    SshPublicKeyOwner key;
    if (cert) key.reset(ssh_x509_cert_public_key(cert.record.get()));
    if (!key || !peer || !X509_get0_pubkey(peer.get())) continue;
    issuers.push_back({files.back().first, std::move(peer), std::move(key)});
  }
  std::map<SshX509Verdict, size_t> count;
  for (const auto &[name, der] : files) {
    const PeerCert cert = peer_cert(der);
    const PeerCrl crl = cert ? nullptr : peer_crl(der);
    if (!cert && !crl) continue;
    const X509_NAME *wanted =
        cert ? X509_get_issuer_name(cert.get()) : X509_CRL_get_issuer(crl.get());
    for (const Issuer &issuer : issuers) {
      if (X509_NAME_cmp(wanted, X509_get_subject_name(issuer.peer.get())) != 0) continue;
      EVP_PKEY *theirs = X509_get0_pubkey(issuer.peer.get());
      const auto verdict =
          cert ? ours<CertKind>(der, issuer.key.get()) : ours<CrlKind>(der, issuer.key.get());
      if (!verdict) continue;
      const bool valid = cert ? CertKind::peer(der, theirs) : CrlKind::peer(der, theirs);
      EXPECT_EQ(*verdict == SSH_X509_VALID, valid) << name << " by " << issuer.name;
      ++count[*verdict];
    }
  }
  EXPECT_GT(count[SSH_X509_VALID], 30u);
  EXPECT_GT(count[SSH_X509_INVALID], 4u);
  EXPECT_GT(count[SSH_X509_SCHEME_NOT_SUPPORTED], 10u);
}
