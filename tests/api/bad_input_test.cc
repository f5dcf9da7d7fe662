// Seeds of many kinds, each cut at every place and changed in every octet: whatever comes is a
// result or a documented code, without a leak and without anything that a sanitizer would mind.

#include "api/client.h"

namespace {

using ApiBadInputTest = sample::Balanced;

std::vector<client::File> seeds() {
  sample::CertParts version1, dsa, big_serial, critical;
  version1.version = {};
  dsa.key = sample::dsa_key_info(0x101);
  dsa.use_algorithm(sample::kDsaSha1);
  dsa.signature = der::bits(der::seq({der::integer(1), der::integer(0x100)}));
  big_serial.serial = der::natural(Der(60, 0xFE));
  big_serial.subject = der::seq({});
  critical.extensions = {sample::extension("2.5.29.15", der::bits({0x80}, 7), true),
                         sample::extension("1.2.3", der::null())};
  std::vector<client::File> all = client::examples();
  std::erase_if(all, [](const client::File &file) { return file.octets.size() > 1024; });
  EXPECT_GE(all.size(), 13u);
  for (const Der &octets : {version1.build(), dsa.build(), big_serial.build(), critical.build(),
                            client::dh_cert(), sample::CrlParts().build()}) {
    all.push_back({"handmade", octets});
  }
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
    const auto got = client::all(cert_);  // subject as text and DER, serial, key, encoding
    for (const size_t i : {0u, 1u}) {
      EXPECT_TRUE(got[i].status == KWPKI_OK || got[i] == client::kFailed);
    }
    EXPECT_EQ(got[2].status, KWPKI_OK);
    EXPECT_TRUE(got[3].status == KWPKI_OK || got[3].status == KWPKI_NO_PUBLIC_KEY);
  }

  client::Cert cert_;
  client::Crl crl_;
};

TEST_F(ApiBadInputTest, CutsAreRefusedAndChangesDoNoHarm) {
  Reader reader;
  size_t accepted = 0, tried = 0;
  for (const client::File &seed : seeds()) {
    EXPECT_EQ(reader.accepts(seed.octets), !seed.name.starts_with("refused")) << seed.name;
    for (size_t length = 0; length < seed.octets.size(); ++length) {
      const Der cut(seed.octets.begin(), seed.octets.begin() + static_cast<ptrdiff_t>(length));
      EXPECT_FALSE(reader.accepts(cut)) << seed.name << " cut at " << length;
    }
    Der octets = seed.octets;
    for (uint8_t &octet : octets) {
      const uint8_t good = octet;
      for (const unsigned change : {1u, 2u, 4u, 8u, 16u, 32u, 64u, 128u, 31u, 255u}) {
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
