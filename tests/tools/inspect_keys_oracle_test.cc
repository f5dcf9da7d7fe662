// Keys that have no key object, and signatures with parameters, against those that OpenSSL makes.
// What is shown of the keys of the corpus is compared in json_schema.py.
#include "tools/openssl_samples.h"

namespace {

using namespace openssl_samples;
using nlohmann::json;

json shown_key(const Key &key) {
  static const Key ca(EVP_EC_gen("P-256"));
  const Result result =
      run({"inspect", "--json"}, Cert{name_of("A"), name_of("A"), key, ca, EVP_sha256()}.make());
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
    const json shown = shown_key(key);
    const bool known = shown["curve"].contains("name");
    const std::string name = OBJ_nid2sn(curve.nid);
    const char *nist = EC_curve_nid2nist(curve.nid);
    json expected = {{"oid", oid}};
    if (known) expected["name"] = name == "SM2" ? "sm2p256v1" : name;
    if (known && nist) expected["nist_name"] = nist;
    EXPECT_EQ(shown["curve"], expected);
    const Owner<EC_GROUP, EC_GROUP_free> group(EC_GROUP_new_by_curve_name(curve.nid));
    const int degree = EC_GROUP_get_degree(group.get());
    EXPECT_EQ(shown["bits"], known ? degree : (degree + 7) / 8 * 8) << oid;
    named += known;
  }
  EXPECT_GE(named, 50u);
  const json shown = shown_key(generate("EC", [](EVP_PKEY_CTX *context) {
    EVP_PKEY_CTX_set_ec_paramgen_curve_nid(context, NID_secp384r1);
    EVP_PKEY_CTX_set_ec_param_enc(context, OPENSSL_EC_EXPLICIT_CURVE);
  }));
  EXPECT_EQ(shown["curve"], "explicit parameters");
  EXPECT_EQ(shown["bits"], 384);
}

TEST(InspectKeys, Pss) {
  const EVP_MD *const hashes[] = {EVP_sha512(), nullptr};  // all of them defaults; no parameters
  for (const EVP_MD *hash : hashes) {
    const Key key = generate("RSA-PSS", [hash](EVP_PKEY_CTX *context) {
      EVP_PKEY_CTX_set_rsa_keygen_bits(context, 1024);
      if (!hash) return;
      EVP_PKEY_CTX_set_rsa_pss_keygen_md(context, hash);
      EVP_PKEY_CTX_set_rsa_pss_keygen_mgf1_md(context, hash);
      EVP_PKEY_CTX_set_rsa_pss_keygen_saltlen(context, 0);
    });
    const Cert cert{name_of("A"), name_of("A"), key, key, hash ? hash : EVP_sha1(), hash ? 0 : 20};
    const json shown = run({"inspect", "--json"}, cert.make()).objects().at(0);
    EXPECT_EQ(shown["public_key"]["type"], "RSASSA-PSS");
    EXPECT_EQ(shown["public_key"]["public_exponent"]["decimal"], "65537");
    EXPECT_EQ(shown["public_key"].contains("parameters"), hash != nullptr);
    for (const char *place : {"signature", "public_key"}) {
      json names = shown[place].value("parameters", json());
      if (names.is_null()) continue;
      for (const char *member : {"hash", "mask_generation", "mask_hash"})
        names[member] = json(names[member]["name"]);
      const char *const name = hash ? "sha512" : "sha1";
      EXPECT_EQ(names, (json{{"hash", name},
                             {"mask_generation", "id-mgf1"},
                             {"mask_hash", name},
                             {"salt_length", hash ? 0 : 20},
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
    const Owner<BIGNUM, BN_free> owner(number);
    BIGNUM *found = nullptr;
    BN_hex2bn(&found, shown[ours]["hex"].get<std::string>().c_str());
    EXPECT_EQ(BN_cmp(Owner<BIGNUM, BN_free>(found).get(), number), 0) << ours;
  }
}

}  // namespace
