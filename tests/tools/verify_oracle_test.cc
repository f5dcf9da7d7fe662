// `kwpki verify` over certificates and CRLs that OpenSSL makes, and over those that were found in
// the world, as OpenSSL verifies them.
#include <gmock/gmock.h>
#include <openssl/core_names.h>

#include <map>

#include "support/tool.h"
#include "tools/openssl_samples.h"

namespace {

using namespace openssl_samples;
using namespace inspect_samples;
using nlohmann::json;
using testing::HasSubstr;

class VerifyTest : public testing::Test {
 protected:
  std::string add(const std::string &name, const std::string &octets) {
    return folder_.add(name, octets);
  }
  std::string root(const char *name, const Key &key, const std::string &key_id = {}) {
    return Cert{name_of(name), name_of(name), key, key, EVP_sha1(), key_id, {}}.make();
  }
  std::string leaf(const Key &signer, const std::string &key_id = {}) {
    return Cert{name_of("Leaf"), name_of("Root"), rsa_, signer, EVP_sha1(), {}, key_id}.make();
  }

  static std::string bundled(const std::string &der) {
    const Der list = der::tlv(0xA0, Der(der.begin(), der.end()));
    return inspect_samples::octets(
        der::seq({der::oid("1.2.840.113549.1.7.2"), der::wrap(0, der::seq({list}))}));
  }

