// Arguments that no export takes, and the codes that tell so.
#include <gmock/gmock.h>

#include <map>

#include "api/host.h"
#include "api/status.h"

namespace {

using testing::Each;
using ApiObjectsTest = sample::Balanced;

TEST_F(ApiObjectsTest, ArgumentsThatAreRefused) {
  const client::Cert cert;
  const client::Crl crl;
  const client::Key no_key;
  const host::SearchKey keys;
  const host::Search search;
  const Der encoding = sample::CertParts().build();
  const uint8_t octet = 0x30, *shown = nullptr;
  const KwPkiBlock bad_blob = {&octet, 1};
  const std::string long_name = "CN=" + std::string(1 << 20, 'x');
  const std::string long_text(0x63FE001, 'x');
  char *text = nullptr;
  uint8_t *data = nullptr;
  uint32_t length = 0;
  ASSERT_EQ(client::set(cert, encoding), KWPKI_OK);
  const KwPkiStatus failed[] = {
      KwPkiCertGetBer(nullptr, &shown, &length),
      KwPkiCertGetBer(cert, nullptr, &length),
      KwPkiCertGetBer(cert, &shown, nullptr),
      KwPkiCertGetPublicKey(nullptr, no_key),
      KwPkiCertGetSerialNumber(nullptr, &text),
      KwPkiCertGetSerialNumber(cert, nullptr),
      KwPkiCertGetSubjectDN(nullptr, &text),
      KwPkiCertGetSubjectDN(cert, nullptr),
      KwPkiCertGetSubjectDNDer(nullptr, &data, &length),
      KwPkiCertGetSubjectDNDer(cert, nullptr, &length),
      KwPkiCertGetSubjectDNDer(cert, &data, nullptr),
      KwPkiCertSetBer(&octet, 1, nullptr),
      KwPkiCertSetBer(nullptr, 0, nullptr),
      KwPkiCertSetBer(nullptr, 0xFFFFFFFF, cert),
      KwPkiCrlSetBer(&octet, 1, nullptr),
      KwPkiCrlSetBer(nullptr, 1, crl),
      KwPkiProcessAsyncResponce(nullptr, 30),
      KwPkiSearchKeySetDN("CN", 0, keys),
      KwPkiSearchKeySetDN(nullptr, 0, keys),
      KwPkiSearchKeySetDN(long_name.c_str(), 0, keys),
      KwPkiSearchKeySetDN("CN=a", 0, nullptr),
      KwPkiSearchKeySetDNDer(&octet, 1, keys),
      KwPkiSearchKeySetDNDer(nullptr, 0, keys),
      KwPkiSearchKeySetDNDer(unhex("3000").data(), 2, nullptr),
      KwPkiSearchKeySetDNS(nullptr, 0, keys),
      KwPkiSearchKeySetDNS("a", 0, nullptr),
      KwPkiSearchKeySetDNS(long_text.c_str(), 0, keys),
      KwPkiSearchKeySetEmail(nullptr, 4, keys),
      KwPkiSearchKeySetEmail("a", 0, nullptr),
      KwPkiSearchKeySetURI(long_text.c_str(), 0x63FE001, keys),
      KwPkiSearchKeySetURI("a", 0, nullptr),
      KwPkiSearchKeySetOID(nullptr, 0, keys),
      KwPkiSearchKeySetOID("1.2", 0, nullptr),
      KwPkiSearchKeySetIP(nullptr, 4, keys),
      KwPkiSearchKeySetIP(nullptr, 0, nullptr),
      KwPkiSearchKeySetPublicKey(no_key, nullptr),
      KwPkiSearchSetKeys(nullptr, search),
      KwPkiSearchSetKeys(keys, nullptr),
      KwPkiSearchSetGroupModeOn(nullptr),
      KwPkiSearchSetKeyType(1, nullptr),
      KwPkiSearchSetKeyUsage(1, nullptr),
      KwPkiSearchSetPathLength(1, nullptr),
      KwPkiSearchSetRule(1, nullptr),
      KwPkiSearchSetUnixTime(0, 0, nullptr),
  };
  EXPECT_THAT(failed, Each(KWPKI_FAILED));
  const KwPkiStatus other[] = {
      KwPkiSearchKeySetPublicKey(no_key, keys),
      KwPkiSearchKeySetPublicKey(nullptr, keys),
      KwPkiSearchKeySetPublicKey(const_cast<KwPkiBlock *>(&bad_blob), keys),
  };
  EXPECT_THAT(other, Each(KWPKI_KEY_FAILED));
  EXPECT_EQ(KwPkiReadFile(client::example("crl-v1.der").c_str(), 0, nullptr, &length),
            KWPKI_FILE_UNREADABLE);
  EXPECT_EQ(KwPkiReadFile(client::example("crl-v2.pem").c_str(), 1, &data, nullptr),
            KWPKI_FILE_UNREADABLE);
  EXPECT_EQ(client::ber(cert).value, hex(encoding)) << "the certificate is as it was";
  for (int again = 0; again < 2; ++again) EXPECT_EQ(KwPkiSearchSetKeys(keys, search), KWPKI_OK);
}

TEST_F(ApiObjectsTest, NullsThatAreNothing) {
  const KwPkiStatus freed[] = {
      KwPkiCertFree(nullptr),   KwPkiCrlFree(nullptr),       KwPkiPublicKeyFree(nullptr),
      KwPkiStringFree(nullptr), KwPkiValidityFree(nullptr),  KwPkiCertListFree(nullptr),
      KwPkiSearchFree(nullptr), KwPkiSearchKeyFree(nullptr), KwPkiDelayLoadInitialize(),
  };
  EXPECT_THAT(freed, Each(KWPKI_OK));
  EXPECT_EQ(KwPkiCertListIsEmpty(nullptr), 1u);
  for (const auto step : {KwPkiCertListFirst, KwPkiCertListLast, KwPkiCertListNext,
                          KwPkiCertListPrev, KwPkiCertListCurrent}) {
    EXPECT_EQ(step(nullptr), nullptr);
  }
}

TEST_F(ApiObjectsTest, FailuresEmptyTheOtherOutArguments) {
  const client::Cert empty;
  uint8_t poison = 0, *block = &poison;
  const uint8_t *view = &poison;
  uint32_t size = 77, other = 77;
  EXPECT_EQ(KwPkiCertGetBer(empty, nullptr, &size), KWPKI_FAILED);
  EXPECT_EQ(KwPkiCertGetBer(empty, &view, nullptr), KWPKI_FAILED);
  EXPECT_EQ(KwPkiCertGetSubjectDNDer(empty, nullptr, &other), KWPKI_FAILED);
  EXPECT_EQ(KwPkiCertGetSubjectDNDer(empty, &block, nullptr), KWPKI_FAILED);
  EXPECT_TRUE(size == 0 && other == 0 && !view && !block);
}

TEST_F(ApiObjectsTest, CoreStatuses) {
  std::map<uint32_t, uint32_t> codes = {
      {0, 0}, {9, 0x84090001}, {11, 0x84090001}, {12, 0x84090001}, {17, 0xC4090001}};
  for (uint32_t status = 0; status < 300; ++status) {
    EXPECT_EQ(kwpki_status(static_cast<SshCMStatus>(status)),
              codes.contains(status) ? codes[status] : 0x84090005);
  }
}

}  // namespace
