// Any bytes as the payload of a search reply: a list that reads the same in both directions, whose
// certificates answer like those of a client.
#include <vector>

#include "api/handles.h"
#include "api/reply_list.h"
#include "fuzz.h"

namespace {

// ask takes what a certificate tells. One that did not decode tells nothing.
void ask(KwPkiCert cert) {
  const uint8_t *ber = nullptr;
  uint8_t *name = nullptr;
  uint32_t length = 0, name_length = 0;
  char *number = nullptr;
  const bool set = KwPkiCertGetBer(cert, &ber, &length) == KWPKI_OK;
  const bool numbered = KwPkiCertGetSerialNumber(cert, &number) == KWPKI_OK;
  const bool named = KwPkiCertGetSubjectDNDer(cert, &name, &name_length) == KWPKI_OK;
  require(set || !(numbered || named));
  require(numbered == (number != nullptr));
  KwPkiStringFree(number);
  KwPkiStringFree(name);
  KwPkiPublicKey key = KwPkiPublicKeyAllocate();
  require(KwPkiCertGetPublicKey(cert, key) != KWPKI_OK || set);
  KwPkiPublicKeyFree(key);
}

}  // namespace

void check_input(Bytes input) {
  KwPkiCertList list = reply_list_decode(input);
  if (!list) return;
  std::vector<KwPkiCert> forward, backward;
  require(KwPkiCertListNext(list) == nullptr && KwPkiCertListCurrent(list) == nullptr);
  for (KwPkiCert c = KwPkiCertListFirst(list); c; c = KwPkiCertListNext(list)) forward.push_back(c);
  for (KwPkiCert c = KwPkiCertListLast(list); c; c = KwPkiCertListPrev(list)) backward.push_back(c);
  require(forward == std::vector<KwPkiCert>(backward.rbegin(), backward.rend()));
  require(forward.empty() == (KwPkiCertListIsEmpty(list) == 1));
  require(forward.size() <= input.size() / 8);
  for (KwPkiCert cert : forward) {
    require(kwpki_cert(cert)->entry->object == kwpki_cert(cert));
    require(kwpki_cert(cert)->entry->refcount == 1);
    ask(cert);
  }
  uint32_t state = 0;
  char *text = nullptr;
  require(KwPkiGetSearchState(list, &state, &text) == text);
  require(state == ssh_load_be32(&input[8]));
  KwPkiStringFree(text);
  require(KwPkiCertListFree(list) == KWPKI_OK);
}
