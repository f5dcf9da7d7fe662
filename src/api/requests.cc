// The eight requests. Each is an export that checks its arguments and says how to write its
// payload; the function `request` does the rest for all. A further request is another such export.
#include "api/agent.h"
#include "api/envelope.h"
#include "api/handles.h"
#include "util/wire.h"

namespace {

// Payload measures the pieces of a payload and, given a buffer, writes them. A request is measured
// first: one that is too long is refused before anything is allocated for it.
class Payload {
 public:
  explicit Payload(SshBuffer *buffer = nullptr) : buffer_(buffer) {}
  [[nodiscard]] uint64_t length() const { return length_; }

  void uint32(uint32_t value) { put(4, ssh_put_uint32(value)); }
  void boolean(uint32_t value) { put(1, ssh_put_boolean(value)); }
  void string(Bytes octets) { put(uint64_t{4} + octets.size(), ssh_put_uint32_str(octets)); }
  void text(const char *text) { string(text ? ssh_text_bytes(text) : Bytes()); }
  void time(const SshBerTime &time) { string(SshBerTimeText(time).bytes()); }

 private:
  void put(uint64_t length, const SshPut &field) {
    length_ += length;
    if (buffer_) (void)ssh_encode_buffer(*buffer_, {field});
  }

  SshBuffer *buffer_;
  uint64_t length_ = 0;
};

// request sends the payload that `write` writes. The callback is in the pending table before the
// message is posted, since the reply may come, in another thread, before the post returns. It stays
// there if posting fails, as the header says: an agent may answer what it reported as failed.
template <class Callback, class Write>
KwPkiStatus request(KwPkiRequestType type, Callback callback, void *context, void *agent,
                    const Write &write) {
  Payload measured;
  write(measured);
  if (measured.length() > KWPKI_PAYLOAD_MAX) return KWPKI_NOT_POSTED;

  SshBuffer buffer;
  ssh_buffer_reserve(buffer, static_cast<size_t>(measured.length()));
  Payload payload(&buffer);
  write(payload);
  uint32_t length = 0, identifier = 0;
  const SshBlock block = request_envelope_encode(&length, &identifier, type, 0, KWPKI_NEW_REQUEST,
                                                 ssh_buffer_bytes(buffer));
  ssh_buffer_uninit(buffer);  // a long payload is not held twice while the agent has it
  pending_add(identifier,
              {reinterpret_cast<KwPkiCallback>(callback), context, callback_form(type)});
  return request_post(agent, {block.get(), length});
}

// A list on the wire is its length and its items, in the order of the list.
void write_keys(Payload &payload, const SshCertDBKey *keys) {
  uint32_t count = 0;
  for (const SshCertDBKey *key = keys; key; key = key->next) ++count;
  payload.uint32(count);
  for (; keys; keys = keys->next) {
    payload.uint32(keys->type);
    payload.string(keys->bytes());
    payload.uint32(keys->value);
  }
}

void write_constraints(Payload &payload, const SshCMSearchConstraints &search) {
  payload.time(search.not_before);
  payload.time(search.not_after);
  write_keys(payload, search.keys);
  payload.uint32(static_cast<uint32_t>(search.path_length));
  payload.uint32(search.key_usage);
  payload.uint32(search.key_type);
  payload.uint32(search.rule);
  payload.boolean(search.group_mode);
  write_keys(payload, search.second_keys);
}

// A null handle is a period with neither time set, which is written as two empty strings.
void write_validity(Payload &payload, const KwPkiValidityObject *validity) {
  const KwPkiValidityObject unset;
  payload.time((validity ? *validity : unset).not_before);
  payload.time((validity ? *validity : unset).not_after);
}

constexpr auto write_nothing = [](Payload &) {};

constexpr int kNames = 4;  // of every certificate request

void write_names(Payload &payload, const char *const *names) {
  for (int i = 0; i < kNames; ++i) payload.text(names[i]);
}

}  // namespace

KwPkiStatus KWPKI_CALL KwPkiCertAddAsync(KwPkiCert cert, KwPkiStatusCallback callback,
                                         void *context, uint32_t options, void *agent) {
  if (!cert) return KWPKI_NOT_POSTED;
  return request(KWPKI_REQUEST_CERT_ADD, callback, context, agent, [=](Payload &payload) {
    payload.uint32(options);
    payload.string(ssh_cm_cert_encoding(*kwpki_cert(cert)));
  });
}

KwPkiStatus KWPKI_CALL KwPkiCrlAddAsync(KwPkiCrl crl, KwPkiStatusCallback callback, void *context,
                                        void *agent) {
  if (!crl) return KWPKI_NOT_POSTED;
  return request(KWPKI_REQUEST_CRL_ADD, callback, context, agent,
                 [=](Payload &payload) { payload.string(ssh_cm_crl_encoding(*kwpki_crl(crl))); });
}

KwPkiStatus KWPKI_CALL KwPkiSearchAsync(KwPkiSearch search, KwPkiValidity validity,
                                        KwPkiCertListCallback callback, void *context,
                                        void *agent) {
  if (!search) return KWPKI_NOT_POSTED;
  return request(KWPKI_REQUEST_SEARCH, callback, context, agent, [=](Payload &payload) {
    write_constraints(payload, *kwpki_search(search));
    write_validity(payload, validity);
  });
}

KwPkiStatus KWPKI_CALL KwPkiSearchPathAsync(KwPkiSearch first, KwPkiSearch second,
                                            KwPkiValidity validity, KwPkiCertListCallback callback,
                                            void *context, void *agent) {
  if (!first || !second) return KWPKI_NOT_POSTED;
  return request(KWPKI_REQUEST_SEARCH_PATH, callback, context, agent, [=](Payload &payload) {
    write_constraints(payload, *kwpki_search(first));
    write_constraints(payload, *kwpki_search(second));
    write_validity(payload, validity);
  });
}

KwPkiStatus KWPKI_CALL KwPkiCaNamesAsync(KwPkiNamesCallback callback, void *context, void *agent) {
  return request(KWPKI_REQUEST_CA_NAMES, callback, context, agent, write_nothing);
}

KwPkiStatus KWPKI_CALL KwPkiStatusAsync(KwPkiDataCallback callback, void *context, void *agent) {
  return request(KWPKI_REQUEST_STATUS, callback, context, agent, write_nothing);
}

KwPkiStatus KWPKI_CALL KwPkiCertRequestAsync(const KwPkiBlock *request_data,
                                             const char *const *names, const char *further,
                                             KwPkiStatusCallback callback, void *context,
                                             void *agent) {
  if (!request_data || !names || (!request_data->data && request_data->length > 0))
    return KWPKI_NOT_POSTED;
  return request(KWPKI_REQUEST_CERT_REQUEST, callback, context, agent, [=](Payload &payload) {
    payload.string({request_data->data, request_data->length});
    write_names(payload, names);
    payload.text(further);
  });
}

KwPkiStatus KWPKI_CALL KwPkiCertRequestRemoveAsync(const char *const *names,
                                                   KwPkiStatusCallback callback, void *context,
                                                   void *agent) {
  if (!names) return KWPKI_NOT_POSTED;
  return request(KWPKI_REQUEST_CERT_REQUEST_REMOVE, callback, context, agent,
                 [=](Payload &payload) { write_names(payload, names); });
}
