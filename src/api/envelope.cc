#include "api/envelope.h"

#include <iterator>
#include <mutex>

#include "util/lock.h"
#include "util/mem.h"
#include "util/wire.h"

namespace {

constexpr uint32_t kVersion = 1;  // of the envelope; there is no other

// One row per KwPkiRequestType.
constexpr KwPkiForm kCallbackForms[] = {
    KWPKI_FORM_STATUS, KWPKI_FORM_STATUS, KWPKI_FORM_LIST, KWPKI_FORM_LIST,
    KWPKI_FORM_NAMES,  KWPKI_FORM_STATUS, KWPKI_FORM_DATA, KWPKI_FORM_STATUS,
};
static_assert(std::size(kCallbackForms) == KWPKI_REQUEST_CERT_REQUEST_REMOVE + 1);

std::atomic<uint32_t> next_identifier{0};

}  // namespace

KwPkiForm callback_form(uint32_t type) {
  return type < std::size(kCallbackForms) ? kCallbackForms[type] : KWPKI_FORM_NONE;
}

uint32_t request_identifier_take(std::atomic<uint32_t> &counter) {
  // The lock is one of each call's own, deliberately, and so makes nobody wait. The atomic exchange
  // is what keeps two calls from getting the same number.
  constexpr uint32_t kEnd = 0x7FFFFFFF;
  SshLock section;
  const std::lock_guard inside(section);
  uint32_t now = counter.load(std::memory_order_relaxed);
  uint32_t taken = 0;
  do {
    taken = now == kEnd ? 0 : now;
  } while (!counter.compare_exchange_weak(now, taken + 1, std::memory_order_relaxed));
  return taken;
}

SshBlock request_envelope_encode(uint32_t *length, uint32_t *identifier, uint32_t type,
                                 uint32_t reserved, uint32_t status, Bytes payload) {
  if (status == KWPKI_NEW_REQUEST) *identifier = request_identifier_take(next_identifier);
  uint8_t *block = nullptr;
  *length = ssh_encode_alloc(
      &block, {ssh_put_uint32(kVersion), ssh_put_uint32(*identifier), ssh_put_uint32(type),
               ssh_put_uint32(status), ssh_put_uint32(reserved), ssh_put_uint32_str(payload)});
  return SshBlock(block);
}

bool reply_envelope_decode(Bytes message, ReplyEnvelope *envelope) {
  // The version is not looked at: services have always been free in it.
  return ssh_decode_array(
             message, {ssh_get_uint32(nullptr), ssh_get_uint32(&envelope->request_id),
                       ssh_get_uint32(&envelope->type), ssh_get_uint32(&envelope->status),
                       ssh_get_uint32(nullptr), ssh_get_uint32_str_nocopy(&envelope->payload)}) &&
         envelope->payload.size() <= KWPKI_PAYLOAD_MAX;
}
