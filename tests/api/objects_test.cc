// All exports at once: null arguments everywhere, the objects without content, the status table.

#include <set>

#include "api/host.h"
#include "api/status.h"

namespace {

using ApiObjectsTest = sample::Balanced;

struct NullRow {
  const char *name;
  KwPkiStatus expected;
  KwPkiStatus (*call)();
};

template <class T>
KwPkiStatus give_back(T(KWPKI_CALL *allocate)(void), KwPkiStatus(KWPKI_CALL *free)(T)) {
  T one = allocate(), other = allocate();
  EXPECT_TRUE(one && other && one != other);
  EXPECT_EQ(free(one), KWPKI_OK);
  return free(other);
}

// In calls with several pointers each row leaves one of them null.
client::Cert *cert;
char *text;
uint8_t *data;
const uint8_t *shown;
uint32_t length;

KwPkiStatus none(const void *result) { return result ? KWPKI_FAILED : KWPKI_OK; }

host::Agent *agent() {
  static host::Agent one;
  return &one;
}

// process answers the request that was just posted.
KwPkiStatus process(uint32_t type, KwPkiStatus posted) {
  EXPECT_EQ(posted, KWPKI_OK);
  return host::process(wire::envelope(host::id(agent()->last()), type, 0, {}));
}

constexpr NullRow kRows[] = {
    {"KwPkiCertAllocate", KWPKI_OK, [] { return give_back(KwPkiCertAllocate, KwPkiCertFree); }},
    {"KwPkiCertFree", KWPKI_OK, [] { return KwPkiCertFree(nullptr); }},
    {"KwPkiCertGetBer", KWPKI_FAILED, [] { return KwPkiCertGetBer(nullptr, &shown, &length); }},
    {"KwPkiCertGetBer", KWPKI_FAILED, [] { return KwPkiCertGetBer(*cert, nullptr, &length); }},
    {"KwPkiCertGetBer", KWPKI_FAILED, [] { return KwPkiCertGetBer(*cert, &shown, nullptr); }},
    {"KwPkiCertGetPublicKey", KWPKI_FAILED,
     [] {
       const client::Key key;
       return KwPkiCertGetPublicKey(nullptr, key);
     }},
    {"KwPkiCertGetPublicKey", KWPKI_FAILED, [] { return KwPkiCertGetPublicKey(*cert, nullptr); }},
    {"KwPkiCertGetSerialNumber", KWPKI_FAILED,
     [] { return KwPkiCertGetSerialNumber(nullptr, &text); }},
    {"KwPkiCertGetSerialNumber", KWPKI_FAILED,
     [] { return KwPkiCertGetSerialNumber(*cert, nullptr); }},
    {"KwPkiCertGetSubjectDN", KWPKI_FAILED, [] { return KwPkiCertGetSubjectDN(nullptr, &text); }},
    {"KwPkiCertGetSubjectDN", KWPKI_FAILED, [] { return KwPkiCertGetSubjectDN(*cert, nullptr); }},
    {"KwPkiCertGetSubjectDNDer", KWPKI_FAILED,
     [] { return KwPkiCertGetSubjectDNDer(nullptr, &data, &length); }},
    {"KwPkiCertGetSubjectDNDer", KWPKI_FAILED,
     [] { return KwPkiCertGetSubjectDNDer(*cert, nullptr, &length); }},
    {"KwPkiCertGetSubjectDNDer", KWPKI_FAILED,
     [] { return KwPkiCertGetSubjectDNDer(*cert, &data, nullptr); }},
    {"KwPkiCertSetBer", KWPKI_FAILED,
     [] { return KwPkiCertSetBer(reinterpret_cast<const uint8_t *>("0"), 1, nullptr); }},
    {"KwPkiCertSetBer", KWPKI_FAILED, [] { return KwPkiCertSetBer(nullptr, 0, nullptr); }},
    {"KwPkiCertSetBer", KWPKI_FAILED, [] { return KwPkiCertSetBer(nullptr, 0xFFFFFFFF, *cert); }},
    {"KwPkiCrlAllocate", KWPKI_OK, [] { return give_back(KwPkiCrlAllocate, KwPkiCrlFree); }},
    {"KwPkiCrlFree", KWPKI_OK, [] { return KwPkiCrlFree(nullptr); }},
    {"KwPkiCrlReadFromFile", KWPKI_FAILED,
     [] { return KwPkiCrlReadFromFile(client::example("crl-v2.pem").c_str(), nullptr); }},
    {"KwPkiCrlSetBer", KWPKI_FAILED,
     [] { return KwPkiCrlSetBer(reinterpret_cast<const uint8_t *>("0"), 1, nullptr); }},
    {"KwPkiCrlSetBer", KWPKI_FAILED, [] { return KwPkiCrlSetBer(nullptr, 1, client::Crl()); }},
    {"KwPkiDelayLoadInitialize", KWPKI_OK, [] { return KwPkiDelayLoadInitialize(); }},
    {"KwPkiPublicKeyAllocate", KWPKI_OK,
     [] { return give_back(KwPkiPublicKeyAllocate, KwPkiPublicKeyFree); }},
    {"KwPkiPublicKeyFree", KWPKI_OK, [] { return KwPkiPublicKeyFree(nullptr); }},
    {"KwPkiReadFile", KWPKI_FILE_UNREADABLE,
     [] { return KwPkiReadFile(client::example("crl-v1.der").c_str(), 0, nullptr, &length); }},
    {"KwPkiReadFile", KWPKI_FILE_UNREADABLE,
     [] { return KwPkiReadFile(client::example("crl-v2.pem").c_str(), 1, &data, nullptr); }},
    {"KwPkiStringFree", KWPKI_OK, [] { return KwPkiStringFree(nullptr); }},
    {"KwPkiValidityAllocate", KWPKI_OK,
     [] { return give_back(KwPkiValidityAllocate, KwPkiValidityFree); }},
    {"KwPkiValidityFree", KWPKI_OK, [] { return KwPkiValidityFree(nullptr); }},
    {"KwPkiCaNamesAsync", KWPKI_FAILED,
     [] { return process(4, KwPkiCaNamesAsync(nullptr, nullptr, agent())); }},
    {"KwPkiCertAddAsync", KWPKI_NOT_POSTED,
     [] { return KwPkiCertAddAsync(nullptr, nullptr, nullptr, 0, agent()); }},
    {"KwPkiCertListCurrent", KWPKI_OK, [] { return none(KwPkiCertListCurrent(nullptr)); }},
    {"KwPkiCertListFirst", KWPKI_OK, [] { return none(KwPkiCertListFirst(nullptr)); }},
    {"KwPkiCertListFree", KWPKI_OK, [] { return KwPkiCertListFree(nullptr); }},
    {"KwPkiCertListIsEmpty", 1, [] { return KwPkiCertListIsEmpty(nullptr); }},
    {"KwPkiCertListLast", KWPKI_OK, [] { return none(KwPkiCertListLast(nullptr)); }},
    {"KwPkiCertListNext", KWPKI_OK, [] { return none(KwPkiCertListNext(nullptr)); }},
    {"KwPkiCertListPrev", KWPKI_OK, [] { return none(KwPkiCertListPrev(nullptr)); }},
    {"KwPkiCertRequestAsync", KWPKI_NOT_POSTED,
     [] { return KwPkiCertRequestAsync(nullptr, nullptr, nullptr, nullptr, nullptr, agent()); }},
    {"KwPkiCertRequestRemoveAsync", KWPKI_NOT_POSTED,
     [] { return KwPkiCertRequestRemoveAsync(nullptr, nullptr, nullptr, agent()); }},
    {"KwPkiCrlAddAsync", KWPKI_NOT_POSTED,
     [] { return KwPkiCrlAddAsync(nullptr, nullptr, nullptr, agent()); }},
    {"KwPkiGetSearchState", KWPKI_OK,
     [] { return none(KwPkiGetSearchState(nullptr, &length, &text)); }},
    {"KwPkiProcessAsyncResponce", KWPKI_FAILED,
     [] { return KwPkiProcessAsyncResponce(nullptr, 30); }},
    {"KwPkiSearchAllocate", KWPKI_OK,
     [] { return give_back(KwPkiSearchAllocate, KwPkiSearchFree); }},
    {"KwPkiSearchAsync", KWPKI_NOT_POSTED,
     [] { return KwPkiSearchAsync(nullptr, nullptr, nullptr, nullptr, agent()); }},
    {"KwPkiSearchFree", KWPKI_OK, [] { return KwPkiSearchFree(nullptr); }},
    {"KwPkiSearchKeyAllocate", KWPKI_OK,
     [] { return give_back(KwPkiSearchKeyAllocate, KwPkiSearchKeyFree); }},
    {"KwPkiSearchKeyFree", KWPKI_OK, [] { return KwPkiSearchKeyFree(nullptr); }},
    {"KwPkiSearchKeySetDN", KWPKI_FAILED, [] { return KwPkiSearchKeySetDN("CN=a", 0, nullptr); }},
    {"KwPkiSearchKeySetDNDer", KWPKI_FAILED,
     [] { return KwPkiSearchKeySetDNDer(nullptr, 0, nullptr); }},
    {"KwPkiSearchKeySetDNS", KWPKI_FAILED, [] { return KwPkiSearchKeySetDNS("a", 0, nullptr); }},
    {"KwPkiSearchKeySetEmail", KWPKI_FAILED,
     [] { return KwPkiSearchKeySetEmail("a", 0, nullptr); }},
    {"KwPkiSearchKeySetIP", KWPKI_FAILED, [] { return KwPkiSearchKeySetIP(nullptr, 0, nullptr); }},
    {"KwPkiSearchKeySetOID", KWPKI_FAILED, [] { return KwPkiSearchKeySetOID("1.2", 0, nullptr); }},
    {"KwPkiSearchKeySetPublicKey", KWPKI_FAILED,
     [] { return KwPkiSearchKeySetPublicKey(nullptr, nullptr); }},
    {"KwPkiSearchKeySetURI", KWPKI_FAILED, [] { return KwPkiSearchKeySetURI("a", 0, nullptr); }},
    {"KwPkiSearchPathAsync", KWPKI_NOT_POSTED,
     [] { return KwPkiSearchPathAsync(nullptr, nullptr, nullptr, nullptr, nullptr, agent()); }},
    {"KwPkiSearchSetGroupModeOn", KWPKI_FAILED, [] { return KwPkiSearchSetGroupModeOn(nullptr); }},
    {"KwPkiSearchSetKeyType", KWPKI_FAILED, [] { return KwPkiSearchSetKeyType(1, nullptr); }},
    {"KwPkiSearchSetKeyUsage", KWPKI_FAILED, [] { return KwPkiSearchSetKeyUsage(1, nullptr); }},
    {"KwPkiSearchSetKeys", KWPKI_FAILED, [] { return KwPkiSearchSetKeys(nullptr, nullptr); }},
    {"KwPkiSearchSetPathLength", KWPKI_FAILED, [] { return KwPkiSearchSetPathLength(1, nullptr); }},
    {"KwPkiSearchSetRule", KWPKI_FAILED, [] { return KwPkiSearchSetRule(1, nullptr); }},
    {"KwPkiSearchSetUnixTime", KWPKI_FAILED, [] { return KwPkiSearchSetUnixTime(0, 0, nullptr); }},
    {"KwPkiStatusAsync", KWPKI_FAILED,
     [] { return process(6, KwPkiStatusAsync(nullptr, nullptr, agent())); }},
};

TEST_F(ApiObjectsTest, NullArguments) {
  client::Cert decoded;
  cert = &decoded;
  const std::string encoding = hex(sample::CertParts().build());
  ASSERT_EQ(client::set(decoded, sample::CertParts().build()), KWPKI_OK);
  std::set<std::string> called, exported;
  for (const NullRow &row : kRows) {
    EXPECT_EQ(row.call(), row.expected) << row.name;
    called.insert(row.name);
  }
  EXPECT_EQ(client::ber(decoded).value, encoding) << "the certificate is as it was";

  std::ifstream in(KWPKI_SOURCE_DIR "/src/api/exports.txt");
  for (std::string name; std::getline(in, name);) exported.insert(name);
  EXPECT_EQ(called, exported);
}

TEST_F(ApiObjectsTest, FailuresEmptyTheOtherOutArguments) {
  const client::Cert empty;
  uint8_t poison = 0, *block = &poison;
  const uint8_t *view = &poison;
  uint32_t size = 77;
  EXPECT_EQ(KwPkiCertGetBer(empty, nullptr, &size), KWPKI_FAILED);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(KwPkiCertGetBer(empty, &view, nullptr), KWPKI_FAILED);
  EXPECT_EQ(view, nullptr);
  size = 77;
  EXPECT_EQ(KwPkiCertGetSubjectDNDer(empty, nullptr, &size), KWPKI_FAILED);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(KwPkiCertGetSubjectDNDer(empty, &block, nullptr), KWPKI_FAILED);
  EXPECT_EQ(block, nullptr);
}

TEST_F(ApiObjectsTest, CoreStatuses) {
  for (uint32_t status = 0; status < 300; ++status) {
    const KwPkiStatus expected = status == 0                                   ? 0
                                 : status == 9 || status == 11 || status == 12 ? 0x84090001
                                 : status == 17                                ? 0xC4090001
                                                                               : 0x84090005;
    EXPECT_EQ(kwpki_status(static_cast<SshCMStatus>(status)), expected) << status;
  }
}

}  // namespace
