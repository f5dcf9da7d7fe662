// Certificates that OpenSSL makes, of each key type and signature algorithm of today: what the
// record says of them is what OpenSSL does, and the classic profile refuses them.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <functional>
#include <map>
#include <string>

#include "support/hex.h"
#include "support/profile.h"
#include "support/samples.h"

namespace {

using sample::Cert;
using sample::own_text;
using ProfileOracle = sample::Balanced;

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Context = std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)>;
using Peer = std::unique_ptr<X509, decltype(&X509_free)>;

Context context(const char *type) {
  return {EVP_PKEY_CTX_new_from_name(nullptr, type, nullptr), EVP_PKEY_CTX_free};
}

EVP_PKEY *generated(const Context &with, const std::function<void()> &set) {
  EVP_PKEY *key = nullptr;
  EXPECT_GT(EVP_PKEY_keygen_init(with.get()), 0);
  set();
  EXPECT_GT(EVP_PKEY_generate(with.get(), &key), 0);
  return key;
}

EVP_PKEY *rsa_key(const char *type) {
  const Context with = context(type);
  return generated(with, [&] { EVP_PKEY_CTX_set_rsa_keygen_bits(with.get(), 2048); });
}

EVP_PKEY *dh_key(const char *type, const char *group) {
  const Context with = context(type);
  return generated(with, [&] { EXPECT_GT(EVP_PKEY_CTX_set_group_name(with.get(), group), 0); });
}

EVP_PKEY *dsa_key() {
  const Context parameters = context("DSA");
  EVP_PKEY *made = nullptr;
  EXPECT_GT(EVP_PKEY_paramgen_init(parameters.get()), 0);
  EXPECT_GT(EVP_PKEY_generate(parameters.get(), &made), 0);
  const Key group(made, EVP_PKEY_free);
  return generated({EVP_PKEY_CTX_new(group.get(), nullptr), EVP_PKEY_CTX_free}, [] {});
}

// key_of gives a key by its type's name; each is made once.
EVP_PKEY *key_of(const std::string &type) {
  static std::map<std::string, Key> keys;
  const auto found = keys.find(type);
  if (found != keys.end()) return found->second.get();
  EVP_PKEY *key = nullptr;
  if (type == "RSA" || type == "RSA-PSS")
    key = rsa_key(type.c_str());
  else if (type == "DSA")
    key = dsa_key();
  else if (type == "DH")
    key = dh_key("DH", "ffdhe2048");
  else if (type == "DHX")
    key = dh_key("DHX", "dh_2048_256");
  else if (type.find("25519") == std::string::npos && type.find("448") == std::string::npos)
    key = EVP_EC_gen(type.c_str());
  else
    key = EVP_PKEY_Q_keygen(nullptr, nullptr, type.c_str());
  EXPECT_NE(key, nullptr) << type;
  return keys.emplace(type, Key(key, EVP_PKEY_free)).first->second.get();
}

struct Attribute {
  const char *type;
  int tag;
  const char *text;
};
// A name as public PKIs write it today, in the string types that OpenSSL puts into names.
constexpr Attribute kName[] = {
    {"jurisdictionC", V_ASN1_PRINTABLESTRING, "SE"},
    {"businessCategory", V_ASN1_UTF8STRING, "Private Organization"},
    {"organizationIdentifier", V_ASN1_UTF8STRING, "NTRSE-1"},
    {"street", V_ASN1_UTF8STRING, "1 Some Road"},
    {"postalCode", V_ASN1_NUMERICSTRING, "12345"},
    {"O", V_ASN1_IA5STRING, "Org"},
    {"CN", V_ASN1_UTF8STRING, "host.example"},
};
constexpr char kNameText[] =
    "jurisdictionC=SE, businessCategory=Private Organization, organizationIdentifier=NTRSE-1, "
    "streetAddress=1 Some Road, postalCode=12345, O=Org, CN=host.example";

// made gives a certificate for a key, signed with another; `pss` asks RSA for its newer padding.
Peer made(EVP_PKEY *key, EVP_PKEY *signer, const char *hash, bool pss, bool todays_name) {
  Peer peer(X509_new(), X509_free);
  X509_set_version(peer.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(peer.get()), 7);
  X509_NAME *name = X509_get_subject_name(peer.get());
  const Attribute plain[] = {{"CN", V_ASN1_PRINTABLESTRING, "A"}};
  const auto attributes = todays_name ? std::span<const Attribute>(kName) : plain;
  for (const Attribute &row : attributes) {
    EXPECT_EQ(X509_NAME_add_entry_by_txt(name, row.type, row.tag,
                                         reinterpret_cast<const uint8_t *>(row.text), -1, -1, 0),
              1)
        << row.type;
  }
  X509_set_issuer_name(peer.get(), name);
  X509_gmtime_adj(X509_getm_notBefore(peer.get()), 0);
  X509_gmtime_adj(X509_getm_notAfter(peer.get()), 86400);
  EXPECT_EQ(X509_set_pubkey(peer.get(), key), 1);

  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> digest(EVP_MD_CTX_new(),
                                                                       EVP_MD_CTX_free);
  EVP_PKEY_CTX *signing = nullptr;
  const EVP_MD *md = hash ? EVP_get_digestbyname(hash) : nullptr;
  EXPECT_EQ(EVP_DigestSignInit(digest.get(), &signing, md, nullptr, signer), 1);
  if (pss) {
    EXPECT_GT(EVP_PKEY_CTX_set_rsa_padding(signing, RSA_PKCS1_PSS_PADDING), 0);
  }
  EXPECT_GT(X509_sign_ctx(peer.get(), digest.get()), 0);
  return peer;
}

