// `kwpki verify` over certificates and CRLs that OpenSSL makes, and over those that were found in
// the world, as OpenSSL verifies them.
#include <gmock/gmock.h>

#include <map>

#include "support/tool.h"
#include "tools/openssl_samples.h"

namespace {

using namespace openssl_samples;
using inspect_samples::pem;
using nlohmann::json;
using testing::HasSubstr;

std::string crl(const char *issuer, const Key &signer) {
  const CrlOwner list(X509_CRL_new());
  X509_CRL_set_version(list.get(), X509_CRL_VERSION_2);
  X509_CRL_set_issuer_name(list.get(), name_of(issuer).get());
  const Owner<ASN1_TIME, ASN1_TIME_free> now(ASN1_TIME_adj(nullptr, 0, 0, 0));
  X509_CRL_set1_lastUpdate(list.get(), now.get());
  X509_CRL_set1_nextUpdate(list.get(), now.get());
  EXPECT_GT(X509_CRL_sign(list.get(), signer.get(), EVP_sha1()), 0);
  return der_of<i2d_X509_CRL>(list.get());
}

// sha1_replaced puts another number in place of the last arc of sha1WithRSAEncryption.
std::string sha1_replaced(const std::string &der, char number) {
  const std::string oid = "\x2a\x86\x48\x86\xf7\x0d\x01\x01";
  return inspect_samples::replaced(der, oid + '\5', oid + number);
}

class VerifyTest : public testing::Test {
 protected:
  std::string add(const std::string &name, const std::string &octets) {
    return folder_.add(name, octets);
  }
  std::string root(const char *name, const Key &key, int type = V_ASN1_PRINTABLESTRING,
                   const std::string &key_id = {}) {
    return Cert{name_of(name, type), name_of(name, type), key, key, EVP_sha1(), key_id, {}}.make();
  }
  std::string leaf(const Key &signer, const EVP_MD *hash = EVP_sha1(),
                   const std::string &key_id = {}) {
    return Cert{name_of("Leaf"), name_of("Root"), rsa_, signer, hash, {}, key_id}.make();
  }

