// Certificates and CRLs through the public interface: contents, replacing, emptiness, and who owns
// what. The sanitizers and the balance of blocks watch the ownership.

#include "api/client.h"

namespace {

using client::Cert;
using client::Result;
using sample::CertParts;
using ApiCertTest = sample::Balanced;

TEST_F(ApiCertTest, WhatIsRefusedEmptiesTheObject) {
  const Cert cert;
  const client::Crl crl;
  const Der good = CertParts().build(), list = sample::CrlParts().build();
  ASSERT_EQ(client::set(cert, good), KWPKI_OK);
  const std::vector<Result> all = client::all(cert);
  EXPECT_EQ(all[0].value + " " + all[1].value + " " + all[2].value,
            "CN=Subject " + hex(CertParts().subject) + " 78187493520");
  EXPECT_EQ(client::all(cert), all) << "asked again";
  EXPECT_EQ(client::set(cert, list), KWPKI_FAILED);
  EXPECT_EQ(client::all(cert), std::vector<Result>(5, {KWPKI_FAILED, ""}));
  EXPECT_EQ(client::set(crl, good), KWPKI_FAILED);
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
