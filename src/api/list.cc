// Certificate lists: the result of a search, with its database. The certificates are handles like
// others, but belong to the database, which frees them with the list.
#include "api/handles.h"
#include "util/mem.h"
#include "util/owner.h"

namespace {

// list_of gives the list of a handle; the functions of cm/cert_list.h take null.
SshCMCertList *list_of(KwPkiCertList list) { return list ? list->list : nullptr; }

}  // namespace

uint32_t KWPKI_CALL KwPkiCertListIsEmpty(KwPkiCertList list) {
  return ssh_cm_cert_list_is_empty(list_of(list));
}

KwPkiCert KWPKI_CALL KwPkiCertListFirst(KwPkiCertList list) {
  return kwpki_handle(ssh_cm_cert_list_first(list_of(list)));
}

KwPkiCert KWPKI_CALL KwPkiCertListLast(KwPkiCertList list) {
  return kwpki_handle(ssh_cm_cert_list_last(list_of(list)));
}

KwPkiCert KWPKI_CALL KwPkiCertListNext(KwPkiCertList list) {
  return kwpki_handle(ssh_cm_cert_list_next(list_of(list)));
}

KwPkiCert KWPKI_CALL KwPkiCertListPrev(KwPkiCertList list) {
  return kwpki_handle(ssh_cm_cert_list_prev(list_of(list)));
}

KwPkiCert KWPKI_CALL KwPkiCertListCurrent(KwPkiCertList list) {
  return kwpki_handle(ssh_cm_cert_list_current(list_of(list)));
}

KwPkiStatus KWPKI_CALL KwPkiCertListFree(KwPkiCertList list) {
  if (!list) return KWPKI_OK;
  ssh_cm_cert_list_free(*list->database, list->list);
  ssh_certdb_free(list->database);
  ssh_destroy(list->search_state);
  ssh_destroy(list);
  return KWPKI_OK;
}

char *KWPKI_CALL KwPkiGetSearchState(KwPkiCertList list, uint32_t *state, char **text) {
  if (!list || !state || !text) return nullptr;
  *state = list->search_state->state;
  // A text is the result; none is no failure and leaves the argument alone, deliberately: callers
  // tell the two apart by the result.
  if (!list->search_state->text) return nullptr;
  return *text = ssh_xstrdup(list->search_state->text.get());
}
