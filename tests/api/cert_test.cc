// Certificates and CRLs through the public interface: contents, replacing, emptiness, and who owns
// what. The sanitizers and the balance of blocks watch the ownership.
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "api/client.h"

namespace {

using client::Cert;
using client::Key;
using client::kFailed;
using client::Result;
using sample::CertParts;
using ApiCertTest = sample::Balanced;

TEST_F(ApiCertTest, SubjectText) {
  const std::pair<const char *, Result> rows[] = {
      {"name-multivalued.der",
       {KWPKI_OK,
        "DC=com, DC=example, O=Nuts\\, Bolts \\+ Co, OU=East + L=Porvoo, STREET=77 + T=Dr + "
        "CN=Maija Malli"}},
      {"name-t61.der", {KWPKI_OK, "C=SE, O=#52e46b736df67267e573, CN=T.61 @home"}},
      {"name-utf8-mixed.der", kFailed},
  };
  for (const auto &[name, expected] : rows) {
    const Cert cert;
    ASSERT_EQ(client::set(cert, client::example_der(name)), KWPKI_OK) << name;
    EXPECT_EQ(client::subject(cert), expected) << name;
    EXPECT_EQ(client::subject(cert), expected) << name << ", asked again";
    EXPECT_EQ(client::subject_der(cert).status, KWPKI_OK) << name;
  }
}

TEST_F(ApiCertTest, WhatIsMissingOrTooLong) {
  const Cert cert;
  CertParts parts;
  parts.subject = der::seq({});
  parts.extensions = {sample::extension("2.5.29.17", der::seq({der::text(0x82, "a.example")}))};
  parts.serial = der::natural(Der(SSH_MP_DECIMAL_MAX + 1, 0x55));
  ASSERT_EQ(client::set(cert, parts.build()), KWPKI_OK);
  EXPECT_EQ(client::subject(cert), kFailed);
  EXPECT_EQ(client::subject_der(cert), kFailed);
  EXPECT_EQ(client::serial(cert), kFailed);

  // As hexadecimal this text would be longer than any block may be.
  const Der value(51u << 20, 0x01);
  parts.subject = der::seq({der::set({der::attribute("2.5.4.3", der::tlv(0x13, value))})});
  parts.serial = der::integer(-129);
  ASSERT_EQ(client::set(cert, parts.build()), KWPKI_OK);
  EXPECT_EQ(client::subject(cert), kFailed);
  EXPECT_EQ(client::subject_der(cert).value.size(), 2 * parts.subject.size());
  EXPECT_EQ(client::serial(cert), (Result{KWPKI_OK, "-129"}));
}

TEST_F(ApiCertTest, AnEmptyObjectHasNoContents) {
  const std::vector<Result> nothing(5, kFailed);
  const Cert cert;
  const client::Crl crl;
  EXPECT_EQ(client::all(cert), nothing) << "never set";
  const Der good = CertParts().build(), list = sample::CrlParts().build();
  for (const Bytes octets : {Bytes(), Bytes(good).first(good.size() - 1), Bytes(list)}) {
    ASSERT_EQ(client::set(cert, good), KWPKI_OK);
    EXPECT_THAT(client::all(cert), testing::Each(testing::Field(&Result::status, KWPKI_OK)));
    EXPECT_EQ(client::set(cert, octets), KWPKI_FAILED);
    EXPECT_EQ(client::all(cert), nothing) << octets.size();
  }
  ASSERT_EQ(client::set(cert, good), KWPKI_OK);
  EXPECT_EQ(KwPkiCertSetBer(nullptr, 1, cert), KWPKI_FAILED) << "a wrong argument changes nothing";
  EXPECT_EQ(client::ber(cert), (Result{KWPKI_OK, hex(good)}));

  for (const Bytes octets : {Bytes(), Bytes(list).first(list.size() - 1), Bytes(good)}) {
    EXPECT_EQ(client::set(crl, octets), KWPKI_FAILED) << octets.size();
    EXPECT_EQ(client::set(crl, list), KWPKI_OK);
  }
  EXPECT_EQ(client::set(crl, der::join({list, {1, 2, 3}})), KWPKI_OK) << "octets after it";
}

TEST_F(ApiCertTest, EncodingsStayValidUntilTheCertificateGoes) {
  CertParts parts;
  std::vector<std::pair<KwPkiBlock, Der>> shown;
  const Cert cert;
  for (int i = 0; i < 3; ++i) {
    parts.serial = der::integer(i);
    const Der octets = der::join({parts.build(), {7}});   // what follows is kept with it
    ASSERT_EQ(client::set(cert, Der(octets)), KWPKI_OK);  // the certificate holds a copy
    shown.push_back({{}, octets});
    KwPkiBlock &block = shown.back().first;
    ASSERT_EQ(KwPkiCertGetBer(cert, &block.data, &block.length), KWPKI_OK);
    EXPECT_TRUE(i != 1 || client::set(cert, unhex("30")) == KWPKI_FAILED);
  }
  for (const size_t i : {2u, 0u}) {  // its own encoding, and an earlier one of its own
    ASSERT_EQ(KwPkiCertSetBer(shown[i].first.data, shown[i].first.length, cert), KWPKI_OK);
    EXPECT_EQ(client::ber(cert), (Result{KWPKI_OK, hex(shown[i].second)}));
  }
  for (const auto &[block, octets] : shown) EXPECT_EQ(hex({block.data, block.length}), hex(octets));
}

TEST_F(ApiCertTest, PublicKeyHandlesHoldOneKey) {
  const Cert cert;
  const Key key;
  CertParts dsa;
  dsa.key = sample::dsa_key_info(0x1235);
  for (const Der &octets : {dsa.build(), CertParts().build(), client::dh_cert()}) {
    ASSERT_EQ(client::set(cert, octets), KWPKI_OK);
    const int64_t blocks = ssh_mem_blocks();
    const bool held = key->data, usable = octets != client::dh_cert();
    EXPECT_EQ(KwPkiCertGetPublicKey(cert, key), usable ? KWPKI_OK : KWPKI_NO_PUBLIC_KEY);
    EXPECT_EQ(ssh_mem_blocks(), blocks + !held) << "the key before was not freed";
  }
  EXPECT_EQ(KwPkiCertGetPublicKey(cert, nullptr), KWPKI_FAILED);
  EXPECT_EQ(KwPkiCertGetPublicKey(Cert(), key), KWPKI_FAILED);
  EXPECT_THAT(hex({key->data, key->length}), testing::HasSubstr(hex(sample::modulus())))
      << "a failure leaves the key as it was";
}

TEST_F(ApiCertTest, WhatWasHandedOutOutlivesTheCertificate) {
  char *text = nullptr, *serial = nullptr;
  uint8_t *data = nullptr;
  uint32_t length = 0;
  const Key key;
  {
    const Cert cert;
    ASSERT_EQ(client::set(cert, CertParts().build()), KWPKI_OK);
    ASSERT_EQ(KwPkiCertGetSubjectDN(cert, &text), KWPKI_OK);
    ASSERT_EQ(KwPkiCertGetSerialNumber(cert, &serial), KWPKI_OK);
    ASSERT_EQ(KwPkiCertGetSubjectDNDer(cert, &data, &length), KWPKI_OK);
    ASSERT_EQ(KwPkiCertGetPublicKey(cert, key), KWPKI_OK);
  }
  EXPECT_STREQ(text, "CN=Subject");
  EXPECT_STREQ(serial, "78187493520");
  EXPECT_EQ(hex({data, length}), hex(CertParts().subject));
  EXPECT_EQ(ssh_load_be32(key->data + 4), key->length);
  for (void *block :
       {static_cast<void *>(text), static_cast<void *>(serial), static_cast<void *>(data)}) {
    EXPECT_EQ(KwPkiStringFree(block), KWPKI_OK);
  }
}

TEST_F(ApiCertTest, ThreadsReadDifferentHandlesAtOnce) {
  const std::vector<client::File> files = client::examples();
  const auto read = [&](KwPkiCert cert, size_t n) {
    static_cast<void>(client::set(cert, files[n].octets));
    return client::all(cert);
  };
  std::vector<std::vector<Result>> alone;
  for (size_t n = 0; n < files.size(); ++n) alone.push_back(read(Cert(), n));
  std::atomic<int> different{0};
  std::vector<std::thread> threads;
  for (size_t t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      const Cert cert;
      for (size_t i = 0; i < 20 * files.size(); ++i) {
        const size_t n = (i + t * 5) % files.size();
        if (read(cert, n) != alone[n]) ++different;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(different, 0);
}

}  // namespace
