// What only the core sees of certificate and CRL objects: start values, the record in an object,
// what a replaced record costs, and the two objects that nobody but a database may free.

#include "cm/objects.h"

#include <gmock/gmock.h>

#include "support/fatal.h"
#include "support/samples.h"

namespace {

using CmObjectsTest = sample::Balanced;
using CertOwner = Owner<SshCMCertificate, ssh_cm_cert_free>;
using CrlOwner = Owner<SshCMCrl, ssh_cm_crl_free>;

TEST_F(CmObjectsTest, StartValues) {
  const CertOwner cert(ssh_cm_cert_allocate());
  EXPECT_EQ(cert->entry, nullptr);
  EXPECT_EQ(cert->flag_a, 1);
  EXPECT_EQ(cert->flag_b, 0);
  EXPECT_EQ(cert->flag_c, 1);
  EXPECT_EQ(cert->counter, -1);
  EXPECT_EQ(cert->limit, 32u);
  EXPECT_TRUE(cert->number.is_zero() && !cert->text && cert->time_7 == SshBerTime());
  for (const uint32_t word :
       {cert->status, cert->word_0, cert->word_a, cert->word_b, cert->word_c, cert->word_d}) {
    EXPECT_EQ(word, 0u);
  }
  const CrlOwner crl(ssh_cm_crl_allocate());
  EXPECT_TRUE(!crl->entry && crl->status == 0 && crl->time_0 == SshBerTime() && crl->limit == 32);
}

TEST_F(CmObjectsTest, MissingAndEmptyObjectsReadAsEmpty) {
  const CertOwner cert(ssh_cm_cert_allocate());
  const CrlOwner crl(ssh_cm_crl_allocate());
  SshX509Cert *record = nullptr;
  Bytes ber;
  const auto expect_empty = [&] {
    EXPECT_EQ(ssh_cm_cert_get_ber(cert.get(), &ber), SSH_CM_EMPTY);
    EXPECT_TRUE(ssh_cm_cert_encoding(*cert).empty() && ssh_cm_crl_encoding(*crl).empty());
    EXPECT_EQ(ssh_cm_cert_get_record(cert.get(), &record), SSH_CM_EMPTY);
  };
  EXPECT_EQ(ssh_cm_cert_get_ber(nullptr, &ber), SSH_CM_EMPTY);
  EXPECT_EQ(ssh_cm_cert_get_record(nullptr, &record), SSH_CM_EMPTY);
  expect_empty();
  ASSERT_EQ(ssh_cm_cert_set_ber(*cert, sample::CertParts().build()), SSH_CM_OK);
  ASSERT_EQ(ssh_cm_crl_set_ber(*crl, sample::CrlParts().build()), SSH_CM_OK);
  EXPECT_EQ(ssh_cm_cert_set_ber(*cert, sample::CrlParts().build()), SSH_CM_BER_UNDECODABLE);
  EXPECT_EQ(ssh_cm_crl_set_ber(*crl, sample::CertParts().build()), SSH_CM_BER_UNDECODABLE);
  expect_empty();
  EXPECT_EQ(record, nullptr);
}

TEST_F(CmObjectsTest, GettingTheRecordForgetsWhichNamesWereTaken) {
  sample::CertParts parts;
  parts.extensions = {
      sample::extension("2.5.29.17", der::seq({der::text(0x82, "a"), der::text(0x82, "b")})),
      sample::extension("2.5.29.18", der::seq({der::text(0x82, "c")}))};
  const CertOwner cert(ssh_cm_cert_allocate());
  ASSERT_EQ(ssh_cm_cert_set_ber(*cert, parts.build()), SSH_CM_OK);
  for (int again = 0; again < 2; ++again) {
    SshX509Cert *record = nullptr;
    ASSERT_EQ(ssh_cm_cert_get_record(cert.get(), &record), SSH_CM_OK);
    EXPECT_TRUE(ssh_x509_name_take(record->subject_names, SSH_X509_NAME_DNS));
    EXPECT_TRUE(ssh_x509_name_take(record->subject_names, SSH_X509_NAME_DNS));
    EXPECT_FALSE(ssh_x509_name_take(record->subject_names, SSH_X509_NAME_DNS));
    EXPECT_TRUE(ssh_x509_name_take(record->issuer_names, SSH_X509_NAME_DNS));
    EXPECT_FALSE(ssh_x509_name_take(record->issuer_names, SSH_X509_NAME_DNS));
  }
}

TEST_F(CmObjectsTest, OnlyEncodingsThatWereHandedOutAreKept) {
  const CertOwner cert(ssh_cm_cert_allocate());
  const CrlOwner crl(ssh_cm_crl_allocate());
  sample::CertParts parts;
  const Der list = sample::CrlParts().build();
  std::vector<std::pair<Bytes, Der>> shown;
  for (int serial = 0; serial < 3; ++serial) {
    parts.serial = der::integer(serial);
    ASSERT_EQ(ssh_cm_cert_set_ber(*cert, parts.build()), SSH_CM_OK);
    ASSERT_EQ(ssh_cm_crl_set_ber(*crl, list), SSH_CM_OK);
    EXPECT_EQ(hex(ssh_cm_cert_encoding(*cert)), hex(parts.build()));
    EXPECT_EQ(hex(ssh_cm_crl_encoding(*crl)), hex(list));
    const int64_t blocks = ssh_mem_blocks();
    ASSERT_EQ(ssh_cm_cert_set_ber(*cert, parts.build()), SSH_CM_OK);
    ASSERT_EQ(ssh_cm_crl_set_ber(*crl, list), SSH_CM_OK);
    EXPECT_EQ(ssh_mem_blocks(), blocks) << "what nobody holds is not kept";
    Bytes ber;
    ASSERT_EQ(ssh_cm_cert_get_ber(cert.get(), &ber), SSH_CM_OK);
    shown.push_back({ber, parts.build()});
  }
  for (const auto &[ber, expected] : shown) EXPECT_EQ(hex(ber), hex(expected));
}

TEST(CmObjectsDeathTest, ObjectsOfADatabase) {
  auto *entry = reinterpret_cast<SshCertDBEntry *>(0x10);
  const CertOwner cert(ssh_cm_cert_allocate());
  const CrlOwner crl(ssh_cm_crl_allocate());
  cert->entry = entry;
  crl->entry = entry;
  EXPECT_FATAL(ssh_cm_cert_free(cert.get()), "ssh_cm_cert_free: tried to free db's certificate.");
  EXPECT_FATAL(ssh_cm_crl_free(crl.get()), "ssh_cm_crl_free: tried to free db's crl.");
  cert->entry = nullptr;
  crl->entry = nullptr;
}

}  // namespace
