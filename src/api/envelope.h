// The envelope around every request and reply, and the identifiers by which a reply finds its
// request. docs/pages has the layout. A further type of request is a value of KwPkiRequestType and
// a row of the table of forms in envelope.cc.
#pragma once

#include <atomic>
#include <cstdint>

#include "api/pending.h"
#include "util/buffer.h"
#include "util/bytes.h"
#include "util/owner.h"

enum KwPkiRequestType : uint32_t {
  KWPKI_REQUEST_CERT_ADD = 0,
  KWPKI_REQUEST_CRL_ADD = 1,
  KWPKI_REQUEST_SEARCH = 2,
  KWPKI_REQUEST_SEARCH_PATH = 3,
  KWPKI_REQUEST_CA_NAMES = 4,
  KWPKI_REQUEST_CERT_REQUEST = 5,
  KWPKI_REQUEST_STATUS = 6,
  KWPKI_REQUEST_CERT_REQUEST_REMOVE = 7
};

// KWPKI_NEW_REQUEST is the status of every request: it asks the envelope writer for a fresh
// identifier. KWPKI_PAYLOAD_MAX is the longest payload of a request or reply, in bytes.
constexpr uint32_t KWPKI_NEW_REQUEST = 999;
constexpr uint32_t KWPKI_PAYLOAD_MAX = SSH_BUFFER_FRESH_MAX;

// callback_form gives the form of a type's callback; KWPKI_FORM_NONE for a type that there is not.
[[nodiscard]] KwPkiForm callback_form(uint32_t type);

// request_identifier_take steps a counter and gives the identifier: 0, 1, ... 0x7FFFFFFE and then
// again from 0; 0x7FFFFFFF is never issued. No two calls get the same one in a round.
[[nodiscard]] uint32_t request_identifier_take(std::atomic<uint32_t> &counter);

// request_envelope_encode returns a payload of at most KWPKI_PAYLOAD_MAX bytes in its envelope,
// and the length of both. A status of KWPKI_NEW_REQUEST stores a fresh identifier in `identifier`;
// with any other, `identifier` says which one to use.
[[nodiscard]] SshBlock request_envelope_encode(uint32_t *length, uint32_t *identifier,
                                               uint32_t type, uint32_t reserved, uint32_t status,
                                               Bytes payload);

// ReplyEnvelope is what came; `payload` is a view of the message.
struct ReplyEnvelope {
  uint32_t request_id = 0;
  uint32_t type = 0;
  uint32_t status = 0;
  Bytes payload;
};

// reply_envelope_decode reads an envelope; bytes after it are ignored. False if it is cut short or
// its payload is longer than KWPKI_PAYLOAD_MAX.
[[nodiscard]] bool reply_envelope_decode(Bytes message, ReplyEnvelope *envelope);
