// Arguments that no export takes, and the codes that tell so. Null handles are given everywhere by
// the fuzz target of sessions.

#include "api/host.h"
#include "support/folder.h"

namespace {

using ApiObjectsTest = sample::Balanced;

TEST_F(ApiObjectsTest, ArgumentsThatAreRefused) {
  const client::Cert cert;
  const client::Crl crl;
  const client::Key no_key;
  const host::SearchKey keys;
  const host::Search search;
  const Der encoding = sample::CertParts().build();
  uint8_t octet = 0x30, *data = &octet;
  const uint8_t *shown = &octet;
  KwPkiBlock bad_blob = {&octet, 1};
  const std::string long_text(0x63FE001, 'x');
  uint32_t length = 77, other = 77;
  ASSERT_EQ(client::set(cert, encoding), KWPKI_OK);
  const KwPkiStatus failed[] = {
      // The other of two out arguments is emptied.
      KwPkiCertGetBer(cert, nullptr, &length),
      KwPkiCertGetBer(cert, &shown, nullptr),
      KwPkiCertGetSerialNumber(cert, nullptr),
      KwPkiCertGetSubjectDN(cert, nullptr),
      KwPkiCertGetSubjectDNDer(cert, nullptr, &other),
      KwPkiCertGetSubjectDNDer(cert, &data, nullptr),
      KwPkiCertSetBer(nullptr, 0xFFFFFFFF, cert),
      KwPkiCrlSetBer(nullptr, 1, crl),
      KwPkiCrlReadFromFile(client::example("crl-v2.pem").c_str(), nullptr),
      KwPkiProcessAsyncResponce(nullptr, 30),
      KwPkiSearchKeySetDNDer(nullptr, 0, keys),
      KwPkiSearchKeySetDNS(nullptr, 0, keys),
      KwPkiSearchKeySetURI(long_text.c_str(), 0x63FE001, keys),
      KwPkiSearchKeySetIP(nullptr, 4, keys),
  };
  EXPECT_THAT(failed, testing::Each(KWPKI_FAILED));
  EXPECT_TRUE(length == 0 && other == 0 && !shown && !data);
  for (KwPkiPublicKey key : {static_cast<KwPkiPublicKey>(no_key), KwPkiPublicKey(), &bad_blob})
    EXPECT_EQ(KwPkiSearchKeySetPublicKey(key, keys), KWPKI_KEY_FAILED);
  const std::string plain = client::example("crl-v1.der"), armoured = client::example("crl-v2.pem");
  EXPECT_EQ(KwPkiReadFile(armoured.c_str(), 1, &data, nullptr), KWPKI_FILE_UNREADABLE);
  EXPECT_EQ(client::read(plain.c_str(), 0x80000000).status, KWPKI_FILE_UNREADABLE);
  const Der crl_octets = sample::example("crl-v2.pem");
  EXPECT_EQ(client::read(armoured.c_str(), 0x80000000).value, ssh_bytes_text(crl_octets));
  EXPECT_EQ(KwPkiCrlReadFromFile(armoured.c_str(), crl), KWPKI_OK);
  EXPECT_EQ(KwPkiCrlReadFromFile(plain.c_str(), crl), KWPKI_FILE_UNREADABLE);
  EXPECT_EQ(KwPkiCrlReadFromFile(client::example("ca-root.pem").c_str(), crl), KWPKI_FAILED);
  // Of standard input a text would lose a line end of two bytes, and what is behind its last one.
  const Folder folder;
  const std::string octets("0\r\nA\x1A more");
  for (const char *standard : {"-", static_cast<const char *>(nullptr)}) {
    ASSERT_TRUE(std::freopen(folder.add("file", octets).c_str(), "r", stdin));
    EXPECT_EQ(client::read(standard, 0).value, octets);
  }
  EXPECT_EQ(client::ber(cert).value, hex(encoding)) << "the certificate is as it was";
  for (int again = 0; again < 2; ++again) EXPECT_EQ(KwPkiSearchSetKeys(keys, search), KWPKI_OK);
}

}  // namespace
