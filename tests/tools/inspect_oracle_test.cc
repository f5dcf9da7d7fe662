// What the tool shows of certificates and CRLs, against OpenSSL.
#include <gmock/gmock.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "support/tool.h"
#include "tools/inspect_samples.h"

namespace {

namespace fs = std::filesystem;
using namespace inspect_samples;
using nlohmann::json;

std::string iso(const ASN1_TIME *time) {
  std::tm tm = {};
  char text[80];
  if (!time || !ASN1_TIME_to_tm(time, &tm)) return "";
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", tm.tm_year + 1900,
                tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
  return text;
}

std::string decimal(const ASN1_INTEGER *integer) {
  BIGNUM *number = ASN1_INTEGER_to_BN(integer, nullptr);
  char *text = BN_bn2dec(number);
  std::string out(text);
  OPENSSL_free(text);
  BN_free(number);
  return out;
}

void expect_extensions(const json &shown, const STACK_OF(X509_EXTENSION) * list) {
  ASSERT_EQ(shown.size(), static_cast<size_t>(std::max(0, X509v3_get_ext_count(list))));
  for (size_t i = 0; i < shown.size(); ++i) {
    X509_EXTENSION *extension = X509v3_get_ext(list, static_cast<int>(i));
    char oid[128];
    OBJ_obj2txt(oid, sizeof oid, X509_EXTENSION_get_object(extension), 1);
    EXPECT_EQ(shown[i]["oid"], oid);
    EXPECT_EQ(shown[i]["critical"], X509_EXTENSION_get_critical(extension) != 0);
    const ASN1_OCTET_STRING *value = X509_EXTENSION_get_data(extension);
    EXPECT_EQ(shown[i]["der"], kwpki::hex({value->data, static_cast<size_t>(value->length)}));
  }
}

std::string digest(const std::vector<uint8_t> &octets, const EVP_MD *md) {
  uint8_t out[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  EVP_Digest(octets.data(), octets.size(), out, &length, md, nullptr);
  return kwpki::hex({out, length});
}

void expect_certificate(const json &shown, X509 *x509) {
  EXPECT_EQ(shown["version"], X509_get_version(x509) + 1);
  EXPECT_EQ(shown["serial"]["decimal"], decimal(X509_get0_serialNumber(x509)));
  EXPECT_EQ(shown["validity"]["not_before"], iso(X509_get0_notBefore(x509)));
  EXPECT_EQ(shown["validity"]["not_after"], iso(X509_get0_notAfter(x509)));
  EXPECT_EQ(shown["subject"]["attributes"].empty(),
            X509_NAME_entry_count(X509_get_subject_name(x509)) == 0);
  expect_extensions(shown["extensions"], X509_get0_extensions(x509));
  EVP_PKEY *key = X509_get0_pubkey(x509);
  BIGNUM *number = nullptr;
  const char *const pairs[][2] = {
      {"n", "modulus"}, {"e", "public_exponent"}, {"p", "p"}, {"q", "q"}, {"g", "g"}, {"pub", "y"}};
  for (const auto &pair : pairs) {
    if (!key || !shown["public_key"].contains(pair[1])) continue;
    // A number without its leading zero is negative to the tool, as it stands.
    if (shown["public_key"][pair[1]]["hex"].get<std::string>().starts_with("-")) continue;
    ASSERT_TRUE(EVP_PKEY_get_bn_param(key, pair[0], &number)) << pair[0];
    std::vector<uint8_t> octets(static_cast<size_t>(BN_num_bytes(number)));
    BN_bn2bin(number, octets.data());
    EXPECT_EQ(shown["public_key"][pair[1]]["hex"], kwpki::hex(octets));
  }
  BN_free(number);
}

void expect_crl(const json &shown, X509_CRL *list) {
  EXPECT_EQ(shown["this_update"], iso(X509_CRL_get0_lastUpdate(list)));
  expect_extensions(shown["extensions"], X509_CRL_get0_extensions(list));
  const auto *revoked = X509_CRL_get_REVOKED(list);
  ASSERT_EQ(shown["entries"].size(),
            static_cast<size_t>(std::max(0, sk_X509_REVOKED_num(revoked))));
  for (size_t i = 0; i < shown["entries"].size(); ++i) {
    const X509_REVOKED *entry = sk_X509_REVOKED_value(revoked, static_cast<int>(i));
    EXPECT_EQ(shown["entries"][i]["serial"]["decimal"],
              decimal(X509_REVOKED_get0_serialNumber(entry)));
    EXPECT_EQ(shown["entries"][i]["date"], iso(X509_REVOKED_get0_revocationDate(entry)));
    expect_extensions(shown["entries"][i]["extensions"], X509_REVOKED_get0_extensions(entry));
  }
}

TEST(Inspect, AgreesWithOpenSsl) {
  std::vector<std::string> arguments = {"inspect", "--json", KWPKI_SOURCE_DIR "/examples"};
  if (fs::exists(KWPKI_CORPUS_DIR))
    arguments.insert(arguments.end(), {KWPKI_CORPUS_DIR "/der", KWPKI_CORPUS_DIR "/pem"});
  const Result result = run(arguments);
  EXPECT_TRUE(std::all_of(result.out.begin(), result.out.end(),
                          [](char c) { return c == '\n' || (c >= 32 && c < 127); }));
  size_t certificates = 0, lists = 0;
  for (const json &shown : result.objects()) {
    SCOPED_TRACE(shown["file"]);
    const auto der = unbase64(shown["der"]);
    if (!shown["accepted"]) {
      EXPECT_TRUE(shown["refusal"]["structure"].is_string());
      EXPECT_LE(shown["refusal"]["offset"], der.size());
      continue;
    }
    EXPECT_EQ(shown["fingerprints"]["sha1"], digest(der, EVP_sha1()));
    EXPECT_EQ(shown["fingerprints"]["sha256"], digest(der, EVP_sha256()));
    const uint8_t *at = der.data();
    if (shown["kind"] == "certificate") {
      const std::unique_ptr<X509, decltype(&X509_free)> x509(
          d2i_X509(nullptr, &at, static_cast<long>(der.size())), X509_free);
      if (x509) expect_certificate(shown, x509.get());
      certificates += x509 != nullptr;
    } else {
      const std::unique_ptr<X509_CRL, decltype(&X509_CRL_free)> list(
          d2i_X509_CRL(nullptr, &at, static_cast<long>(der.size())), X509_CRL_free);
      if (list) expect_crl(shown, list.get());
      lists += list != nullptr;
    }
  }
  EXPECT_GE(certificates, 8u);
  EXPECT_GE(lists, 3u);
}

}  // namespace
