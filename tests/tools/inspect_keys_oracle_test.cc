// Keys that have no key object, and signatures with parameters, against those that OpenSSL makes.
#include <gmock/gmock.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <memory>

#include "support/tool.h"
#include "tools/inspect_samples.h"

namespace {

using namespace inspect_samples;
using nlohmann::json;
using testing::HasSubstr;

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

Key owned(EVP_PKEY *key) { return {key, EVP_PKEY_free}; }

Key pss_key(const EVP_MD *hash, int salt) {
  const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA-PSS", nullptr),
                           EVP_PKEY_CTX_free);
  EVP_PKEY *key = nullptr;
  EXPECT_GT(EVP_PKEY_keygen_init(context.get()), 0);
  EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), 1024);
  if (hash) {
    EVP_PKEY_CTX_set_rsa_pss_keygen_md(context.get(), hash);
    EVP_PKEY_CTX_set_rsa_pss_keygen_mgf1_md(context.get(), hash);
    EVP_PKEY_CTX_set_rsa_pss_keygen_saltlen(context.get(), salt);
  }
  EXPECT_GT(EVP_PKEY_generate(context.get(), &key), 0);
  return owned(key);
}

// certificate_for makes one for a key; what signs it tells by its digest context.
std::string certificate_for(EVP_PKEY *subject, EVP_MD_CTX *signer) {
  const std::unique_ptr<X509, decltype(&X509_free)> x509(X509_new(), X509_free);
  X509_set_version(x509.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(x509.get()), 7);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(x509.get()), "CN", V_ASN1_UTF8STRING,
                             reinterpret_cast<const uint8_t *>("A"), -1, -1, 0);
  X509_set_issuer_name(x509.get(), X509_get_subject_name(x509.get()));
  X509_gmtime_adj(X509_getm_notBefore(x509.get()), 0);
  X509_gmtime_adj(X509_getm_notAfter(x509.get()), 86400);
  EXPECT_EQ(X509_set_pubkey(x509.get(), subject), 1);
  EXPECT_GT(X509_sign_ctx(x509.get(), signer), 0);
  uint8_t *der = nullptr;
  const int length = i2d_X509(x509.get(), &der);
  std::string octets(der, der + length);
  OPENSSL_free(der);
  return octets;
}

DigestContext signer(EVP_PKEY *key, const EVP_MD *hash, EVP_PKEY_CTX **context = nullptr) {
  DigestContext made(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  EXPECT_EQ(EVP_DigestSignInit(made.get(), context, hash, nullptr, key), 1);
  return made;
}

json shown_key(EVP_PKEY *key) {
  static const Key ca = owned(EVP_EC_gen("P-256"));
  const std::string der = certificate_for(key, signer(ca.get(), EVP_sha256()).get());
  const Result result = run({"inspect", "--json"}, der);
  EXPECT_EQ(result.code, 0) << result.out;
  return result.objects().at(0)["public_key"];
}

// Every curve that the tool knows has OpenSSL's name, identifier and degree.
TEST(InspectKeys, Curves) {
  std::vector<EC_builtin_curve> curves(EC_get_builtin_curves(nullptr, 0));
  EC_get_builtin_curves(curves.data(), curves.size());
  size_t named = 0;
  for (const EC_builtin_curve &curve : curves) {
    char oid[64] = "";
    const Key key = owned(EVP_EC_gen(OBJ_nid2sn(curve.nid)));
    if (!key || OBJ_obj2txt(oid, sizeof oid, OBJ_nid2obj(curve.nid), 1) <= 0) continue;
    SCOPED_TRACE(oid);
    const std::unique_ptr<EC_GROUP, decltype(&EC_GROUP_free)> group(
        EC_GROUP_new_by_curve_name(curve.nid), EC_GROUP_free);
    const int degree = EC_GROUP_get_degree(group.get());
    const json shown = shown_key(key.get());
    EXPECT_EQ(shown["type"], "EC");
    EXPECT_EQ(shown["curve"]["oid"], oid);
    const bool known = shown["curve"].contains("name");
    EXPECT_EQ(shown["bits"], known ? degree : (degree + 7) / 8 * 8);
    if (!known) continue;
    ++named;
    std::string name = OBJ_nid2sn(curve.nid);
    if (name == "SM2") name = "sm2p256v1";
    EXPECT_EQ(shown["curve"]["name"], name);
    const char *nist = EC_curve_nid2nist(curve.nid);
    EXPECT_EQ(shown["curve"].value("nist_name", ""), nist ? nist : "");
  }
  EXPECT_GE(named, 50u);
}

TEST(InspectKeys, ExplicitCurve) {
  const std::unique_ptr<EC_GROUP, decltype(&EC_GROUP_free)> group(
      EC_GROUP_new_by_curve_name(NID_secp384r1), EC_GROUP_free);
  EC_GROUP_set_asn1_flag(group.get(), OPENSSL_EC_EXPLICIT_CURVE);
  const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr), EVP_PKEY_CTX_free);
  EVP_PKEY *key = nullptr;
  ASSERT_GT(EVP_PKEY_keygen_init(context.get()), 0);
  EVP_PKEY_CTX_set_ec_paramgen_curve_nid(context.get(), NID_secp384r1);
  EVP_PKEY_CTX_set_ec_param_enc(context.get(), OPENSSL_EC_EXPLICIT_CURVE);
  ASSERT_GT(EVP_PKEY_generate(context.get(), &key), 0);
  const json shown = shown_key(owned(key).get());
  EXPECT_EQ(shown["curve"], "explicit parameters");
  EXPECT_EQ(shown["bits"], 384);
}

