// A byte that chooses a request, then any bytes as its reply: the callback is called exactly
// when the result says so, and the request is over unless the envelope is not its own. A list reads
// the same in both directions, and its certificates answer like those of a client.
#include <vector>

#include "api/envelope.h"
#include "api/handles.h"
#include "api/pending.h"
#include "fuzz.h"

namespace {

int calls = 0;
Bytes payload;  // of the reply

void on_status(void *context, uint32_t) { ++*static_cast<int *>(context); }

// ask takes what a certificate tells. One that did not decode tells nothing.
void ask(KwPkiCert cert) {
  require(kwpki_cert(cert)->entry->object == kwpki_cert(cert));
  require(kwpki_cert(cert)->entry->refcount == 1);
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
void on_list(void *context, uint32_t, KwPkiCertList list) {
  ++*static_cast<int *>(context);
  if (!list) return;  // it could not be read
  std::vector<KwPkiCert> forward, backward;
  require(KwPkiCertListNext(list) == nullptr && KwPkiCertListCurrent(list) == nullptr);
  for (KwPkiCert c = KwPkiCertListFirst(list); c; c = KwPkiCertListNext(list)) forward.push_back(c);
  for (KwPkiCert c = KwPkiCertListLast(list); c; c = KwPkiCertListPrev(list)) backward.push_back(c);
  require(forward == std::vector<KwPkiCert>(backward.rbegin(), backward.rend()));
  require(forward.empty() == (KwPkiCertListIsEmpty(list) == 1));
  require(forward.size() <= payload.size() / 8);
  for (KwPkiCert cert : forward) ask(cert);
  uint32_t state = 0;
  char *text = nullptr;
  require(KwPkiGetSearchState(list, &state, &text) == text);
  require(state == ssh_load_be32(&payload[8]));
  KwPkiStringFree(text);
  require(KwPkiCertListFree(list) == KWPKI_OK);
}
void on_names(void *context, uint32_t status, const char *const *names, const uint32_t *lengths,
              uint32_t count) {
  ++*static_cast<int *>(context);
  require(count == 0 || (status == 0 && names && lengths));
  for (uint32_t i = 0; i < count; ++i) require(names[i][lengths[i]] == 0);
}
void on_data(void *context, uint32_t, uint8_t *block, uint32_t length) {
  ++*static_cast<int *>(context);
  require(block != nullptr);
  if (length > 0) block[0] = block[length - 1] = 0;  // it is the callback's own
  KwPkiStringFree(block);
}

// request_of gives the request of a type as an export would record it.
PendingRequest request_of(uint32_t type) {
  const KwPkiForm form = callback_form(type);
  const KwPkiCallback callbacks[] = {
      nullptr, reinterpret_cast<KwPkiCallback>(on_status), reinterpret_cast<KwPkiCallback>(on_list),
      reinterpret_cast<KwPkiCallback>(on_names), reinterpret_cast<KwPkiCallback>(on_data)};
  return {callbacks[form], &calls, form};
}

}  // namespace

void check_input(Bytes input) {
  if (input.size() < 9) return;
  const uint32_t identifier = ssh_load_be32(&input[5]);  // behind the version
  PendingRequest request = request_of(input[0] % 8), left;
  if (input[0] & 0x80) request.callback = nullptr;
  calls = 0;
  pending_add(identifier, request);
  const Bytes reply = input.subspan(1);
  const auto length = static_cast<uint32_t>(reply.size());
  ReplyEnvelope envelope;
  const bool whole = reply_envelope_decode(reply, &envelope);
  payload = envelope.payload;
  const KwPkiStatus status = KwPkiProcessAsyncResponce(reply.data(), length);
  require(calls == (status == KWPKI_OK));
  require(calls == 0 || request.callback);
  require(pending_take(identifier, &left) != whole);
  require(KwPkiProcessAsyncResponce(reply.data(), length) == KWPKI_FAILED);
  require(calls == (status == KWPKI_OK));
}
