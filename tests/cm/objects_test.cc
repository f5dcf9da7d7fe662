// What only the core sees of certificate and CRL objects: the record in an object, what a replaced
// record costs, and the two objects that nobody but a database may free.
#include "cm/objects.h"

#include "support/samples.h"

namespace {

using CmObjectsTest = sample::Balanced;

TEST_F(CmObjectsTest, OnlyEncodingsThatWereHandedOutAreKept) {
  const Owner<SshCMCertificate, ssh_cm_cert_free> cert(ssh_cm_cert_allocate());
  const Owner<SshCMCrl, ssh_cm_crl_free> crl(ssh_cm_crl_allocate());
  const Der cert_der = sample::CertParts().build(), crl_der = sample::CrlParts().build();
  Bytes ber;
  EXPECT_EQ(ssh_cm_cert_get_ber(nullptr, &ber), SSH_CM_WRONG_STATE);
  for (const bool shown : {false, true, false}) {
    ASSERT_EQ(ssh_cm_cert_set_ber(*cert, cert_der), SSH_CM_OK);
    ASSERT_EQ(ssh_cm_crl_set_ber(*crl, crl_der), SSH_CM_OK);
    EXPECT_EQ(hex(ssh_cm_crl_encoding(*crl)), hex(crl_der));
    EXPECT_TRUE(!shown || ssh_cm_cert_get_ber(cert.get(), &ber) == SSH_CM_OK);
    const int64_t blocks = ssh_mem_blocks();
    ASSERT_EQ(ssh_cm_cert_set_ber(*cert, Der(cert_der)), SSH_CM_OK);
    ASSERT_EQ(ssh_cm_crl_set_ber(*crl, crl_der), SSH_CM_OK);
    EXPECT_EQ(ssh_mem_blocks() > blocks, shown) << "what nobody holds is not kept";
  }
  EXPECT_EQ(hex(ber), hex(cert_der));
  cert->entry = crl->entry = reinterpret_cast<SshCertDBEntry *>(0x10);
  EXPECT_FATAL(ssh_cm_cert_free(cert.get()), "ssh_cm_cert_free: tried to free db's certificate.");
  EXPECT_FATAL(ssh_cm_crl_free(crl.get()), "ssh_cm_crl_free: tried to free db's crl.");
  cert->entry = crl->entry = nullptr;
}

}  // namespace
