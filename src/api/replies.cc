#include <iterator>

#include "api/envelope.h"
#include "api/reply_list.h"
#include "util/mem.h"
#include "util/owner.h"
#include "util/wire.h"

namespace {

template <class Callback>
Callback callback_of(const PendingRequest &request) {
  return reinterpret_cast<Callback>(request.callback);
}

KwPkiStatus answer_status(const PendingRequest &request, const ReplyEnvelope &reply) {
  callback_of<KwPkiStatusCallback>(request)(request.context, reply.status);
  return KWPKI_OK;
}

KwPkiStatus answer_list(const PendingRequest &request, const ReplyEnvelope &reply) {
  KwPkiCertList list = reply_list_decode(reply.payload);
  callback_of<KwPkiCertListCallback>(request)(request.context, reply.status, list);
  return KWPKI_OK;
}

// Names are the names of a reply in one copy of its payload: the byte behind each of them belongs
// to the length of the next, which has been read when a terminator takes its place.
struct Names {
  SshBlock octets;
  SshArray<const char *> texts;
  SshArray<uint32_t> lengths;
  uint32_t count = 0;
};

// read_names takes names up to the first that cannot be read; the others stay empty.
void read_names(Bytes payload, Names *names) {
  names->octets.reset(static_cast<uint8_t *>(ssh_xmemdup(payload.data(), payload.size())));
  names->texts = ssh_make_array<const char *>(names->count);
  names->lengths = ssh_make_array<uint32_t>(names->count);
  uint8_t *end = names->octets.get() + payload.size();  // a zero byte: the empty text
  Bytes rest(names->octets.get(), payload.size());
  uint8_t *terminator = nullptr;
  for (uint32_t i = 0; i < names->count; ++i) {
    Bytes name;
    const size_t used = ssh_decode_array(rest, {ssh_get_uint32_str_nocopy(&name)});
    if (terminator) *terminator = 0;
    rest = used ? rest.subspan(used) : Bytes();
    terminator = used ? end - rest.size() : nullptr;
    names->texts[i] = reinterpret_cast<const char *>(used ? name.data() : end);
    names->lengths[i] = static_cast<uint32_t>(name.size());
  }
  if (terminator) *terminator = 0;
}

// decode_names reads the payload of a reply with names. False if it tells of more names than it can
// hold or than arrays can be allocated for; no count at all is no names.
bool decode_names(Bytes payload, Names *names) {
  uint32_t count = 0;
  const size_t used = ssh_decode_array(payload, {ssh_get_uint32(&count)});
  if (!used || count == 0) return true;
  const Bytes rest = payload.subspan(used);
  if (count > rest.size() / 4 || count > SSH_XMALLOC_MAX / sizeof(char *)) return false;
  names->count = count;
  read_names(rest, names);
  return true;
}

KwPkiStatus answer_names(const PendingRequest &request, const ReplyEnvelope &reply) {
  Names names;
  if (reply.status == 0 && !decode_names(reply.payload, &names)) return KWPKI_FAILED;
  callback_of<KwPkiNamesCallback>(request)(request.context, reply.status, names.texts.get(),
                                           names.lengths.get(), names.count);
  return KWPKI_OK;
}

KwPkiStatus answer_data(const PendingRequest &request, const ReplyEnvelope &reply) {
  auto *block = static_cast<uint8_t *>(ssh_xmalloc(reply.payload.size()));
  if (!reply.payload.empty()) std::memcpy(block, reply.payload.data(), reply.payload.size());
  callback_of<KwPkiDataCallback>(request)(request.context, reply.status, block,
                                          static_cast<uint32_t>(reply.payload.size()));
  return KWPKI_OK;
}

// One row per KwPkiForm; a reply of a type that there is not has the first.
constexpr KwPkiStatus (*kAnswers[])(const PendingRequest &, const ReplyEnvelope &) = {
    nullptr, answer_status, answer_list, answer_names, answer_data,
};
static_assert(std::size(kAnswers) == KWPKI_FORM_DATA + 1);

}  // namespace

KwPkiStatus KWPKI_CALL KwPkiProcessAsyncResponce(const uint8_t *data, uint32_t length) {
  ReplyEnvelope reply;
  if (!data || !reply_envelope_decode({data, length}, &reply)) return KWPKI_FAILED;
  PendingRequest request;
  if (!pending_take(reply.request_id, &request)) return KWPKI_FAILED;
  if (callback_form(reply.type) != request.form || !request.callback) return KWPKI_FAILED;
  return kAnswers[request.form](request, reply);
}
