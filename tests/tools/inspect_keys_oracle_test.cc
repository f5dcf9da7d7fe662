// Keys that have no key object, and signatures with parameters, against those that OpenSSL makes.
// What is shown of the keys of the corpus is compared in json_schema.py.
#include <openssl/core_names.h>

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
  const Key own(EVP_EC_gen("P-384"));
  EVP_PKEY_set_utf8_string_param(own.get(), OSSL_PKEY_PARAM_EC_ENCODING, "explicit");
  const json shown = shown_key(own);
  EXPECT_EQ(shown["curve"], "explicit parameters");
  EXPECT_EQ(shown["bits"], 384);
}

}  // namespace
