// `kwpki verify` over certificates and CRLs that OpenSSL makes, and over those that were found in
// the world, as OpenSSL verifies them.
#include <openssl/core_names.h>

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
  static std::string made(const char *name, const Key &key, const Key &signer,
                          const Extensions &extensions = {}, const EVP_MD *hash = EVP_sha1()) {
    return Cert{name_of(name), name_of("Root"), key, signer, hash, extensions}.make();
  }
  static std::string root(const Key &key, const EVP_MD *hash = EVP_sha1()) {
    return made("Root", key, key, {}, hash);
  }
  std::string leaf(const Key &signer) { return made("Leaf", rsa_, signer); }

  const Key rsa_{EVP_RSA_gen(1024)}, other_{EVP_RSA_gen(1024)}, ec_{EVP_EC_gen("P-256")};
  const Folder folder_;
};

// Which of the issuers is asked; the corpus below holds what is told of their signatures.
TEST_F(VerifyTest, TellsWhoSigned) {
  const Extensions own_id = {{NID_subject_key_identifier, "DER:04026964"}},
                   issuer_id = {{NID_authority_key_identifier, "DER:300480026964"}};
  const std::string one = add("one", root(rsa_)), case_ = add("case", made("rOOT ", rsa_, rsa_)),
                    other = add("other", made("Root", other_, other_, own_id)),
                    ec = add("ec", root(ec_)),
                    all = add("all", pem("CERTIFICATE", root(other_)) + pem("PRIVATE KEY", "key") +
                                         pem("X509 CRL", crl("A", rsa_)) +
                                         pem("CERTIFICATE", root(rsa_)));
  const std::string record = leaf(rsa_), list = crl("Root", rsa_), and_ = "--issuer";
  expect_told({"verify", "--issuer"},
              {{{other, and_, one}, 0, ": valid", "", made("Leaf", rsa_, rsa_, issuer_id)},
               {{case_}, 0, ": valid, signed by CN=rOOT", "", record},
               {{other}, 1, ": invalid, issuer CN=Root", "", list},
               {{ec}, 1, ": key does not fit", "", record},
               {{ec, and_, other}, 1, ": invalid", "", record}});
  EXPECT_EQ(run({"verify", "--json", "--issuer", all}, record).objects().at(0)["signed_by"],
            (json{{"file", all}, {"block", 4}, {"subject", "CN=Root"}}));
}

TEST_F(VerifyTest, OneLineForEachOfAllFiles) {
  const std::string issuer = add("root", root(rsa_)), missing = folder_.at("missing");
  const std::string oid = "\x2a\x86\x48\x86\xf7\x0d\x01\x01";
  const std::string bad =
      add("bad", pem("CERTIFICATE", leaf(other_)) + pem("PRIVATE KEY", "key") +
                     pem("X509 CRL", crl("\x1b[31m", rsa_)) + pem("X509 CRL", crl("Root", rsa_)) +
                     pem("CERTIFICATE", replaced(leaf(rsa_), oid + '\5', oid + '\2')) +
                     pem("CERTIFICATE", "x"));
  const Result result = run({"verify", "--issuer", issuer, missing, bad, issuer});
  EXPECT_EQ(result.code, 3);
  EXPECT_THAT(result.err, HasSubstr("missing: No such file"));
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
}

TEST_F(VerifyTest, ExitCodesAndWhatIsWeak) {
  const Key curve(EVP_EC_gen("P-192"));
  const std::string issuer = add("root", root(rsa_)), good = add("good", leaf(rsa_)),
                    list = add("list", crl("Root", rsa_)), broken = add("broken", "broken"),
                    front = add("front", std::string("\5\0", 2) + leaf(rsa_)),
                    behind = add("behind", root(rsa_) + "xyz"),
                    strong = add("strong", root(ec_, EVP_sha256())),
                    on_curve = add("curve", root(curve));
  std::string changed = leaf(rsa_);
  changed[changed.rfind(std::string("\1\1\5\5\0", 5)) + 3] = 4;  // the signature may hold 5, 0
  const std::string outside = add("outside", changed);
  expect_told({"verify"},
              {{{good}, 2, "", "--issuer is required"},
               {{"--issuer", strong, "--strict", strong}, 0, "CN=Root (ecdsa-sha256)\n"},
               {{"--issuer", behind, good}, 1, "valid", "behind: 3 bytes behind the certificate"}});
  expect_told({"verify", "--issuer"},
              {{{issuer, "--issuer", list, good}, 0, "", "list: a CRL is no issuer; passed over"},
               {{issuer, "--issuer", broken, good}, 1, "", "broken: refused as an issuer"},
               {{issuer, front}, 1, "bits; 2 bytes in front of the certificate\n"},
               {{issuer, "--strict", good}, 1, "valid, signed by CN=Root"},
               {{issuer, outside}, 1, ": its two algorithm identifiers differ"},
               {{on_curve, on_curve}, 0, "(ecdsa-sha1); weak: SHA-1, EC of 192 bits\n"}});
}

// Found is a certificate or CRL of the corpus as OpenSSL reads it.
struct Found {
  std::string result;  // that the tool gives
  X509Owner cert;
  CrlOwner list;

  Found(const json &shown, std::string told) : result(std::move(told)) {
    const auto der = kwpki::unbase64(shown["der"].get<std::string>());
    const uint8_t *at = der.data();
    const auto size = static_cast<long>(der.size());
    if (shown["kind"] == "certificate") cert.reset(d2i_X509(nullptr, &at, size));
    if (shown["kind"] == "crl") list.reset(d2i_X509_CRL(nullptr, &at, size));
  }

  [[nodiscard]] const X509_NAME *issuer() const {
    return cert ? X509_get_issuer_name(cert.get()) : X509_CRL_get_issuer(list.get());
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
  for (const json &shown : run({"inspect", "--json", folder}).objects()) {
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
      valid = valid || (key && !unnamed && found.verifies(key));
    }
    ++counts[found.result];
    if (found.result == "scheme not supported") continue;
    EXPECT_EQ(found.result == "valid", valid) << found.result;
    EXPECT_TRUE(named || found.result == "no issuer found") << found.result;
  }
  EXPECT_GE(counts["valid"], 100u);
  EXPECT_LE(counts["scheme not supported"], 24u);  // MD2, MD4, RIPEMD-160, SM2, ML-DSA, GOST
  EXPECT_GE(counts["no issuer found"], 20u);
}

}  // namespace
