// A program of calls of the exports, over a few handles of each kind, which may be null. The target
// is the host as well: its agent fails and answers early as the program says, replies are made of
// it, and callbacks go on with it. What comes back is held to kwpki.h, and nothing stays allocated.
#include <algorithm>
#include <array>
#include <deque>
#include <utility>

#include "api/envelope.h"
#include "samples.h"
#include "support/wire.h"
#include "x509/profile.h"

namespace {

using Octets = Der;

// The program. Behind its end there are zeros.
Bytes rest;

Octets take(size_t count) {
  const Bytes taken = rest.first(std::min(count, rest.size()));
  rest = rest.subspan(taken.size());
  return {taken.begin(), taken.end()};
}
uint8_t octet() { return rest.empty() ? uint8_t{0} : take(1)[0]; }
Octets octets() { return take(octet()); }
// below gives a number below `count`; one_in is true once in so many times.
size_t below(size_t count) { return octet() % count; }
bool one_in(size_t count) { return below(count) == count - 1; }
uint32_t number() {
  uint32_t value = octet();
  for (int i = value < 0xF0 ? 3 : 0; i < 3; ++i) value = value << 8 | octet();
  return value;
}

uint32_t length(const Octets &of) { return static_cast<uint32_t>(of.size()); }

// The handles of each kind. Between programs all of them are null.
template <class Handle>
std::array<Handle, 3> slots{};
template <class Handle>
Handle &pick() {
  return slots<Handle>[below(3)];
}
std::vector<void *> blocks;  // what goes to KwPkiStringFree

constexpr uint32_t kNone = 0x7FFFFFFF;  // no request has this identifier

// Request is one that was made, and the context of its callback.
struct Request {
  uint32_t id = kNone, type = 0;
  bool silent = false;                   // the callback is null
  bool open = false;                     // it is remembered, and no reply has ended it
  uint32_t answer = KWPKI_NOT_POSTED;    // what the agent makes of it
  const ReplyEnvelope *reply = nullptr;  // that the callback may be called for, once
};
std::deque<Request> requests;
Request *posting = nullptr;
Octets last_reply;
uint32_t next_id = 0;  // requests are numbered through, from the start of the process

void run(uint32_t steps);

// check holds a status against whether the call could be done.
void check(KwPkiStatus status, bool possible) {
  require(status == KWPKI_FAILED || (status == KWPKI_OK && possible));
}

template <auto Free, class Handle>
void release(Handle &handle) {
  require(Free(handle) == KWPKI_OK);
  handle = nullptr;
}
// toggle makes a handle where there is none, else it frees it: not while a request is being
// posted, which may need it until then.
template <auto Allocate, auto Free>
void toggle() {
  auto &handle = pick<decltype(Allocate())>();
  if (handle && !posting) return release<Free>(handle);
  if (!handle) handle = Allocate();
  require(handle != nullptr);
}
void free_list() { release<KwPkiCertListFree>(pick<KwPkiCertList>()); }
void free_block() {
  if (blocks.empty()) blocks.push_back(nullptr);
  std::swap(blocks[below(blocks.size())], blocks.back());
  release<KwPkiStringFree>(blocks.back());
  blocks.pop_back();
}

// encoding gives a sample, as it is or cut short.
Octets encoding(const char *sample) {
  Octets der = unbase64(sample);
  if (one_in(8)) der.resize(below(der.size()));
  return der;
}
Octets cert_encoding() { return encoding(kCertificates[below(2)]); }

// set_cert also takes what the certificate itself shows.
void set_cert() {
  KwPkiCert cert = pick<KwPkiCert>();
  const Octets der = cert_encoding();
  const uint8_t *data = der.data();
  uint32_t size = length(der);
  if (one_in(4)) (void)KwPkiCertGetBer(cert, &data, &size);
  const Octets was(data, data + size);
  const KwPkiStatus status = KwPkiCertSetBer(data, size, cert);
  check(status, cert);
  require(KwPkiCertGetBer(cert, &data, &size) == status);
  require(status != KWPKI_OK || ssh_bytes_equal({data, size}, was));
}
void set_crl() {
  KwPkiCrl crl = pick<KwPkiCrl>();
  const Octets der = encoding(kCrl);
  check(KwPkiCrlSetBer(der.data(), length(der), crl), crl);
}
// ask takes the answers of a certificate, which stay when it is freed.
void ask(KwPkiCert cert, KwPkiPublicKey key) {
  const uint8_t *ber = nullptr;
  uint8_t *der = nullptr;
  char *subject = nullptr, *serial = nullptr;
  uint32_t size = 0;
  const bool set = KwPkiCertGetBer(cert, &ber, &size) == KWPKI_OK;
  require(KwPkiCertGetPublicKey(cert, key) != KWPKI_OK || set);
  check(KwPkiCertGetSubjectDNDer(cert, &der, &size), set);
  check(KwPkiCertGetSubjectDN(cert, &subject), der);
  check(KwPkiCertGetSerialNumber(cert, &serial), set);
  blocks.insert(blocks.end(), {der, subject, serial});
}
void ask_cert() {
  KwPkiCert cert = pick<KwPkiCert>();
  ask(cert, pick<KwPkiPublicKey>());
}
// read_list: a list is the same in both directions, and its certificates answer like all others.
void read_list(KwPkiCertList list, KwPkiPublicKey key) {
  std::vector<KwPkiCert> forward, backward;
  for (KwPkiCert c = KwPkiCertListFirst(list); c; c = KwPkiCertListNext(list)) forward.push_back(c);
  for (KwPkiCert c = KwPkiCertListLast(list); c; c = KwPkiCertListPrev(list)) backward.push_back(c);
  require(forward == std::vector<KwPkiCert>(backward.rbegin(), backward.rend()));
  require(forward.empty() == (KwPkiCertListIsEmpty(list) == 1));
  for (KwPkiCert cert : forward) ask(cert, key);
}
void ask_listed() {
  KwPkiCertList list = pick<KwPkiCertList>();
  read_list(list, pick<KwPkiPublicKey>());
}

void add_key() {
  static constexpr KwPkiStatus (*kTexts[])(const char *, uint32_t, KwPkiSearchKey) = {
      KwPkiSearchKeySetDN, KwPkiSearchKeySetDNS, KwPkiSearchKeySetEmail, KwPkiSearchKeySetURI,
      KwPkiSearchKeySetOID};
  KwPkiSearchKey keys = pick<KwPkiSearchKey>();
  const size_t type = below(8);
  Octets data = octets();
  const uint32_t size = length(data);
  if (type == 5) {
    const KwPkiStatus status = KwPkiSearchKeySetPublicKey(pick<KwPkiPublicKey>(), keys);
    return require(keys ? status != KWPKI_NO_PUBLIC_KEY : status == KWPKI_FAILED);
  }
  if (type == 6) return check(KwPkiSearchKeySetIP(data.data(), size, keys), keys);
  if (type == 7) return check(KwPkiSearchKeySetDNDer(data.data(), size, keys), keys);
  data.push_back(0);
  check(kTexts[type](reinterpret_cast<const char *>(data.data()), size, keys), keys);
}

void set_search() {
  static constexpr KwPkiStatus (*kStores[])(uint32_t, KwPkiSearch) = {
      KwPkiSearchSetKeyType, KwPkiSearchSetKeyUsage, KwPkiSearchSetPathLength, KwPkiSearchSetRule};
  KwPkiSearch search = pick<KwPkiSearch>();
  const size_t what = below(8);
  const uint32_t value = number();
  if (what < std::size(kStores)) return check(kStores[what](value, search), search);
  if (what == 4) return check(KwPkiSearchSetGroupModeOn(search), search);
  if (what == 5) return check(KwPkiSearchSetUnixTime(value, ~value, search), search);
  KwPkiSearchKey keys = pick<KwPkiSearchKey>();
  check(KwPkiSearchSetKeys(keys, search), keys && search);
}

// walk takes a step in a list.
void walk() {
  static constexpr KwPkiCert (*kSteps[])(KwPkiCertList) = {KwPkiCertListCurrent, KwPkiCertListFirst,
                                                           KwPkiCertListLast, KwPkiCertListNext,
                                                           KwPkiCertListPrev};
  KwPkiCertList list = pick<KwPkiCertList>();
  KwPkiCert cert = kSteps[below(std::size(kSteps))](list);
  require(!cert || KwPkiCertListCurrent(list) == cert);
}

// go_on is in every callback: it is the one that the reply is for, and goes on with the program.
void go_on(void *context, KwPkiForm form, uint32_t status) {
  auto &request = *static_cast<Request *>(context);
  require(request.reply && callback_form(request.type) == form && request.reply->status == status);
  request.reply = nullptr;
  run(4);
}
void on_status(void *context, uint32_t status) { go_on(context, KWPKI_FORM_STATUS, status); }
void on_list(void *context, uint32_t status, KwPkiCertList handle) {
  uint32_t state = 0;
  char *text = nullptr;
  blocks.push_back(KwPkiGetSearchState(handle, &state, &text));
  require(!handle || state == ssh_load_be32(&static_cast<Request *>(context)->reply->payload[8]));
  read_list(handle, slots<KwPkiPublicKey>[0]);
  KwPkiCertList &list = pick<KwPkiCertList>();
  release<KwPkiCertListFree>(list);
  list = handle;
  go_on(context, KWPKI_FORM_LIST, status);
}
void on_names(void *context, uint32_t status, const char *const *names, const uint32_t *lengths,
              uint32_t count) {
  go_on(context, KWPKI_FORM_NAMES, status);  // the names stay, whatever happens meanwhile
  for (uint32_t i = 0; i < count; ++i) require(names[i][lengths[i]] == 0);
}
void on_data(void *context, uint32_t status, uint8_t *data, uint32_t size) {
  require(ssh_bytes_equal({data, size}, static_cast<Request *>(context)->reply->payload));
  blocks.push_back(data);
  go_on(context, KWPKI_FORM_DATA, status);
}

// make_request takes all arguments from the program, whatever the type.
void make_request() {
  Request &request = requests.emplace_back();
  request.type = octet() % 8;
  request.silent = one_in(8);
  Request *const outer = std::exchange(posting, &request);
  const auto on = [&](auto callback) { return request.silent ? nullptr : callback; };
  const Octets data = octets();
  const KwPkiBlock block = {data.data(), one_in(4) ? 1 : length(data)};
  const KwPkiBlock *const given = one_in(8) ? nullptr : &block;
  const char *const texts[] = {"", "a", nullptr, one_in(2) ? "CN=b" : nullptr};
  const char *const *const names = one_in(8) ? nullptr : texts;
  KwPkiSearch first = pick<KwPkiSearch>(), second = pick<KwPkiSearch>();
  KwPkiValidity validity = pick<KwPkiValidity>();
  KwPkiCert cert = pick<KwPkiCert>();
  KwPkiCrl crl = pick<KwPkiCrl>();
  const auto status = on(on_status);
  const auto list = on(on_list);
  void *const agent = &posting;
  const KwPkiStatus result =
      request.type == 0   ? KwPkiCertAddAsync(cert, status, &request, 1, agent)
      : request.type == 1 ? KwPkiCrlAddAsync(crl, status, &request, agent)
      : request.type == 2 ? KwPkiSearchAsync(first, validity, list, &request, agent)
      : request.type == 3 ? KwPkiSearchPathAsync(first, second, validity, list, &request, agent)
      : request.type == 4 ? KwPkiCaNamesAsync(on(on_names), &request, agent)
      : request.type == 5 ? KwPkiCertRequestAsync(given, names, "b", status, &request, agent)
      : request.type == 6 ? KwPkiStatusAsync(on(on_data), &request, agent)
                          : KwPkiCertRequestRemoveAsync(names, status, &request, agent);
  posting = outer;
  require(result == request.answer);
}

Octets payload(KwPkiForm form) {
  if (form != KWPKI_FORM_LIST && form != KWPKI_FORM_NAMES) return octets();
  const uint32_t count = octet() % 4;
  std::vector<Der> parts;
  if (form == KWPKI_FORM_NAMES) {
    parts.push_back(wire::u32(one_in(8) ? number() : count));
    for (uint32_t i = 0; i < count; ++i) parts.push_back(wire::str(octets()));
    return wire::join(parts);
  }
  parts = {wire::u32(count), wire::u32(0), wire::u32(number()), wire::str(octets())};
  for (uint32_t i = 0; i < count; ++i) {
    parts.insert(parts.end(), {wire::u32(0), wire::str(cert_encoding()), wire::u32(number()),
                               wire::u32(1), wire::u32(octet() % 16u), wire::str(octets()),
                               wire::u32(0), wire::u32(number()), wire::u32(number())});
  }
  return wire::join(parts);
}

// process gives a reply to the library, which calls the callback of the open request that it is
// for: never if it is silent or of another form, always if it is not and the payload can be read.
void process(const Octets &body) {
  ReplyEnvelope reply;
  Request *called = nullptr;
  const bool whole = reply_envelope_decode(body, &reply);
  for (Request &request : requests) {
    if (!whole || !request.open || request.id != reply.request_id) continue;
    request.open = false;
    if (!request.silent && callback_form(request.type) == callback_form(reply.type))
      called = &request;
  }
  if (called) called->reply = &reply;
  const KwPkiStatus status = KwPkiProcessAsyncResponce(body.data(), length(body));
  const bool answered = called && !std::exchange(called->reply, nullptr);
  require(status == (answered ? KWPKI_OK : KWPKI_FAILED));
  require(!called || answered || callback_form(called->type) == KWPKI_FORM_NAMES);
}
// reply makes a reply to any request: open or not, of its type or another, whole, cut or again.
void reply() {
  if (one_in(8)) return process(Octets(last_reply));
  uint32_t id = number(), type = octet() % 8;
  if (!requests.empty() && !one_in(8)) {
    const Request &request = requests[requests.size() - 1 - below(requests.size())];
    id = request.id;
    if (!one_in(8)) type = request.type;
  }
  const KwPkiForm form = one_in(8) ? KWPKI_FORM_NONE : callback_form(type);
  const uint32_t status = one_in(4) ? number() : 0;
  Octets body = wire::envelope(id, type, status, payload(form));
  if (one_in(8)) body.resize(below(body.size()));
  last_reply = body;
  process(body);
}

// any_reply takes the rest of the program for a reply to the request before.
void any_reply() {
  Octets body = take(rest.size());
  if (body.size() >= 8 && !requests.empty()) ssh_store_be32(&body[4], requests.back().id);
  process(body);
}

void run(uint32_t steps) {
  static constexpr void (*kSteps[])() = {toggle<KwPkiCertAllocate, KwPkiCertFree>,
                                         toggle<KwPkiCrlAllocate, KwPkiCrlFree>,
                                         toggle<KwPkiSearchKeyAllocate, KwPkiSearchKeyFree>,
                                         toggle<KwPkiSearchAllocate, KwPkiSearchFree>,
                                         toggle<KwPkiValidityAllocate, KwPkiValidityFree>,
                                         toggle<KwPkiPublicKeyAllocate, KwPkiPublicKeyFree>,
                                         free_list,
                                         free_block,
                                         set_cert,
                                         set_crl,
                                         ask_cert,
                                         ask_listed,
                                         reply,  // twice: it leads to most
                                         add_key,
                                         set_search,
                                         walk,
                                         make_request,
                                         reply,
                                         any_reply};
  static uint32_t depth = 0;
  constexpr uint32_t kDeepest = 3;
  if (depth == kDeepest) return;
  ++depth;
  for (; steps > 0 && !rest.empty(); --steps) kSteps[below(std::size(kSteps))]();
  --depth;
}

template <auto... Free, class... Handle>
void release_all(std::array<Handle, 3> &...of) {
  (std::for_each(of.begin(), of.end(), release<Free, Handle>), ...);
}
// finish answers what is open and frees what is left.
void finish() {
  for (const Request &request : requests) {
    process(wire::envelope(request.id, request.type, 1, {}));
    require(!request.open);
  }
  requests.clear();
  last_reply.clear();
  release_all<KwPkiCertFree, KwPkiCrlFree, KwPkiSearchKeyFree, KwPkiSearchFree, KwPkiValidityFree,
              KwPkiPublicKeyFree, KwPkiCertListFree>(
      slots<KwPkiCert>, slots<KwPkiCrl>, slots<KwPkiSearchKey>, slots<KwPkiSearch>,
      slots<KwPkiValidity>, slots<KwPkiPublicKey>, slots<KwPkiCertList>);
  while (!blocks.empty()) free_block();
}

constexpr uint32_t kAgentSuccess = 0x4000000;
int given = 0;  // policies and messages that were made and not given back

// reached is in what the agent is asked for: the first time, the request has become remembered.
bool reached() {
  if (!posting->open && posting->id == kNone) {
    posting->id = std::exchange(next_id, (next_id + 1) % kNone);
    posting->open = true;
  }
  const bool made = !one_in(8);
  given += made;
  return made;
}

}  // namespace

