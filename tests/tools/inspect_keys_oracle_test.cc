// Keys that have no key object, and signatures with parameters, against those that OpenSSL makes.
#include <gmock/gmock.h>

#include "support/tool.h"
#include "tools/openssl_samples.h"

namespace {

using namespace openssl_samples;
using nlohmann::json;
using testing::HasSubstr;

json shown_key(const Key &key) {
  static const Key ca(EVP_EC_gen("P-256"));
  const Result result = run({"inspect", "--json"},
                            Cert{name_of("A"), name_of("A"), key, ca, EVP_sha256(), {}, {}}.make());
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
    const Key key(EVP_EC_gen(OBJ_nid2sn(curve.nid)));
    if (!key || OBJ_obj2txt(oid, sizeof oid, OBJ_nid2obj(curve.nid), 1) <= 0) continue;
    SCOPED_TRACE(oid);
    const Owner<EC_GROUP, EC_GROUP_free> group(EC_GROUP_new_by_curve_name(curve.nid));
    const int degree = EC_GROUP_get_degree(group.get());
    const json shown = shown_key(key);
    EXPECT_EQ(shown["type"], "EC");
    EXPECT_EQ(shown["curve"]["oid"], oid);
    const bool known = shown["curve"].contains("name");
    EXPECT_EQ(shown["bits"], known ? degree : (degree + 7) / 8 * 8);
    if (!known) continue;
    ++named;
    const std::string name = OBJ_nid2sn(curve.nid);
    EXPECT_EQ(shown["curve"]["name"], name == "SM2" ? "sm2p256v1" : name);
    const char *nist = EC_curve_nid2nist(curve.nid);
    EXPECT_EQ(shown["curve"].value("nist_name", ""), nist ? nist : "");
  }
  EXPECT_GE(named, 50u);
}

TEST(InspectKeys, ExplicitCurve) {
  const json shown = shown_key(generate("EC", [](EVP_PKEY_CTX *context) {
    EVP_PKEY_CTX_set_ec_paramgen_curve_nid(context, NID_secp384r1);
    EVP_PKEY_CTX_set_ec_param_enc(context, OPENSSL_EC_EXPLICIT_CURVE);
  }));
  EXPECT_EQ(shown["curve"], "explicit parameters");
  EXPECT_EQ(shown["bits"], 384);
}

TEST(InspectKeys, WithoutParameters) {
  for (const char *type : {"ED25519", "ED448", "X25519", "X448"}) {
    const Key key(EVP_PKEY_Q_keygen(nullptr, nullptr, type));
    uint8_t octets[64];
    size_t length = sizeof octets;
    ASSERT_EQ(EVP_PKEY_get_raw_public_key(key.get(), octets, &length), 1);
    const json shown = shown_key(key);
    EXPECT_STRCASEEQ(shown["type"].get<std::string>().c_str(), type);
    EXPECT_EQ(shown["bits"], length * 8);
    EXPECT_EQ(shown["public_value"], kwpki::hex({octets, length}));
  }
}

TEST(InspectKeys, Pss) {
  const std::pair<const EVP_MD *, int> rows[] = {
      {EVP_sha512(), 0}, {EVP_sha1(), 20}, {nullptr, 20}};  // all of them defaults; no parameters
  for (const auto &[hash, salt] : rows) {
    const Key key = generate("RSA-PSS", [&, hash = hash, salt = salt](EVP_PKEY_CTX *context) {
      EVP_PKEY_CTX_set_rsa_keygen_bits(context, 1024);
      if (!hash) return;
      EVP_PKEY_CTX_set_rsa_pss_keygen_md(context, hash);
      EVP_PKEY_CTX_set_rsa_pss_keygen_mgf1_md(context, hash);
      EVP_PKEY_CTX_set_rsa_pss_keygen_saltlen(context, salt);
    });
    const EVP_MD *signed_with = hash ? hash : EVP_sha1();
    const std::string der =
        Cert{name_of("A"), name_of("A"), key, key, signed_with, {}, {}, salt}.make();
    const json shown = run({"inspect", "--json"}, der).objects().at(0);
    EXPECT_EQ(shown["signature"]["scheme"], "rsa-pss");
    EXPECT_EQ(shown["public_key"]["type"], "RSASSA-PSS");
    EXPECT_EQ(shown["public_key"]["bits"], 1024);
    EXPECT_EQ(shown["public_key"]["public_exponent"]["decimal"], "65537");
    EXPECT_EQ(shown["public_key"].contains("parameters"), hash != nullptr);
    EXPECT_THAT(run({"inspect", "--full"}, der).out,
                HasSubstr("Salt length: " + std::to_string(salt)));
    for (const char *place : {"signature", "public_key"}) {
      json names = shown[place].value("parameters", json());
      if (names.is_null()) continue;
      for (const char *member : {"hash", "mask_generation", "mask_hash"})
        names[member] = json(names[member]["name"]);
      const std::string name = signed_with == EVP_sha1() ? "sha1" : "sha512";
      EXPECT_EQ(names, (json{{"hash", name},
                             {"mask_generation", "id-mgf1"},
                             {"mask_hash", name},
                             {"salt_length", salt},
                             {"trailer_field", 1}}));
    }
  }
}

TEST(InspectKeys, DiffieHellman) {
  const Key key = generate(
      "DH", [](EVP_PKEY_CTX *context) { EVP_PKEY_CTX_set_dh_nid(context, NID_ffdhe2048); });
  const json shown = shown_key(key);
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
