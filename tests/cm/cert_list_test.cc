// Certificate lists: walking with one position, and the references that nodes hold.
#include "cm/cert_list.h"

#include "cm/entries.h"
#include "support/samples.h"

namespace {

// CertList has a database of three certificates, whose statuses are 1 to 3, and an empty list.
struct CertList : sample::Balanced {
  CertList() {
    for (uint32_t i = 0; i < 3; ++i) {
      SshCMCertificate *cert = ssh_cm_cert_allocate();
      ssh_cm_cert_carried(*cert).status = i + 1;
      entries_[i] = cert->entry = ssh_certdb_alloc_entry(*db_, SSH_CM_ENTRY_CERT, cert);
    }
  }
  void append(std::initializer_list<int> numbers) {
    for (const int i : numbers) ssh_cm_cert_list_append(*db_, *list_, *entries_[i]);
    for (SshCertDBEntry *entry : entries_) ssh_certdb_release_entry(*db_, *entry);
  }
  // walk takes steps (< first, > last, + next, - prev, . current) and gives the statuses, 0 for
  // null.
  static std::string walk(SshCMCertList *list, std::string_view steps) {
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

  SshCertDBOwner db_{ssh_certdb_init(ssh_cm_entry_methods, {}, std::vector<uint32_t>{0})};
  SshCMCertList *list_ = ssh_cm_cert_list_allocate();
  SshCertDBEntry *entries_[3] = {};
};

TEST_F(CertList, IsWalkedAndItsNodesHoldReferences) {
  EXPECT_TRUE(ssh_cm_cert_list_is_empty(nullptr) && ssh_cm_cert_list_is_empty(list_));
  EXPECT_EQ(walk(nullptr, "<>+-."), "00000");
  EXPECT_EQ(walk(list_, "<>+-."), "00000");
  append({0, 1, 2, 1});
  EXPECT_FALSE(ssh_cm_cert_list_is_empty(list_));
  EXPECT_EQ(walk(list_, "+-."), "000") << "there is no position yet";
  EXPECT_EQ(walk(list_, "<.+.+.+.+.+."), "112233220202") << "a step beyond the end stays";
  EXPECT_EQ(walk(list_, "-.-.-.-.+.>-><+>"), "3322110122232122");
  ssh_cm_cert_list_free(*db_, std::exchange(list_, nullptr));
  EXPECT_EQ(db_->pool_count, 3u);
}

TEST_F(CertList, WhatIsNoCertificateIsFatal) {
  append({0, 1, 2});
  const char *const first = "ssh_cm_cert_list_first: failure, non-certificate found.";
  const char *const last = "ssh_cm_cert_list_last: failure, non-certificate found.";
  entries_[0]->type = entries_[2]->type = SSH_CM_ENTRY_CRL;
  EXPECT_FATAL((void)ssh_cm_cert_list_first(list_), first);
  EXPECT_FATAL((void)ssh_cm_cert_list_last(list_), last);
  list_->current = list_->head->next;
  EXPECT_FATAL((void)ssh_cm_cert_list_next(list_), last);
  EXPECT_FATAL((void)ssh_cm_cert_list_prev(list_), last);
  list_->current = list_->tail;
  EXPECT_EQ(ssh_cm_cert_list_current(list_), entries_[2]->object) << "of whatever type";
  entries_[0]->type = entries_[2]->type = SSH_CM_ENTRY_CERT;
  ssh_cm_cert_list_free(*db_, list_);
}

}  // namespace
