// What the tool adds to the records that it shows, against OpenSSL: fingerprints. The corpus tests
// hold the records, fuzz/inspect_fuzz.cc holds what is shown against them.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <filesystem>

#include "support/tool.h"
#include "tools/inspect_samples.h"

namespace {

using namespace inspect_samples;
using nlohmann::json;

std::string digest(const std::vector<uint8_t> &octets, const EVP_MD *md) {
  uint8_t out[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  EVP_Digest(octets.data(), octets.size(), out, &length, md, nullptr);
  return kwpki::hex({out, length});
}

TEST(Inspect, AgreesWithOpenSsl) {
  std::vector<std::string> arguments = {"inspect", "--json", KWPKI_SOURCE_DIR "/examples"};
  if (std::filesystem::exists(KWPKI_CORPUS_DIR))
    arguments.insert(arguments.end(), {KWPKI_CORPUS_DIR "/der", KWPKI_CORPUS_DIR "/pem"});
  const Result result = run(arguments);
  EXPECT_TRUE(std::all_of(result.out.begin(), result.out.end(),
                          [](char c) { return c == '\n' || (c >= 32 && c < 127); }));
  size_t accepted = 0;
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
    ++accepted;
  }
  EXPECT_GE(accepted, 11u);
}

}  // namespace