// The agent. It is given the message of the request that is being posted; each of its functions
// that can fail does so once in eight times.
extern "C" {
uint32_t ZrpCreatePolicyOID(const char *, void **handle) {
  if (!reached()) return 1;
  *handle = &given;
  return 0;
}
uint32_t ZrpClose(void *handle) { return given -= handle != nullptr, 0; }
void *KWMACreateMessage(uint32_t) { return reached() ? posting : nullptr; }
uint32_t KWMASetMessageData(void *handle, const void *data, uint32_t size) {
  ReplyEnvelope envelope;
  require(reply_envelope_decode({static_cast<const uint8_t *>(data), size}, &envelope));
  require(handle == posting && envelope.request_id == posting->id &&
          envelope.type == posting->type);
  return posting->answer = one_in(8) ? number() : kAgentSuccess;
}
uint32_t KWMAPostMessage(void *agent, void *, void *handle, uint32_t) {
  require(agent == &posting && handle == posting);
  Request &request = *posting;
  if (one_in(4)) reply();
  const uint32_t status = one_in(8) ? number() : kAgentSuccess;
  request.answer = status == kAgentSuccess ? KWPKI_OK : KWPKI_NOT_POSTED;
  return status;
}
uint32_t KWMADeleteMessage(void *) { return --given, 0; }
}

void check_input(Bytes input) {
  rest = input;
  ssh_x509_set_profile(one_in(2) ? SSH_X509_MODERN : SSH_X509_CLASSIC);
  run(256);
  finish();
  require(given == 0);
}