TEST(InspectKeys, WithoutParameters) {
  for (const char *type : {"ED25519", "ED448", "X25519", "X448"}) {
    const Key key = owned(EVP_PKEY_Q_keygen(nullptr, nullptr, type));
    uint8_t octets[64];
    size_t length = sizeof octets;
    ASSERT_EQ(EVP_PKEY_get_raw_public_key(key.get(), octets, &length), 1);
    const json shown = shown_key(key.get());
    EXPECT_STRCASEEQ(shown["type"].get<std::string>().c_str(), type);
    EXPECT_EQ(shown["bits"], length * 8);
    EXPECT_EQ(shown["public_value"], kwpki::hex({octets, length}));
  }
}

TEST(InspectKeys, Pss) {
  const struct {
    const EVP_MD *hash;
    int salt;
    const char *name;
  } rows[] = {{EVP_sha256(), 32, "sha256"},
              {EVP_sha512(), 20, "sha512"},
              {EVP_sha1(), 20, "sha1"},  // all of them defaults, and left out
              {EVP_sha1(), 0, "sha1"}};
  for (const auto &row : rows) {
    const Key key = pss_key(row.hash, row.salt);
    const json expected = {{"hash", row.name},
                           {"mask_generation", "id-mgf1"},
                           {"mask_hash", row.name},
                           {"salt_length", row.salt},
                           {"trailer_field", 1}};
    EVP_PKEY_CTX *context = nullptr;
    const DigestContext pss = signer(key.get(), row.hash, &context);
    EVP_PKEY_CTX_set_rsa_pss_saltlen(context, row.salt);
    const std::string der = certificate_for(key.get(), pss.get());
    const json shown = run({"inspect", "--json"}, der).objects().at(0);
    EXPECT_EQ(shown["signature"]["scheme"], "rsa-pss");
    EXPECT_EQ(shown["public_key"]["type"], "RSASSA-PSS");
    EXPECT_EQ(shown["public_key"]["bits"], 1024);
    EXPECT_EQ(shown["public_key"]["public_exponent"]["decimal"], "65537");
    for (const json &parameters :
         {shown["signature"]["parameters"], shown["public_key"]["parameters"]}) {
      json names = parameters;
      for (const char *member : {"hash", "mask_generation", "mask_hash"})
        names[member] = parameters[member]["name"];
      EXPECT_EQ(names, expected);
    }
    EXPECT_THAT(run({"inspect"}, der).out, HasSubstr("Salt length: " + std::to_string(row.salt)));
  }
  EXPECT_FALSE(shown_key(pss_key(nullptr, 0).get()).contains("parameters"));
}

TEST(InspectKeys, DiffieHellman) {
  const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "DH", nullptr), EVP_PKEY_CTX_free);
  EVP_PKEY *made = nullptr;
  ASSERT_GT(EVP_PKEY_keygen_init(context.get()), 0);
  EVP_PKEY_CTX_set_dh_nid(context.get(), NID_ffdhe2048);
  ASSERT_GT(EVP_PKEY_generate(context.get(), &made), 0);
  const Key key = owned(made);
  const json shown = shown_key(key.get());
  EXPECT_EQ(shown["type"], "Diffie-Hellman");
  EXPECT_EQ(shown["bits"], 2048);
  for (const auto &[ours, theirs] : {std::pair{"p", "p"}, {"g", "g"}, {"y", "pub"}}) {
    BIGNUM *number = nullptr;
    ASSERT_TRUE(EVP_PKEY_get_bn_param(key.get(), theirs, &number));
    std::vector<uint8_t> octets(static_cast<size_t>(BN_num_bytes(number)));
    BN_bn2bin(number, octets.data());
    BN_free(number);
    EXPECT_EQ(shown[ours]["hex"], kwpki::hex(octets));
  }
}

}  // namespace
