// What only the core sees of certificate and CRL objects: the record in an object, what a replaced
// record costs, and the two objects that nobody but a database may free.
#include "cm/objects.h"

#include "support/samples.h"

namespace {

struct CmObjectsTest : sample::Balanced {
  Owner<SshCMCertificate, ssh_cm_cert_free> cert_{ssh_cm_cert_allocate()};
  Owner<SshCMCrl, ssh_cm_crl_free> crl_{ssh_cm_crl_allocate()};
  const Der cert_der_ = sample::CertParts().build(), crl_der_ = sample::CrlParts().build();
};

TEST_F(CmObjectsTest, OnlyEncodingsThatWereHandedOutAreKept) {
  Bytes ber;
  EXPECT_EQ(ssh_cm_cert_get_ber(nullptr, &ber), SSH_CM_WRONG_STATE);
  for (const bool shown : {false, true, false}) {
    ASSERT_EQ(ssh_cm_cert_set_ber(*cert_, cert_der_), SSH_CM_OK);
    ASSERT_EQ(ssh_cm_crl_set_ber(*crl_, crl_der_), SSH_CM_OK);
    EXPECT_EQ(hex(ssh_cm_crl_encoding(*crl_)), hex(crl_der_));
    EXPECT_TRUE(!shown || ssh_cm_cert_get_ber(cert_.get(), &ber) == SSH_CM_OK);
    const int64_t blocks = ssh_mem_blocks();
    ASSERT_EQ(ssh_cm_cert_set_ber(*cert_, Der(cert_der_)), SSH_CM_OK);
    ASSERT_EQ(ssh_cm_crl_set_ber(*crl_, crl_der_), SSH_CM_OK);
    EXPECT_EQ(ssh_mem_blocks() > blocks, shown) << "what nobody holds is not kept";
  }
  EXPECT_EQ(hex(ber), hex(cert_der_));
}

TEST_F(CmObjectsTest, ObjectsOfADatabaseAreItsToFree) {
  cert_->entry = crl_->entry = reinterpret_cast<SshCertDBEntry *>(0x10);
  EXPECT_FATAL(ssh_cm_cert_free(cert_.get()), "ssh_cm_cert_free: tried to free db's certificate.");
  EXPECT_FATAL(ssh_cm_crl_free(crl_.get()), "ssh_cm_crl_free: tried to free db's crl.");
  cert_->entry = crl_->entry = nullptr;
}

}  // namespace
