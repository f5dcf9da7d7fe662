// Twenty seeds, each cut at every place and changed in every octet: whatever comes is a result
// or a documented code, without a leak and without anything that a sanitizer would mind.

#include "api/client.h"

namespace {

using client::Cert;
using client::Crl;
using client::Key;
using ApiBadInputTest = sample::Balanced;

std::vector<client::File> seeds() {
  sample::CertParts version1, dsa, no_subject, big_serial, critical;
  version1.version = {};
  dsa.key = sample::dsa_key_info(0x101);
  dsa.use_algorithm(sample::kDsaSha1);
  dsa.signature = der::bits(der::seq({der::integer(1), der::integer(0x100)}));
  no_subject.subject = der::seq({});
  big_serial.serial = der::natural(Der(60, 0xFE));
  critical.extensions = {sample::extension("2.5.29.15", der::bits({0x80}, 7), true),
                         sample::extension("1.2.3", der::null())};
  std::vector<client::File> all = client::examples();
  std::erase_if(all, [](const client::File &file) { return file.octets.size() > 1024; });
  const Der parts[] = {version1.build(),          dsa.build(),      no_subject.build(),
                       big_serial.build(),        critical.build(), client::dh_cert(),
                       sample::CrlParts().build()};
  for (const Der &octets : parts) all.push_back({"handmade", octets});
  return all;
}

// Reader sets one certificate and one CRL again and again and asks the certificate for everything.
class Reader {
 public:
  // accepts is true if the octets are a certificate or a CRL.
  bool accepts(Bytes octets) {
    const KwPkiStatus as_cert = client::set(cert_, octets), as_crl = client::set(crl_, octets);
    EXPECT_TRUE(as_cert == KWPKI_OK || as_cert == KWPKI_FAILED);
    EXPECT_TRUE(as_crl == KWPKI_OK || as_crl == KWPKI_FAILED);
    if (as_cert == KWPKI_OK) ask();
    return as_cert == KWPKI_OK || as_crl == KWPKI_OK;
  }

 private:
  void ask() {
    char *text = nullptr;
    uint8_t *data = nullptr;
    uint32_t length = 0;
    const KwPkiStatus subject = KwPkiCertGetSubjectDN(cert_, &text);
    EXPECT_TRUE(subject == KWPKI_OK || (subject == KWPKI_FAILED && !text));
    KwPkiStringFree(text);
    const KwPkiStatus der = KwPkiCertGetSubjectDNDer(cert_, &data, &length);
    EXPECT_TRUE(der == KWPKI_OK || (der == KWPKI_FAILED && !data && length == 0));
    KwPkiStringFree(data);
    EXPECT_EQ(KwPkiCertGetSerialNumber(cert_, &text), KWPKI_OK);
    KwPkiStringFree(text);
    const KwPkiStatus key = KwPkiCertGetPublicKey(cert_, key_);
    EXPECT_TRUE(key == KWPKI_OK || key == KWPKI_NO_PUBLIC_KEY);
  }

  Cert cert_;
  Crl crl_;
  Key key_;
};

TEST_F(ApiBadInputTest, NoPrefixIsAccepted) {
  const std::vector<client::File> all = seeds();
  ASSERT_GE(all.size(), 20u);
  Reader reader;
  for (const client::File &seed : all) {
    for (size_t length = 0; length < seed.octets.size(); ++length) {
      const Der cut(seed.octets.begin(), seed.octets.begin() + static_cast<ptrdiff_t>(length));
      EXPECT_FALSE(reader.accepts(cut)) << seed.name << " cut at " << length;
    }
    EXPECT_EQ(reader.accepts(seed.octets), !client::starts(seed, "refused")) << seed.name;
  }
}

TEST_F(ApiBadInputTest, EveryOctetMayBeAnother) {
  size_t accepted = 0, tried = 0;
  Reader reader;
  for (const client::File &seed : seeds()) {
    Der octets = seed.octets;
    for (uint8_t &octet : octets) {
      const uint8_t good = octet;
      for (unsigned change = 1; change < 256; ++change) {
        octet = static_cast<uint8_t>(good ^ change);
        accepted += reader.accepts(octets);
        ++tried;
      }
      octet = good;
    }
  }
  // Most octets are keys, signatures and names, where anything goes; the rest is structure.
  EXPECT_GT(accepted, tried / 4);
  EXPECT_LT(accepted, tried);
}

}  // namespace