template <class Object>
Der encoded(int (*write)(const Object *, uint8_t **), const Object *object) {
  uint8_t *octets = nullptr;
  const int length = write(object, &octets);
  Der der(octets, octets + length);
  OPENSSL_free(octets);
  return der;
}

// expect_todays decodes a certificate under both profiles and compares key and signature.
void expect_todays(X509 *peer, const char *scheme, uint32_t signature_type, uint32_t key_type,
                   const std::string &text) {
  const Der octets = encoded(i2d_X509, static_cast<const X509 *>(peer));
  EXPECT_FALSE(Cert(octets));
  const ProfileScope modern(SSH_X509_MODERN);
  const Cert cert(octets);
  ASSERT_TRUE(cert) << cert->refusal.structure << " at " << cert->refusal.offset;
  EXPECT_STREQ(cert->signature_scheme, scheme);
  EXPECT_EQ(cert->signature_key_type, signature_type);
  EXPECT_EQ(cert->public_key_type, key_type);
  EXPECT_EQ(own_text(ssh_x509_cert_subject_text(cert.record.get())), text);
  EXPECT_EQ(own_text(ssh_x509_name_text(cert->issuer_names)), text);
  EXPECT_EQ(
      hex(cert->key.info),
      hex(encoded(i2d_X509_PUBKEY, static_cast<const X509_PUBKEY *>(X509_get_X509_PUBKEY(peer)))));
  const ASN1_BIT_STRING *theirs = nullptr;
  X509_get0_signature(&theirs, nullptr, peer);
  const Bytes bits(theirs->data, static_cast<size_t>(theirs->length));
  if (!cert->signature_pair) {
    EXPECT_EQ(hex(cert->signature), hex(bits));
  }
  EXPECT_EQ(cert->signature_pair, signature_type == SSH_OID_KEY_DSA && key_type == SSH_OID_KEY_DSA);

  const SshPublicKeyOwner key(ssh_x509_cert_public_key(cert.record.get()));
  EXPECT_EQ(key != nullptr, key_type == SSH_OID_KEY_RSA || key_type == SSH_OID_KEY_DSA);
}

TEST_F(ProfileOracle, SignatureAlgorithms) {
  const struct {
    const char *key, *hash;
    bool pss;
    const char *scheme;
    uint32_t type;
  } rows[] = {
      {"RSA", "SHA224", false, "rsa-pkcs1-sha224", 1},
      {"RSA", "SHA256", false, "rsa-pkcs1-sha256", 1},
      {"RSA", "SHA384", false, "rsa-pkcs1-sha384", 1},
      {"RSA", "SHA512", false, "rsa-pkcs1-sha512", 1},
      {"RSA", "SHA1", true, "rsa-pss", 10},
      {"RSA", "SHA512", true, "rsa-pss", 10},
      {"RSA-PSS", "SHA256", true, "rsa-pss", 10},
      {"DSA", "SHA224", false, "dsa-nist-sha224", 2},
      {"DSA", "SHA256", false, "dsa-nist-sha256", 2},
      {"P-256", "SHA1", false, "ecdsa-sha1", 5},
      {"P-256", "SHA224", false, "ecdsa-sha224", 5},
      {"P-256", "SHA256", false, "ecdsa-sha256", 5},
      {"P-384", "SHA384", false, "ecdsa-sha384", 5},
      {"P-521", "SHA512", false, "ecdsa-sha512", 5},
      {"ED25519", nullptr, false, "ed25519", 6},
      {"ED448", nullptr, false, "ed448", 7},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(std::string(row.key) + " " + row.scheme);
    // An RSA key shows what the signature alone changes.
    const Peer peer = made(key_of("RSA"), key_of(row.key), row.hash, row.pss, false);
    expect_todays(peer.get(), row.scheme, row.type, SSH_OID_KEY_RSA, "CN=A");
  }
}

TEST_F(ProfileOracle, KeysAndNames) {
  const struct {
    const char *key;
    uint32_t type;
  } rows[] = {
      {"RSA", 1},     {"DSA", 2},   {"DH", 4},     {"DHX", 4},  {"P-256", 5},    {"secp256k1", 5},
      {"ED25519", 6}, {"ED448", 7}, {"X25519", 8}, {"X448", 9}, {"RSA-PSS", 10},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.key);
    const Peer ec = made(key_of(row.key), key_of("P-256"), "SHA256", false, true);
    expect_todays(ec.get(), "ecdsa-sha256", SSH_OID_KEY_EC, row.type, kNameText);
    const Peer dsa = made(key_of(row.key), key_of("DSA"), "SHA256", false, true);
    expect_todays(dsa.get(), "dsa-nist-sha256", SSH_OID_KEY_DSA, row.type, kNameText);
  }
}

// What classic reads of a signature, key and name, modern reads in the same way.
TEST_F(ProfileOracle, ClassicOnes) {
  const Peer peer = made(key_of("DSA"), key_of("DSA"), "SHA1", false, false);
  const Der octets = encoded(i2d_X509, static_cast<const X509 *>(peer.get()));
  const Cert classic(octets);
  const ProfileScope scope(SSH_X509_MODERN);
  const Cert modern(octets);
  ASSERT_TRUE(classic && modern);
  EXPECT_STREQ(modern->signature_scheme, classic->signature_scheme);
  EXPECT_EQ(hex(modern->signature), hex(classic->signature));
  EXPECT_TRUE(modern->signature_pair && classic->signature_pair);
  EXPECT_EQ(hex(modern->key.y), hex(classic->key.y));
}

}  // namespace
