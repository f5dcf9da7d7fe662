// Certificates through the public interface: contents, replacing, emptiness, and who owns what. The sanitizers and the balance of blocks watch the ownership.

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "api/client.h"

namespace {

using client::Cert;
using client::Key;
using client::Result;
using sample::CertParts;
using testing::Each;
using ApiCertTest = sample::Balanced;

const Result kFailed{KWPKI_FAILED, ""};

TEST_F(ApiCertTest, SubjectText) {
  const std::pair<const char *, Result> rows[] = {
      {"v1-rsa.der", {KWPKI_OK, "C=FI, O=Example Oy, CN=Version One, MAILTO=one@example.com"}},
      {"name-multivalued.der",
       {KWPKI_OK,
        "DC=com, DC=example, O=Nuts\\, Bolts \\+ Co, OU=East + L=Porvoo, STREET=77 + T=Dr + "
        "CN=Maija "
        "Malli"}},
      {"name-t61.der", {KWPKI_OK, "C=SE, O=#52e46b736df67267e573, CN=T.61 @home"}},
      {"name-bmp.der", {KWPKI_OK, "C=JP, O=#4f8b306e4f1a793e, CN=Two octets a letter"}},
      {"name-utf8-mixed.der", kFailed},
  };
  for (const auto &[name, expected] : rows) {
    const Cert cert;
    ASSERT_EQ(client::set(cert, client::read(client::example(name), false)), KWPKI_OK) << name;
    EXPECT_EQ(client::subject(cert), expected) << name;
    EXPECT_EQ(client::subject(cert), expected) << name << ", asked again";
    EXPECT_EQ(client::subject_der(cert).status, KWPKI_OK) << name;
  }
}

TEST_F(ApiCertTest, SubjectsThatAreMissingOrTooLong) {
  const Cert cert;
  CertParts parts;
  parts.subject = der::seq({});
  parts.extensions = {sample::extension("2.5.29.17", der::seq({der::text(0x82, "a.example")}))};
  ASSERT_EQ(client::set(cert, parts.build()), KWPKI_OK);
  EXPECT_EQ(client::subject(cert), kFailed);
  EXPECT_EQ(client::subject_der(cert), kFailed);

  // As hexadecimal this text would be longer than any block may be.
  const Der value(51u << 20, 0x01);
  parts.subject = der::seq({der::set({der::attribute("2.5.4.3", der::tlv(0x13, value))})});
  ASSERT_EQ(client::set(cert, parts.build()), KWPKI_OK);
  EXPECT_EQ(client::subject(cert), kFailed);
  EXPECT_EQ(client::subject_der(cert).value.size(), 2 * parts.subject.size());
}

TEST_F(ApiCertTest, AnEmptyCertificateHasNoContents) {
  const std::vector<Result> nothing(5, kFailed);
  const Cert cert;
  EXPECT_EQ(client::all(cert), nothing) << "never set";

  const Der good = CertParts().build();
  const std::pair<const char *, Der> failures[] = {{"nothing", {}},
                                                   {"cut", {good.begin(), good.end() - 1}},
                                                   {"a CRL", sample::CrlParts().build()}};
  for (const auto &[what, octets] : failures) {
    ASSERT_EQ(client::set(cert, good), KWPKI_OK);
    EXPECT_THAT(client::all(cert), Each(testing::Field(&Result::status, KWPKI_OK)));
    EXPECT_EQ(client::set(cert, octets), KWPKI_FAILED) << what;
    EXPECT_EQ(client::all(cert), nothing) << what;
  }
  ASSERT_EQ(client::set(cert, good), KWPKI_OK);
  EXPECT_EQ(KwPkiCertSetBer(nullptr, 1, cert), KWPKI_FAILED) << "a wrong argument changes nothing";
  EXPECT_EQ(client::ber(cert), (Result{KWPKI_OK, hex(good)}));
}

TEST_F(ApiCertTest, EncodingsStayValidUntilTheCertificateGoes) {
  CertParts parts;
  std::vector<std::pair<KwPkiBlock, Der>> shown;
  const Cert cert;
  for (int i = 0; i < 5; ++i) {
    parts.serial = der::integer(i);
    Der octets = parts.build();
    octets.push_back(static_cast<uint8_t>(i));  // what follows a certificate is kept with it
    const Der expected = octets;
    ASSERT_EQ(client::set(cert, octets), KWPKI_OK);
    octets.assign(octets.size(), 0xEE);  // the certificate holds a copy

    KwPkiBlock block{};
    ASSERT_EQ(KwPkiCertGetBer(cert, &block.data, &block.length), KWPKI_OK);
    shown.push_back({block, expected});
    EXPECT_TRUE(i != 2 || client::set(cert, unhex("30")) == KWPKI_FAILED);
  }
  // Its own encoding, and an earlier one of its own.
  for (const size_t i : {size_t{4}, size_t{0}}) {
    ASSERT_EQ(KwPkiCertSetBer(shown[i].first.data, shown[i].first.length, cert), KWPKI_OK);
    EXPECT_EQ(client::ber(cert), (Result{KWPKI_OK, hex(shown[i].second)}));
  }
  for (const auto &[block, expected] : shown) {
    EXPECT_EQ(hex({block.data, block.length}), hex(expected));
  }
}

TEST_F(ApiCertTest, OneHandleMayBeSetForeverWithoutGrowing) {
  const Cert cert;
  const Der octets = CertParts().build();
  ASSERT_EQ(client::set(cert, octets), KWPKI_OK);
  const int64_t blocks = ssh_mem_blocks();
  for (int i = 0; i < 100; ++i) ASSERT_EQ(client::set(cert, octets), KWPKI_OK);
  EXPECT_EQ(ssh_mem_blocks(), blocks);
}

TEST_F(ApiCertTest, PublicKeyHandlesHoldOneKey) {
  const Cert cert;
  const Key key;
  EXPECT_TRUE(key->data == nullptr && key->length == 0);
  int64_t blocks = 0;
  for (const char *name : {"v3-rich.der", "v1-rsa.der", "v1-rsa.der"}) {
    const Der octets = client::read(client::example(name), false);
    ASSERT_EQ(client::set(cert, octets), KWPKI_OK);
    ASSERT_EQ(KwPkiCertGetPublicKey(cert, key), KWPKI_OK);
    EXPECT_EQ(hex({key->data, key->length}), client::key(cert).value);
    EXPECT_TRUE(blocks == 0 || blocks == ssh_mem_blocks()) << "the key before was not freed";
    blocks = ssh_mem_blocks();
  }
  const std::string held = hex({key->data, key->length});
  ASSERT_EQ(client::set(cert, client::dh_cert()), KWPKI_OK);
  EXPECT_EQ(KwPkiCertGetPublicKey(cert, key), KWPKI_NO_PUBLIC_KEY);
  EXPECT_EQ(KwPkiCertGetPublicKey(cert, nullptr), KWPKI_FAILED);
  EXPECT_EQ(KwPkiCertGetPublicKey(Cert(), key), KWPKI_FAILED);
  EXPECT_EQ(hex({key->data, key->length}), held) << "a failure leaves the key as it was";
}

TEST_F(ApiCertTest, WhatWasHandedOutOutlivesTheCertificate) {
  char *text = nullptr;
  uint8_t *data = nullptr;
  uint32_t length = 0;
  const Key key;
  {
    const Cert cert;
    ASSERT_EQ(client::set(cert, CertParts().build()), KWPKI_OK);
    ASSERT_EQ(KwPkiCertGetSubjectDN(cert, &text), KWPKI_OK);
    ASSERT_EQ(KwPkiCertGetSubjectDNDer(cert, &data, &length), KWPKI_OK);
    ASSERT_EQ(KwPkiCertGetPublicKey(cert, key), KWPKI_OK);
  }
  EXPECT_STREQ(text, "CN=Subject");
  EXPECT_EQ(hex({data, length}), hex(CertParts().subject));
  EXPECT_EQ(ssh_load_be32(key->data + 4), key->length);
  EXPECT_EQ(KwPkiStringFree(text), KWPKI_OK);
  EXPECT_EQ(KwPkiStringFree(data), KWPKI_OK);
}

TEST_F(ApiCertTest, ThreadsReadDifferentHandlesAtOnce) {
  const std::vector<client::File> files = client::examples();
  std::vector<std::vector<Result>> alone;
  for (const client::File &file : files) {
    const Cert cert;
    static_cast<void>(client::set(cert, file.octets));
    alone.push_back(client::all(cert));
  }
  std::atomic<int> different{0};
  std::vector<std::thread> threads;
  for (size_t t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      const Cert cert;
      for (size_t i = 0; i < 20 * files.size(); ++i) {
        const size_t n = (i + t * 5) % files.size();
        static_cast<void>(client::set(cert, files[n].octets));
        if (client::all(cert) != alone[n]) ++different;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(different, 0);
}

}  // namespace
