// Certificates and CRLs through the public interface: contents, replacing, emptiness, and who owns
// what. The sanitizers and the balance of blocks watch the ownership.

#include "api/client.h"

namespace {

using client::Cert;
using client::kFailed;
using client::Result;
using sample::CertParts;
using ApiCertTest = sample::Balanced;

TEST_F(ApiCertTest, WhatIsTooLongForAText) {
  const Cert cert;
  CertParts parts;
  parts.serial = der::natural(Der(SSH_MP_DECIMAL_MAX + 1, 0x55));
  // As hexadecimal this text would be longer than any block may be.
  const Der value(51u << 20, 0x01);
  parts.subject = der::seq({der::set({der::attribute("2.5.4.3", der::tlv(0x13, value))})});
  ASSERT_EQ(client::set(cert, parts.build()), KWPKI_OK);
  EXPECT_EQ(client::subject(cert), kFailed);
  EXPECT_EQ(client::serial(cert), kFailed);
  EXPECT_EQ(client::subject_der(cert).value.size(), 2 * parts.subject.size());
}

TEST_F(ApiCertTest, AnEmptyObjectHasNoContents) {
  const std::vector<Result> nothing(5, kFailed);
  const Cert cert;
  const client::Crl crl;
  EXPECT_EQ(client::all(cert), nothing) << "never set";
  const Der good = CertParts().build(), list = sample::CrlParts().build();
  for (const Bytes octets : {Bytes(), Bytes(good).first(good.size() - 1), Bytes(list)}) {
    ASSERT_EQ(client::set(cert, good), KWPKI_OK);
    const std::vector<Result> all = client::all(cert);
    EXPECT_EQ(all[0], (Result{KWPKI_OK, "CN=Subject"}));
    EXPECT_EQ(all[1], (Result{KWPKI_OK, hex(CertParts().subject)}));
    EXPECT_EQ(all[2], (Result{KWPKI_OK, "78187493520"}));
    EXPECT_THAT(all[3].value, testing::HasSubstr(hex(sample::modulus())));
    EXPECT_EQ(client::all(cert), all) << "asked again";
    EXPECT_EQ(client::set(cert, octets), KWPKI_FAILED);
    EXPECT_EQ(client::all(cert), nothing) << octets.size();
  }
  for (const Bytes octets : {Bytes(), Bytes(list).first(list.size() - 1), Bytes(good)}) {
    EXPECT_EQ(client::set(crl, octets), KWPKI_FAILED) << octets.size();
  }
  EXPECT_EQ(client::set(crl, der::join({list, {1, 2, 3}})), KWPKI_OK) << "octets after it";
}

TEST_F(ApiCertTest, PublicKeyHandlesHoldOneKey) {
  const Cert cert;
  const client::Key key;
  CertParts parts;
  EXPECT_EQ(client::set(cert, parts.build()), KWPKI_OK);
  const int64_t blocks = ssh_mem_blocks();
  for (int again = 0; again < 2; ++again) EXPECT_EQ(KwPkiCertGetPublicKey(cert, key), KWPKI_OK);
  EXPECT_EQ(ssh_mem_blocks(), blocks + 1) << "the key before was not freed";
  parts.key = sample::key_info({}, der::integer(8), "1.2.840.10046.2.1");  // without key object
  EXPECT_EQ(client::set(cert, parts.build()), KWPKI_OK);
  EXPECT_EQ(KwPkiCertGetPublicKey(cert, key), KWPKI_NO_PUBLIC_KEY);
  EXPECT_EQ(KwPkiCertGetPublicKey(cert, nullptr), KWPKI_FAILED);
  EXPECT_EQ(KwPkiCertGetPublicKey(Cert(), key), KWPKI_FAILED);
  EXPECT_THAT(hex({key->data, key->length}), testing::HasSubstr(hex(sample::modulus())))
      << "a failure leaves the key as it was";
}

}  // namespace
