#include <iterator>

#include "api/envelope.h"
#include "api/reply_list.h"
#include "util/mem.h"
#include "util/owner.h"
#include "util/wire.h"

// Replies: an envelope comes from the host, the pending table has the callback that its request
// left, and the payload is read in the form that the callback takes. A further form is a function
// here and a row of kAnswers.
namespace {

// callback_of gives the callback its own type back; the form of the request says which it is.
template <class Callback>
Callback callback_of(const PendingRequest &request) {
  return reinterpret_cast<Callback>(request.callback);
}

KwPkiStatus answer_status(const PendingRequest &request, const ReplyEnvelope &reply) {
  callback_of<KwPkiStatusCallback>(request)(request.context, reply.status);
  return KWPKI_OK;
}

// The callback is called with a null list where none could be read: the request is answered anyway.
KwPkiStatus answer_list(const PendingRequest &request, const ReplyEnvelope &reply) {
  KwPkiCertList list = reply_list_decode(reply.payload);
  callback_of<KwPkiCertListCallback>(request)(request.context, reply.status, list);
  return KWPKI_OK;
}

// Names are the names of a reply. They lie in one copy of its payload, in which a zero byte follows
// each of them, as texts in C have it.
struct Names {
  SshBlock octets;
  SshArray<const char *> texts;
  SshArray<uint32_t> lengths;
  uint32_t count = 0;
};

// read_names takes names up to the first that cannot be read; the others stay empty. A name is
// terminated once the length of the next has been read, which lies where the terminator goes.
void read_names(Bytes payload, Names *names) {
  names->octets.reset(static_cast<uint8_t *>(ssh_xmemdup(payload.data(), payload.size())));
  names->texts = ssh_make_array<const char *>(names->count);
  names->lengths = ssh_make_array<uint32_t>(names->count);
  uint8_t *end = names->octets.get() + payload.size();  // a zero byte: the empty text
  SshWireReader reader({names->octets.get(), payload.size()});
  uint8_t *terminator = nullptr;
  uint32_t i = 0;
  for (Bytes name; i < names->count && reader.octets(&name); ++i) {
    if (terminator) *terminator = 0;
    terminator = end - reader.rest().size();
    names->texts[i] = reinterpret_cast<const char *>(name.data());
    names->lengths[i] = static_cast<uint32_t>(name.size());
  }
  if (terminator) *terminator = 0;
  for (; i < names->count; ++i) names->texts[i] = reinterpret_cast<const char *>(end);
}

// decode_names reads the payload of a reply with names. False if it tells of more names than it can
// hold or than arrays can be allocated for; no count at all is no names.
bool decode_names(Bytes payload, Names *names) {
  SshWireReader reader(payload);
  uint32_t count = 0;
  if (!reader.number(&count) || count == 0) return true;
  // A name takes four bytes at least, those of its length.
  if (count > reader.rest().size() / 4 || count > SSH_XMALLOC_MAX / sizeof(char *)) return false;
  names->count = count;
  read_names(reader.rest(), names);
  return true;
}

KwPkiStatus answer_names(const PendingRequest &request, const ReplyEnvelope &reply) {
  Names names;
  if (reply.status == 0 && !decode_names(reply.payload, &names)) return KWPKI_FAILED;
  callback_of<KwPkiNamesCallback>(request)(request.context, reply.status, names.texts.get(),
                                           names.lengths.get(), names.count);
  return KWPKI_OK;
}

// The block is the callback's own, so it is a copy of its own size.
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
