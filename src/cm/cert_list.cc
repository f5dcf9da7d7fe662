#include "cm/cert_list.h"

#include <new>

#include "cm/entries.h"
#include "util/fatal.h"
#include "util/mem.h"
#include "util/owner.h"

namespace {

SshCMCertificate *object(const SshCMCertListNode *node) {
  return static_cast<SshCMCertificate *>(node->entry->object);
}

// move_to makes a node the current one and returns its certificate. `name` is the function that the
// fatal text names if the entry holds no certificate.
SshCMCertificate *move_to(SshCMCertList *list, SshCMCertListNode *node, const char *name) {
  if (!node) return nullptr;
  list->current = node;
  if (node->entry->type != SSH_CM_ENTRY_CERT) {
    ssh_fatal("%s: failure, non-certificate found.", name);
  }
  return object(node);
}

// A step in either direction is reported with the name of `last`, deliberately: hosts know the text
// so.
constexpr const char *kFirst = "ssh_cm_cert_list_first";
constexpr const char *kLast = "ssh_cm_cert_list_last";

}  // namespace

SshCMCertList *ssh_cm_cert_list_allocate() { return ssh_make<SshCMCertList>(); }

void ssh_cm_cert_list_free(SshCertDB &database, SshCMCertList *list) {
  if (!list) return;
  while (SshCMCertListNode *node = list->head) {
    list->head = node->next;
    ssh_certdb_release_entry(database, *node->entry);
  }
  ssh_destroy(list);
}

void ssh_cm_cert_list_append(SshCertDB &database, SshCMCertList &list, SshCertDBEntry &entry) {
  auto *node = database.pool.make<SshCMCertListNode>(nullptr, list.tail, &list, &entry);
  (list.tail ? list.tail->next : list.head) = node;
  list.tail = node;
  ++entry.refcount;
}

bool ssh_cm_cert_list_is_empty(const SshCMCertList *list) { return !list || !list->head; }

SshCMCertificate *ssh_cm_cert_list_first(SshCMCertList *list) {
  return list ? move_to(list, list->head, kFirst) : nullptr;
}

SshCMCertificate *ssh_cm_cert_list_last(SshCMCertList *list) {
  return list ? move_to(list, list->tail, kLast) : nullptr;
}

SshCMCertificate *ssh_cm_cert_list_next(SshCMCertList *list) {
  return list && list->current ? move_to(list, list->current->next, kLast) : nullptr;
}

SshCMCertificate *ssh_cm_cert_list_prev(SshCMCertList *list) {
  return list && list->current ? move_to(list, list->current->prev, kLast) : nullptr;
}

SshCMCertificate *ssh_cm_cert_list_current(SshCMCertList *list) {
  return list && list->current ? object(list->current) : nullptr;
}