  const Key rsa_{EVP_RSA_gen(1024)}, other_{EVP_RSA_gen(1024)}, dsa_ = dsa_key(),
                                                                ec_{EVP_EC_gen("P-256")};
  const Directory folder_;
};

TEST_F(VerifyTest, TellsWhoSigned) {
  const std::string root_rsa = add("rsa", root("Root", rsa_)),
                    root_other = add("other", root("Root", other_, V_ASN1_PRINTABLESTRING, "id")),
                    root_dsa = add("dsa", root("Root", dsa_)),
                    root_ec = add("ec", root("Root", ec_)),
                    other_case = add("case", root("rOOT ", rsa_)),
                    utf8 = add("utf8", root("Root", rsa_, V_ASN1_UTF8STRING)),
                    stranger = add("stranger", root("Stranger", rsa_)),
                    all =
                        add("all", pem("CERTIFICATE", root("Root", other_)) +
                                       pem("PRIVATE KEY", "key") + pem("X509 CRL", crl("A", rsa_)) +
                                       pem("X509 CERTIFICATE", root("Root", dsa_)) +
                                       pem("CERTIFICATE", root("Root", rsa_)));
  const std::string sha1 = leaf(rsa_), list = crl("Root", rsa_);
  using List = std::vector<std::string>;
  const struct {
    const char *why;
    List issuers;
    std::string record;
    const char *result;
  } rows[] = {
      {"RSA, SHA-1", {root_rsa}, sha1, "valid"},
      {"DSA", {root_dsa}, leaf(dsa_), "valid"},
      {"a CRL", {root_rsa}, list, "valid"},
      {"a root by itself", {root_rsa}, root("Root", rsa_), "valid"},
      {"any of a bundle", {all}, sha1, "valid"},
      {"the second of two", {root_other, root_rsa}, sha1, "valid"},
      {"a key identifier that points elsewhere",
       {root_other, root_rsa},
       leaf(rsa_, EVP_sha1(), "id"),
       "valid"},
      {"the name in another case", {other_case}, sha1, "valid"},
      {"the name in letters that have no other form",
       {utf8},
       root("Root", rsa_, V_ASN1_UTF8STRING),
       "valid"},
      {"another key", {root_other}, sha1, "invalid"},
      {"another key, the right one has another name", {root_other, stranger}, sha1, "invalid"},
      {"another name", {stranger}, sha1, "no issuer found"},
      {"a key of another type", {root_dsa}, sha1, "no issuer found"},
      {"the leaf itself", {add("leaf", sha1)}, sha1, "no issuer found"},
      {"a CRL, another key", {root_other}, list, "invalid"},
      {"MD2", {root_rsa}, sha1_replaced(sha1, 2), "scheme not supported"},
      {"ECDSA", {root_ec}, leaf(ec_, EVP_sha256()), "scheme not supported"},
      {"ECDSA, another name", {stranger}, leaf(ec_, EVP_sha256()), "no issuer found"},
      {"a name with a key on a curve alone", {root_ec}, sha1, "no issuer found"},
      {"no certificate at all", {root_rsa}, "\x30\x01x", "refused"},
  };
  for (const auto &row : rows) {
    List arguments = {"verify", "--json"};
    for (const std::string &issuer : row.issuers)
      arguments.insert(arguments.end(), {"--issuer", issuer});
    const Result result = run(arguments, row.record);
    ASSERT_EQ(result.objects().size(), 1u) << row.why << result.err;
    const json shown = result.objects()[0];
    EXPECT_EQ(shown["result"], row.result) << row.why << result.err;
    EXPECT_EQ(result.code, shown["result"] == "valid" ? 0 : 1) << row.why << result.err;
    EXPECT_EQ(shown["file"], "-");
    EXPECT_EQ(shown.contains("signed_by"), shown["result"] == "valid") << row.why;
  }
}

TEST_F(VerifyTest, NamesTheCertificateThatSigned) {
  const std::string bundle = add(
      "bundle", pem("CERTIFICATE", root("Root", other_)) + pem("CERTIFICATE", root("Root", rsa_)));
  EXPECT_EQ(run({"verify", "--json", "--issuer", bundle}, leaf(rsa_)).objects().at(0),
            (json{{"file", "-"},
                  {"kind", "certificate"},
                  {"result", "valid"},
                  {"scheme", "rsa-pkcs1-sha1"},
                  {"issuer", "CN=Root"},
                  {"signed_by", {{"file", bundle}, {"block", 2}, {"subject", "CN=Root"}}}}));
}

TEST_F(VerifyTest, OneLineForEachOfAllFiles) {
  const std::string issuer = add("root", root("Root", rsa_));
  const std::string good = add("good", leaf(rsa_)), missing = folder_.at("missing");
  const std::string bad =
      add("bad", pem("CERTIFICATE", leaf(other_)) + pem("PRIVATE KEY", "key") +
                     pem("X509 CRL", crl("\x1b[31m", rsa_)) + pem("X509 CRL", crl("Root", rsa_)) +
                     pem("CERTIFICATE", sha1_replaced(leaf(rsa_), 2)) + pem("CERTIFICATE", "x"));
  Result result = run({"verify", "--issuer", issuer, missing, bad, good});
  EXPECT_EQ(result.code, 3);
  EXPECT_THAT(result.err, HasSubstr("missing: No such file"));
  EXPECT_THAT(result.err, HasSubstr("(PEM block 2): line "));
  const std::string lines = inspect_samples::replaced(result.out, folder_.at("") + "/", "");
  EXPECT_THAT(lines, testing::StartsWith("bad (PEM block 1): invalid (CN=Root)\n"
                                         "bad (PEM block 3): no issuer found (CN=\\x1b[31m)\n"
                                         "bad (PEM block 4): valid, signed by CN=Root\n"
                                         "bad (PEM block 5): scheme not supported (rsa-pkcs1-md2)\n"
                                         "bad (PEM block 6): refused as a certificate: "));
  EXPECT_THAT(lines, testing::EndsWith("\ngood: valid, signed by CN=Root\n"));
  EXPECT_EQ(inspect_samples::count(lines, "\n"), 6u);
}

TEST_F(VerifyTest, ExitCodes) {
  const std::string issuer = add("root", root("Root", rsa_)), good = add("good", leaf(rsa_)),
                    list = add("list", crl("Root", rsa_)), broken = add("broken", "broken"),
                    missing = folder_.at("missing"),
                    front = add("front", std::string("\5\0", 2) + leaf(rsa_)),
                    behind = add("behind", root("Root", rsa_) + "xyz");
  const struct {
    std::vector<std::string> arguments;
    int code;
    const char *err, *out = "";
  } rows[] = {
      {{"--issuer", issuer, good, list}, 0, ""},
      {{"--issuer", issuer, "--issuer", list, good}, 0, "list: a CRL is no issuer; passed over"},
      {{"--issuer", issuer, "--issuer", broken, good}, 1, "broken: refused as an issuer"},
      {{"--issuer", issuer, broken, good, missing}, 3, "missing: No such file"},
      {{"--issuer", issuer, front}, 1, "", "CN=Root; 2 octets in front of the certificate\n"},
      {{"--issuer", issuer, "--json", front}, 1, "", R"("leading_octets":2)"},
      {{"--issuer", behind, good}, 1, "behind: 3 octets behind the certificate", "valid"},
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

// Found is a certificate or CRL of the corpus as OpenSSL reads it.
struct Found {
  std::string file;
  X509Owner cert;
  CrlOwner list;

  [[nodiscard]] const X509_NAME *issuer() const {
    return cert ? X509_get_issuer_name(cert.get()) : X509_CRL_get_issuer(list.get());
  }
  // What is not computed here: MD2, MD4, and what is neither PKCS #1 v1.5 nor DSA.
  [[nodiscard]] bool supported() const {
    const int scheme =
        cert ? X509_get_signature_nid(cert.get()) : X509_CRL_get_signature_nid(list.get());
    int hash = NID_undef, key = NID_undef;
    OBJ_find_sigid_algs(scheme, &hash, &key);
    return (key == NID_rsaEncryption || key == NID_rsa || key == NID_dsa || key == NID_dsa_2) &&
           hash != NID_md2 && hash != NID_md4 && hash != NID_sha;
  }
  [[nodiscard]] bool verifies(EVP_PKEY *key) const {
    return (cert ? X509_verify(cert.get(), key) : X509_CRL_verify(list.get(), key)) == 1;
  }
};

std::string digest(const std::vector<uint8_t> &octets, const EVP_MD *hash) {
  uint8_t out[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  EVP_Digest(octets.data(), octets.size(), out, &length, hash, nullptr);
  return kwpki::hex({out, length});
}

// read also holds the fingerprints, the one thing that is shown and is not in the record.
Found read(const json &shown) {
  const auto der = inspect_samples::unbase64(shown["der"]);
  EXPECT_EQ(shown["fingerprints"]["sha1"], digest(der, EVP_sha1())) << shown["file"];
  EXPECT_EQ(shown["fingerprints"]["sha256"], digest(der, EVP_sha256())) << shown["file"];
  const auto size = static_cast<long>(der.size());
  const uint8_t *at = der.data(), *again = der.data();
  const bool is_cert = shown["kind"] == "certificate";
  return {shown["file"], X509Owner(is_cert ? d2i_X509(nullptr, &at, size) : nullptr),
          CrlOwner(is_cert ? nullptr : d2i_X509_CRL(nullptr, &again, size))};
}

TEST(Verify, CorpusAsOpenSslVerifiesIt) {
  const std::string folder = KWPKI_CORPUS_DIR "/der";
  if (!std::filesystem::exists(folder)) GTEST_SKIP() << "there is no corpus";
  std::vector<Found> all;
  const Result inspected = run({"inspect", "--json", folder});
  EXPECT_TRUE(std::all_of(inspected.out.begin(), inspected.out.end(),
                          [](char c) { return c == '\n' || (c >= 32 && c < 127); }));
  for (const json &shown : inspected.objects()) {
    if (!shown["accepted"]) continue;
    Found found = read(shown);
    if (found.cert || found.list) all.push_back(std::move(found));
  }
  std::map<std::string, json> results;
  for (const json &shown : run({"verify", "--json", "--issuer", folder, folder}).objects())
    results[shown["file"]] = shown["result"];

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
      valid = valid || (key && found.supported() && found.verifies(key));
    }
    const std::string result = results[found.file];
    ++counts[result];
    EXPECT_EQ(result == "valid", valid) << found.file << ": " << result;
    EXPECT_EQ(result == "scheme not supported", named && !found.supported())
        << found.file << ": " << result;
    if (!named) {
      EXPECT_EQ(result, "no issuer found") << found.file;
    }
  }
  EXPECT_GE(counts["valid"], 50u);
  EXPECT_GE(counts["no issuer found"], 20u);
}

}  // namespace
