// Certificate lists: walking with one position, and the references that nodes hold.
#include "cm/cert_list.h"

#include "cm/entries.h"
#include "support/samples.h"

namespace {

using CertList = sample::Balanced;

// walk takes steps (< first, > last, + next, - prev, . current) and gives the statuses, 0 for null.
std::string walk(SshCMCertList *list, std::string_view steps) {
  constexpr SshCMCertificate *(*kSteps[])(SshCMCertList *) = {
      ssh_cm_cert_list_first, ssh_cm_cert_list_last, ssh_cm_cert_list_next, ssh_cm_cert_list_prev,
      ssh_cm_cert_list_current};
  std::string seen;
  for (const char step : steps) {
    const SshCMCertificate *cert = kSteps[std::string_view("<>+-.").find(step)](list);
    seen += std::to_string(cert ? cert->carried->status : 0);
  }
  return seen;
}

TEST_F(CertList, IsWalkedAndItsNodesHoldReferences) {
  const SshCertDBOwner db(ssh_certdb_init(ssh_cm_entry_methods, {}, std::vector<uint32_t>{0}));
  SshCMCertList *list = ssh_cm_cert_list_allocate();
  EXPECT_TRUE(ssh_cm_cert_list_is_empty(nullptr) && ssh_cm_cert_list_is_empty(list));
  EXPECT_EQ(walk(nullptr, "<>+-.") + walk(list, "<>+-."), "0000000000");
  for (uint32_t status = 1; status <= 3; ++status) {
    SshCMCertificate *cert = ssh_cm_cert_allocate();
    ssh_cm_cert_carried(*cert).status = status;
    cert->entry = ssh_certdb_alloc_entry(*db, SSH_CM_ENTRY_CERT, cert);
    ssh_cm_cert_list_append(*db, *list, *cert->entry);
    ssh_certdb_release_entry(*db, *cert->entry);
  }
  EXPECT_FALSE(ssh_cm_cert_list_is_empty(list));
  EXPECT_EQ(walk(list, "+-."), "000") << "there is no position yet";
  EXPECT_EQ(walk(list, "<.+.+.+.+.-."), "112233030322") << "a step beyond the end stays";
  EXPECT_EQ(walk(list, "-.-.>-><+>"), "1101323123");
  ssh_cm_cert_list_free(*db, list);
  EXPECT_EQ(db->pool_count, 3u);
}

}  // namespace
