// Signatures of certificates and CRLs, made by OpenSSL, under every algorithm that is computed.
// That a change is seen wherever it stands is tested in tests/crypto.
#include "x509/verify.h"

#include <openssl/dsa.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include "support/samples.h"

namespace {

using namespace sample;

using PeerKey = Owner<EVP_PKEY, EVP_PKEY_free>;

// dsa_key makes a key with a q of 160 bits, or of 256 for a p of 2048.
EVP_PKEY *dsa_key(int bits) {
  DSA *dsa = DSA_new();
  EXPECT_EQ(DSA_generate_parameters_ex(dsa, bits, nullptr, 0, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(DSA_generate_key(dsa), 1);
  EVP_PKEY *key = EVP_PKEY_new();
  EVP_PKEY_assign_DSA(key, dsa);
  return key;
}

// key_of gives a key by its name; each is made once, since DSA parameters take long.
EVP_PKEY *key_of(const std::string &name) {
  static std::map<std::string, PeerKey> keys;
  if (keys.empty()) {
    keys["RSA"].reset(EVP_RSA_gen(1024));
    keys["odd RSA"].reset(EVP_RSA_gen(1021));
    keys["DSA"].reset(dsa_key(1024));
    keys["long DSA"].reset(dsa_key(2048));
    keys["EC"].reset(EVP_EC_gen("P-256"));
  }
  return keys.at(name).get();
}

CertParts parts_with(const std::string &name) {
  CertParts parts;
  parts.key.resize(static_cast<size_t>(i2d_PUBKEY(key_of(name), nullptr)));
  uint8_t *at = parts.key.data();
  i2d_PUBKEY(key_of(name), &at);
  return parts;
}

// object_of makes our key object the way callers do: out of a certificate.
SshPublicKeyOwner object_of(const CertParts &parts) {
  const Cert cert(parts.build());
  return SshPublicKeyOwner(ssh_x509_cert_public_key(cert.record.get()));
}

struct Case {
  bool modern;  // known to that profile alone
  const char *id, *scheme, *hash, *issuer;
  const char *subject = "RSA";  // whose key a certificate has

  [[nodiscard]] bool computed() const { return std::string_view(issuer) != "EC"; }
  [[nodiscard]] bool is_dsa() const { return std::string_view(issuer).ends_with("DSA"); }
  [[nodiscard]] bool is_rsa() const { return std::string_view(issuer).ends_with("RSA"); }
};
constexpr Case kDsa = {false, kDsaSha1, "dsa-nist-sha1", "SHA1", "DSA", "DSA"};
constexpr Case kCases[] = {
    kDsa,
    {false, kRsaSha1, "rsa-pkcs1-sha1", "SHA1", "RSA", "DSA"},
    // r and s come with more zeros than the issuer's q
    {false, kDsaSha1, "dsa-nist-sha1", "SHA1", "DSA", "long DSA"},
    {false, "1.3.14.3.2.29", "rsa-nist-sha1", "SHA1", "odd RSA"},
    {false, "1.2.840.113549.1.1.4", "rsa-pkcs1-md5", "MD5", "RSA"},
    {true, "1.2.840.113549.1.1.11", "rsa-pkcs1-sha256", "SHA256", "RSA", "EC"},
    {true, "1.2.840.113549.1.1.14", "rsa-pkcs1-sha224", "SHA224", "RSA"},
    {true, "1.2.840.113549.1.1.12", "rsa-pkcs1-sha384", "SHA384", "RSA"},
    {true, "1.2.840.113549.1.1.13", "rsa-pkcs1-sha512", "SHA512", "RSA"},
    {true, "2.16.840.1.101.3.4.3.1", "dsa-nist-sha224", "SHA224", "long DSA", "DSA"},
    {true, "2.16.840.1.101.3.4.3.2", "dsa-nist-sha256", "SHA256", "long DSA"},
    {true, "2.16.840.1.101.3.4.3.3", "dsa-nist-sha384", "SHA384", "DSA"},
    {true, "2.16.840.1.101.3.4.3.4", "dsa-nist-sha512", "SHA512", "long DSA"},
    {true, "1.2.840.10045.4.3.2", "ecdsa-sha256", "SHA256", "EC", "EC"},
};

// ours gives the verdict on a certificate, and nothing on one that cannot be read.
std::optional<SshX509Verdict> ours(const Der &der, const SshPublicKey *key) {
  const Cert cert(der);
  const SshX509Verdict verdict = ssh_x509_cert_verify(cert.record.get(), key);
  if (cert) return verdict;
  EXPECT_EQ(verdict, SSH_X509_INVALID);
  return {};
}

// sign gives a record the algorithm and OpenSSL's signature over its first part.
template <class Parts>
Der sign(Parts &parts, const Case &c) {
  parts.inner_algorithm = parts.outer_algorithm =
      der::seq({der::oid(c.id), c.is_rsa() ? der::null() : Der()});
  const Der unsigned_record = parts.build();
  const Bytes tbs = der::children(der::children(unsigned_record)[0].content)[0].whole;
  const Owner<EVP_MD_CTX, EVP_MD_CTX_free> context(EVP_MD_CTX_new());
  const EVP_MD *hash = EVP_get_digestbyname(c.hash);
  EXPECT_EQ(EVP_DigestSignInit(context.get(), nullptr, hash, nullptr, key_of(c.issuer)), 1);
  Der signature(1024);
  size_t length = signature.size();
  EXPECT_EQ(EVP_DigestSign(context.get(), signature.data(), &length, tbs.data(), tbs.size()), 1);
  signature.resize(length);
  parts.signature = der::bits(signature);
  return parts.build();
}

using VerifyOracle = Balanced;

}  // namespace

TEST_F(VerifyOracle, WhatAnotherLibrarySigned) {
  for (const Case &c : kCases) {
    SCOPED_TRACE(c.id + std::string(" of ") + c.subject);
    CertParts parts = parts_with(c.subject);
    const Der der = sign(parts, c);
    EXPECT_NE(static_cast<bool>(Cert(der)), c.modern);
    const ProfileScope modern(c.modern ? SSH_X509_MODERN : SSH_X509_CLASSIC);
    const Cert cert(der);
    ASSERT_TRUE(cert) << cert->refusal.structure;
    EXPECT_STREQ(cert->signature_scheme, c.scheme);
    for (const std::string name : {"RSA", "odd RSA", "DSA", "long DSA", ""}) {
      const bool fits = !name.empty() && name.ends_with("DSA") == c.is_dsa();
      EXPECT_EQ(ours(der, name.empty() ? nullptr : object_of(parts_with(name)).get()),
                !c.computed()      ? SSH_X509_SCHEME_NOT_SUPPORTED
                : name == c.issuer ? SSH_X509_VALID
                : fits             ? SSH_X509_INVALID
                                   : SSH_X509_KEY_NOT_FIT)
          << name;
    }
    if (!c.computed()) continue;
    const SshPublicKeyOwner key = object_of(parts_with(c.issuer));
    const auto with = [&](const Der &signature, unsigned unused) {
      parts.signature = der::bits(signature, unused);
      return ours(parts.build(), key.get());
    };
    const auto value = der::children(der::children(der)[0].content)[2].content.subspan(1);
    Der signature(value.begin(), value.end());
    EXPECT_EQ(with(signature, 0), SSH_X509_VALID);
    // The identifier that is not signed is the signed one, byte by byte.
    const Der inner = parts.outer_algorithm, id = der::oid(c.id);
    Der long_form = inner;
    long_form.insert(long_form.begin() + 1, 0x81);
    for (const Der &other : {der::seq({id, der::text(4, "")}), der::seq({id, der::text(0xE5, "")}),
                             der::seq({id, c.is_rsa() ? Der() : der::null()}), long_form,
                             der::seq({der::oid(c.is_dsa() ? kRsaSha1 : kDsaSha1), der::null()})}) {
      parts.outer_algorithm = other;
      EXPECT_EQ(with(signature, 0).value_or(SSH_X509_INVALID), SSH_X509_INVALID) << hex(other);
    }
    parts.outer_algorithm = inner;
    // Whole bytes with some bits behind them are another signature, which nobody made.
    signature.push_back(0x50);
    EXPECT_EQ(with(signature, 3), SSH_X509_INVALID);
    parts.issuer = der::common_name("Another");
    signature.pop_back();
    EXPECT_EQ(with(signature, 0), SSH_X509_INVALID);
    CrlParts list;
    const Crl crl(sign(list, c));
    EXPECT_EQ(ssh_x509_crl_verify(crl.record.get(), key.get()), SSH_X509_VALID);
    EXPECT_EQ(ssh_x509_crl_verify(crl.record.get(), nullptr), SSH_X509_KEY_NOT_FIT);
  }
}

// What encodes again to other bytes is refused.
TEST_F(VerifyOracle, OneFormOfADsaSignature) {
  CertParts parts = parts_with("DSA");
  sign(parts, kDsa);
  const Der good(parts.signature.begin() + 3, parts.signature.end());
  const auto numbers = der::children(der::children(good)[0].content);
  const Der r = der::tlv(2, numbers[0].content), s = der::tlv(2, numbers[1].content);
  const Der longer = der::tlv(2, der::join({{0}, Der(r.begin() + 2, r.end())}));
  const SshPublicKeyOwner key = object_of(parts_with("DSA"));
  for (const Der &other : {der::join({good, {0}}), der::seq({r, s, der::null()}),
                           der::seq({longer, s}), der::indefinite(0x30, {r, s})}) {
    parts.signature = der::bits(other);
    EXPECT_NE(ours(parts.build(), key.get()), SSH_X509_VALID) << hex(other);
  }
}

// r and s are made as long as q, which must not ask for more memory than there is for one request.
TEST_F(VerifyOracle, AnOrderOfMillionsOfOctets) {
  const Der one = der::integer(1), order = der::natural(Der(51 << 20, 0x55));
  CertParts parts = parts_with("DSA"), of_key;
  of_key.key = key_info(der::seq({one, order, one}), one, "1.2.840.10040.4.1");
  const SshPublicKeyOwner key = object_of(of_key);
  ASSERT_TRUE(key);
  EXPECT_EQ(ours(sign(parts, kDsa), key.get()), SSH_X509_KEY_NOT_FIT);
  parts.key = of_key.key;
  EXPECT_EQ(ours(sign(parts, kDsa), key.get()), std::nullopt);
}