  const Key rsa_{EVP_RSA_gen(1024)}, other_{EVP_RSA_gen(1024)}, ec_{EVP_EC_gen("P-256")};
  const Directory folder_;
};

// Which of the issuers is asked; the corpus below holds what is told of their signatures.
TEST_F(VerifyTest, TellsWhoSigned) {
  const std::string one = add("one", root("Root", rsa_)), case_ = add("case", root("rOOT ", rsa_)),
                    other = add("other", root("Root", other_, "id")),
                    ec = add("ec", root("Root", ec_)),
                    all =
                        add("all", pem("CERTIFICATE", root("Root", other_)) +
                                       pem("PRIVATE KEY", "key") + pem("X509 CRL", crl("A", rsa_)) +
                                       pem("CERTIFICATE", root("Root", rsa_)));
  const std::string record = leaf(rsa_), list = crl("Root", rsa_);
  using Names = std::vector<std::string>;
  const struct {
    const char *why;
    Names issuers;
    std::string record;
    const char *result;
  } rows[] = {
      {"any of a bundle", {all}, record, "valid"},
      {"of PKCS #7", {add("p7", bundled(root("Root", rsa_)))}, bundled(record), "valid"},
      {"the second of two", {other, one}, record, "valid"},
      {"a key identifier that points elsewhere", {other, one}, leaf(rsa_, "id"), "valid"},
      {"the name in another case", {case_}, record, "valid"},
      {"a CRL", {one}, list, "valid"},
      {"a CRL, another key", {other}, list, "invalid"},
      {"another key", {other}, record, "invalid"},
      {"a name with a key on a curve alone", {ec}, record, "key does not fit"},
      {"that one and another key", {ec, other}, record, "invalid"},
      {"no certificate of that name", {one}, crl("Other", rsa_), "no issuer found"},
  };
  for (const auto &row : rows) {
    Names arguments = {"verify", "--json"};
    for (const std::string &issuer : row.issuers)
      arguments.insert(arguments.end(), {"--issuer", issuer});
    const Result result = run(arguments, row.record);
    const json shown = result.objects().at(0);
    EXPECT_EQ(shown["result"], row.result) << row.why << result.err;
    EXPECT_EQ(result.code, shown["result"] == "valid" ? 0 : 1) << row.why << result.err;
    EXPECT_EQ(shown.contains("signed_by"), shown["result"] == "valid") << row.why;
  }
  EXPECT_EQ(run({"verify", "--json", "--issuer", all}, record).objects().at(0),
            (json{{"file", "-"},
                  {"kind", "certificate"},
                  {"result", "valid"},
                  {"scheme", "rsa-pkcs1-sha1"},
                  {"issuer", "CN=Root"},
                  {"weak", {"SHA-1", "RSA of 1024 bits"}},
                  {"signed_by", {{"file", all}, {"block", 4}, {"subject", "CN=Root"}}}}));
}

TEST_F(VerifyTest, OneLineForEachOfAllFiles) {
  const std::string issuer = add("root", root("Root", rsa_)), missing = folder_.at("missing");
  const std::string oid = "\x2a\x86\x48\x86\xf7\x0d\x01\x01";
  const std::string bad =
      add("bad", pem("CERTIFICATE", leaf(other_)) + pem("PRIVATE KEY", "key") +
                     pem("X509 CRL", crl("\x1b[31m", rsa_)) + pem("X509 CRL", crl("Root", rsa_)) +
                     pem("CERTIFICATE", replaced(leaf(rsa_), oid + '\5', oid + '\2')) +
                     pem("CERTIFICATE", "x"));
  const Result result = run({"verify", "--issuer", issuer, missing, bad, issuer});
  EXPECT_EQ(result.code, 3);
  EXPECT_THAT(result.err, HasSubstr("missing: No such file"));
  EXPECT_THAT(result.err, HasSubstr("(PEM block 2): line "));
  const std::string lines = replaced(result.out, folder_.at("") + "/", "");
  EXPECT_THAT(
      lines,
      testing::StartsWith(
          "bad (PEM block 1): invalid, issuer CN=Root (rsa-pkcs1-sha1); weak: SHA-1\n"
          "bad (PEM block 3): no issuer found, issuer CN=\\x1b[31m (rsa-pkcs1-sha1); weak: SHA-1\n"
          "bad (PEM block 4): valid, signed by CN=Root (rsa-pkcs1-sha1); weak: SHA-1, RSA of 1024 "
          "bits\n"
          "bad (PEM block 5): scheme not supported, issuer CN=Root (rsa-pkcs1-md2); weak: MD2\n"
          "bad (PEM block 6): refused as a certificate: "));
  EXPECT_THAT(lines, HasSubstr("\nroot: valid, signed by CN=Root (rsa-pkcs1-sha1); weak: "));
  EXPECT_EQ(count(lines, "\n"), 6u);
}

TEST_F(VerifyTest, ExitCodes) {
  const std::string
      issuer = add("root", root("Root", rsa_)),
      good = add("good", leaf(rsa_)), list = add("list", crl("Root", rsa_)),
      broken = add("broken", "broken"), front = add("front", std::string("\5\0", 2) + leaf(rsa_)),
      behind = add("behind", root("Root", rsa_) + "xyz"),
      strong = add("strong",
                   Cert{name_of("Root"), name_of("Root"), ec_, ec_, EVP_sha256(), {}, {}}.make());
  std::string changed = leaf(rsa_);
  changed[changed.rfind(std::string("\5\0", 2))] = 4;
  const std::string outside = add("outside", changed);
  const struct {
    std::vector<std::string> arguments;
    int code;
    const char *err, *out = "";
  } rows[] = {
      {{"--issuer", issuer, "--issuer", list, good}, 0, "list: a CRL is no issuer; passed over"},
      {{"--issuer", issuer, "--issuer", broken, good}, 1, "broken: refused as an issuer"},
      {{"--issuer", issuer, front}, 1, "", "bits; 2 bytes in front of the certificate\n"},
      {{"--issuer", issuer, "--strict", good}, 1, "", "valid, signed by CN=Root"},
      {{"--issuer", strong, "--strict", strong}, 0, "", "CN=Root (ecdsa-sha256)\n"},
      {{"--issuer", issuer, outside}, 1, "", ": its two algorithm identifiers differ"},
      {{"--issuer", behind, good}, 1, "behind: 3 bytes behind the certificate", "valid"},
      {{"--issuer", issuer}, 3, "standard input: holds nothing"},
      {{good}, 2, "--issuer is required"},
  };
  for (const auto &row : rows) {
    std::vector<std::string> arguments = {"verify"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Result result = run(arguments);
    EXPECT_EQ(result.code, row.code) << testing::PrintToString(arguments) << result.err;
    EXPECT_THAT(result.err, HasSubstr(row.err));
    EXPECT_THAT(result.out, HasSubstr(row.out));
  }
}

// What the system computes is asked for both kinds of record, and weakness is told of both halves.
TEST_F(VerifyTest, SchemesOfTheSystem) {
  const auto made = [](const char *type) { return Key(EVP_PKEY_Q_keygen(nullptr, nullptr, type)); };
  const struct {
    Key key;
    const EVP_MD *hash;
    const char *scheme, *weak;
  } rows[] = {
      {Key(EVP_EC_gen("P-224")), EVP_sha384(), "ecdsa-sha384", "null"},
      {Key(EVP_EC_gen("P-192")), EVP_sha1(), "ecdsa-sha1", R"(["SHA-1","EC of 192 bits"])"},
      {made("ED25519"), nullptr, "ed25519", "null"},
      {made("ED448"), nullptr, "ed448", "null"},
      {generate("RSA-PSS", [](EVP_PKEY_CTX *) {}), EVP_sha256(), "rsa-pss", "null"},
  };
  for (const auto &row : rows) {
    const auto cert = [&](const char *subject) {
      return Cert{name_of(subject), name_of("Root"), row.key, row.key, row.hash}.make();
    };
    const std::string issuer = add(row.scheme, cert("Root"));
    for (const std::string &record : {cert("Leaf"), crl("Root", row.key, row.hash)}) {
      const json shown = run({"verify", "--json", "--issuer", issuer}, record).objects().at(0);
      EXPECT_EQ(shown["result"], "valid") << shown;
      EXPECT_EQ(shown["scheme"], row.scheme);
      EXPECT_EQ(shown.value("weak", json()).dump(), row.weak);
    }
  }
}

TEST(Verify, EveryRootOfTheSystemIsItsOwnIssuer) {
  const std::string folder = "/usr/share/ca-certificates";
  if (!std::filesystem::exists(folder)) GTEST_SKIP() << "there are no roots";
  const std::vector<json> all = run({"verify", "--json", "--issuer", folder, folder}).objects();
  EXPECT_GE(all.size(), 100u);
  for (const json &shown : all) EXPECT_EQ(shown["result"], "valid") << shown;
}

// Found is a certificate or CRL of the corpus as OpenSSL reads it.
struct Found {
  std::string result;  // that the tool gives
  X509Owner cert;
  CrlOwner list;

  Found(const json &shown, std::string told) : result(std::move(told)) {
    const auto der = kwpki::unbase64(shown["der"].get<std::string>());
    const uint8_t *at = der.data();
    if (shown["kind"] == "certificate") {
      cert.reset(d2i_X509(nullptr, &at, static_cast<long>(der.size())));
    } else {
      list.reset(d2i_X509_CRL(nullptr, &at, static_cast<long>(der.size())));
    }
    EXPECT_EQ(shown["fingerprints"]["sha1"], digest(der, EVP_sha1())) << shown["file"];
    EXPECT_EQ(shown["fingerprints"]["sha256"], digest(der, EVP_sha256())) << shown["file"];
  }
  static std::string digest(const std::vector<uint8_t> &octets, const EVP_MD *hash) {
    uint8_t out[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_Digest(octets.data(), octets.size(), out, &length, hash, nullptr);
    return kwpki::hex({out, length});
  }

  [[nodiscard]] const X509_NAME *issuer() const {
    return cert ? X509_get_issuer_name(cert.get()) : X509_CRL_get_issuer(list.get());
  }
  // Others are MD2, MD4, RIPEMD-160, SM2, ML-DSA, GOST.
  [[nodiscard]] bool supported() const {
    int hash = NID_undef, key = NID_undef;
    OBJ_find_sigid_algs(
        cert ? X509_get_signature_nid(cert.get()) : X509_CRL_get_signature_nid(list.get()), &hash,
        &key);
    constexpr int kHashes[] = {NID_md5, NID_sha1, NID_sha224, NID_sha256, NID_sha384, NID_sha512};
    constexpr int kAlone[] = {NID_rsassaPss, NID_ED25519, NID_ED448};
    const auto has = [](const auto &list, int id) {
      return std::find(std::begin(list), std::end(list), id) != std::end(list);
    };
    return has(kHashes, hash) || (hash == NID_undef && has(kAlone, key));
  }
  [[nodiscard]] bool verifies(EVP_PKEY *key) const {
    return (cert ? X509_verify(cert.get(), key) : X509_CRL_verify(list.get(), key)) == 1;
  }
};

TEST(Verify, CorpusAsOpenSslVerifiesIt) {
  const std::string folder = KWPKI_CORPUS_DIR "/der";
  if (!std::filesystem::exists(folder)) GTEST_SKIP() << "there is no corpus";
  std::map<std::string, json> results;
  for (const json &shown : run({"verify", "--json", "--issuer", folder, folder}).objects())
    results[shown["file"]] = shown["result"];
  std::vector<Found> all;
  const Result inspected = run({"inspect", "--json", folder});
  EXPECT_TRUE(std::all_of(inspected.out.begin(), inspected.out.end(),
                          [](char c) { return c == '\n' || (c >= 32 && c < 127); }));
  for (const json &shown : inspected.objects()) {
    if (!shown["accepted"]) continue;
    all.emplace_back(shown, results[shown["file"]]);
    if (!all.back().cert && !all.back().list) all.pop_back();
  }
  std::map<std::string, size_t> counts;
  for (const Found &found : all) {
    bool named = false, valid = false;
    for (const Found &issuer : all) {
      if (!issuer.cert ||
          X509_NAME_cmp(X509_get_subject_name(issuer.cert.get()), found.issuer()) != 0) {
        continue;
      }
      named = true;
      EVP_PKEY *key = X509_get0_pubkey(issuer.cert.get());
      int unnamed = 0;  // the curve
      if (key)
        EVP_PKEY_get_int_param(key, OSSL_PKEY_PARAM_EC_DECODED_FROM_EXPLICIT_PARAMS, &unnamed);
      valid = valid || (key && !unnamed && found.supported() && found.verifies(key));
    }
    ++counts[found.result];
    EXPECT_EQ(found.result == "valid", valid) << found.result;
    EXPECT_EQ(found.result == "scheme not supported", named && !found.supported()) << found.result;
    EXPECT_TRUE(named || found.result == "no issuer found") << found.result;
  }
  EXPECT_GE(counts["valid"], 80u);
  EXPECT_GE(counts["no issuer found"], 20u);
}

}  // namespace
