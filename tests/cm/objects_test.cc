// What only the core sees of certificate and CRL objects: the record in an object, what a replaced
// record costs, and the two objects that nobody but a database may free.
#include "cm/objects.h"

#include <gmock/gmock.h>

#include "support/fatal.h"
#include "support/samples.h"

namespace {

struct CmObjectsTest : sample::Balanced {
  Owner<SshCMCertificate, ssh_cm_cert_free> cert_{ssh_cm_cert_allocate()};
  Owner<SshCMCrl, ssh_cm_crl_free> crl_{ssh_cm_crl_allocate()};
  const Der cert_der_ = sample::CertParts().build(), crl_der_ = sample::CrlParts().build();
};

TEST_F(CmObjectsTest, MissingAndEmptyObjectsReadAsEmpty) {
  SshX509Cert *record = nullptr;
  Bytes ber;
  const auto expect_empty = [&](SshCMCertificate *cert) {
    EXPECT_EQ(ssh_cm_cert_get_ber(cert, &ber), SSH_CM_EMPTY);
    EXPECT_EQ(ssh_cm_cert_get_record(cert, &record), SSH_CM_EMPTY);
    EXPECT_TRUE(ssh_cm_cert_encoding(*cert_).empty() && ssh_cm_crl_encoding(*crl_).empty());
  };
  expect_empty(nullptr);
  expect_empty(cert_.get());
  ASSERT_EQ(ssh_cm_cert_set_ber(*cert_, cert_der_), SSH_CM_OK);
  ASSERT_EQ(ssh_cm_crl_set_ber(*crl_, crl_der_), SSH_CM_OK);
  EXPECT_EQ(ssh_cm_cert_set_ber(*cert_, crl_der_), SSH_CM_BER_UNDECODABLE);
  EXPECT_EQ(ssh_cm_crl_set_ber(*crl_, cert_der_), SSH_CM_BER_UNDECODABLE);
  expect_empty(cert_.get());
}

TEST_F(CmObjectsTest, GettingTheRecordForgetsWhichNamesWereTaken) {
  sample::CertParts parts;
  for (const char *id : {"2.5.29.17", "2.5.29.18"}) {
    parts.extensions.push_back(sample::extension(id, der::seq({der::text(0x82, "a")})));
  }
  ASSERT_EQ(ssh_cm_cert_set_ber(*cert_, parts.build()), SSH_CM_OK);
  for (int again = 0; again < 2; ++again) {
    SshX509Cert *record = nullptr;
    ASSERT_EQ(ssh_cm_cert_get_record(cert_.get(), &record), SSH_CM_OK);
    for (SshX509Name *names : {record->subject_names, record->issuer_names}) {
      EXPECT_TRUE(ssh_x509_name_take(names, SSH_X509_NAME_DNS));
      EXPECT_FALSE(ssh_x509_name_take(names, SSH_X509_NAME_DNS));
    }
  }
}

TEST_F(CmObjectsTest, OnlyEncodingsThatWereHandedOutAreKept) {
  std::vector<std::pair<Bytes, Der>> shown;
  sample::CertParts parts;
  for (int serial = 0; serial < 3; ++serial) {
    parts.serial = der::integer(serial);
    const Der octets = parts.build();
    ASSERT_EQ(ssh_cm_cert_set_ber(*cert_, octets), SSH_CM_OK);
    ASSERT_EQ(ssh_cm_crl_set_ber(*crl_, crl_der_), SSH_CM_OK);
    const int64_t blocks = ssh_mem_blocks();
    ASSERT_EQ(ssh_cm_cert_set_ber(*cert_, octets), SSH_CM_OK);
    ASSERT_EQ(ssh_cm_crl_set_ber(*crl_, crl_der_), SSH_CM_OK);
    EXPECT_EQ(ssh_mem_blocks(), blocks) << "what nobody holds is not kept";
    EXPECT_EQ(hex(ssh_cm_crl_encoding(*crl_)), hex(crl_der_));
    shown.push_back({{}, octets});
    ASSERT_EQ(ssh_cm_cert_get_ber(cert_.get(), &shown.back().first), SSH_CM_OK);
  }
  for (const auto &[ber, expected] : shown) EXPECT_EQ(hex(ber), hex(expected));
}

TEST_F(CmObjectsTest, ObjectsOfADatabaseAreItsToFree) {
  cert_->entry = crl_->entry = reinterpret_cast<SshCertDBEntry *>(0x10);
  EXPECT_FATAL(ssh_cm_cert_free(cert_.get()), "ssh_cm_cert_free: tried to free db's certificate.");
  EXPECT_FATAL(ssh_cm_crl_free(crl_.get()), "ssh_cm_crl_free: tried to free db's crl.");
  cert_->entry = crl_->entry = nullptr;
}

}  // namespace
