// Certificate lists: search results in the order of the reply, walked with one current position.
// Each node holds a reference on an entry of the certificate database.
#pragma once

#include "cm/certdb.h"
#include "cm/objects.h"

struct SshCMCertList;

// SshCMCertListNode is one place of a list. Nodes lie in the pool of the database.
struct SshCMCertListNode {
  SshCMCertListNode *next, *prev;
  SshCMCertList *list;
  SshCertDBEntry *entry;
};

// SshCMCertList is a list with its position: null before the first step, and a node from then on.
struct SshCMCertList {
  SshCMCertListNode *head = nullptr;
  SshCMCertListNode *tail = nullptr;
  SshCMCertListNode *current = nullptr;
};

// ssh_cm_cert_list_allocate returns an empty list; ssh_cm_cert_list_free releases the entries of
// one and frees it (null is ignored). A list is freed before its database.
[[nodiscard]] SshCMCertList *ssh_cm_cert_list_allocate();
void ssh_cm_cert_list_free(SshCertDB &database, SshCMCertList *list);

// ssh_cm_cert_list_append adds an entry of the database at the end and takes a reference on it.
void ssh_cm_cert_list_append(SshCertDB &database, SshCMCertList &list, SshCertDBEntry &entry);

// ssh_cm_cert_list_is_empty is true for null and for a list without nodes.
[[nodiscard]] bool ssh_cm_cert_list_is_empty(const SshCMCertList *list);

// ssh_cm_cert_list_first and _last go to an end of the list, _next and _prev one step on. All four
// return the certificate there; null if there is none, and the position stays. An entry that is no
// certificate is fatal. _current returns what is at the position, whatever it is.
[[nodiscard]] SshCMCertificate *ssh_cm_cert_list_first(SshCMCertList *list);
[[nodiscard]] SshCMCertificate *ssh_cm_cert_list_last(SshCMCertList *list);
[[nodiscard]] SshCMCertificate *ssh_cm_cert_list_next(SshCMCertList *list);
[[nodiscard]] SshCMCertificate *ssh_cm_cert_list_prev(SshCMCertList *list);
[[nodiscard]] SshCMCertificate *ssh_cm_cert_list_current(SshCMCertList *list);
