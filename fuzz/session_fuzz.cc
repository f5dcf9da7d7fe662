// A program of calls of the exports, over a few handles of each kind, which may be null. The target
// is the host as well: its agent fails and answers early as the program says, replies are made of
// it, and callbacks go on with it. What comes back is held to kwpki.h, and nothing stays allocated.
#include <algorithm>
#include <array>
#include <deque>
#include <optional>
#include <utility>

#include "kwpki.h"
#include "memory_file.h"
#include "samples.h"
#include "x509/profile.h"

namespace {

using Octets = std::vector<uint8_t>;

// The program. Behind its end there are zeros.
Bytes rest;

uint8_t octet() {
  if (rest.empty()) return 0;
  const uint8_t first = rest[0];
  rest = rest.subspan(1);
  return first;
}
// below gives a number below `count`; one_in is true once in so many times.
size_t below(size_t count) { return octet() % count; }
bool one_in(size_t count) { return below(count) == count - 1; }
uint32_t number() {
  uint32_t value = octet();
  if (value < 0xF0) return value;
  for (int i = 0; i < 3; ++i) value = value << 8 | octet();
  return value;
}
Octets octets() {
  const Bytes taken = rest.first(std::min<size_t>(octet(), rest.size()));
  rest = rest.subspan(taken.size());
  return {taken.begin(), taken.end()};
}

uint32_t length(const Octets &of) { return static_cast<uint32_t>(of.size()); }
void put(Octets &to, uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) to.push_back(static_cast<uint8_t>(value >> shift));
}
void put(Octets &to, const Octets &string) {
  put(to, length(string));
  to.insert(to.end(), string.begin(), string.end());
}

// The handles, with what is known of each. Between programs all of them are null.
struct Cert {
  KwPkiCert handle = nullptr;
  std::optional<Octets> ber;
  std::vector<std::pair<const uint8_t *, Octets>> shown;  // by KwPkiCertGetBer
};
struct Keys {
  KwPkiSearchKey handle = nullptr;
  bool any = false;
};
struct Search {
  KwPkiSearch handle = nullptr;
  bool has_keys = false;
};
struct List {
  KwPkiCertList handle = nullptr;
  std::vector<KwPkiCert> certs;
  size_t at = 0;
};
template <class Handle>
struct Plain {
  Handle handle = nullptr;
};
template <class Slot>
using Slots = std::array<Slot, 3>;
Slots<Cert> certs;
Slots<Plain<KwPkiCrl>> crls;
Slots<Keys> key_sets;
Slots<Search> searches;
Slots<Plain<KwPkiValidity>> validities;
Slots<Plain<KwPkiPublicKey>> public_keys;
Slots<List> lists;
std::vector<void *> blocks;  // what goes to KwPkiStringFree

template <class Slot>
Slot &pick(Slots<Slot> &slots) {
  return slots[below(slots.size())];
}
void keep(void *block) {
  if (block) blocks.push_back(block);
}

enum Form { kStatus, kList, kNames, kData, kNone };
constexpr Form kForms[] = {kStatus, kStatus, kList, kList, kNames, kStatus, kData, kStatus};
constexpr uint32_t kTypes = 8;
Form form_of(uint32_t type) { return type < kTypes ? kForms[type] : kNone; }

// Message is a request or reply as it can be read.
struct Message {
  explicit Message(Bytes of) {
    if (of.size() < 24 || ssh_load_be32(of.data() + 20) > of.size() - 24) return;
    whole = true;
    id = ssh_load_be32(of.data() + 4);
    type = ssh_load_be32(of.data() + 8);
    status = ssh_load_be32(of.data() + 12);
    payload = of.subspan(24, ssh_load_be32(of.data() + 20));
  }
  [[nodiscard]] uint32_t names() const {
    return status != 0 || payload.size() < 4 ? 0 : ssh_load_be32(payload.data());
  }
  [[nodiscard]] bool names_fit() const { return !names() || names() <= payload.size() / 4 - 1; }
  [[nodiscard]] bool list_fits() const {
    return payload.size() >= 16 && ssh_load_be32(payload.data() + 12) <= payload.size() - 16;
  }

  bool whole = false;
  uint32_t id = 0, type = 0, status = 0;
  Bytes payload;
};

// Request is one that was made, and the context of its callback.
struct Request {
  uint32_t id = 0, type = 0;
  bool silent = false;             // the callback is null
  bool open = true;                // no reply has ended it
  uint32_t answer = 0;             // what the agent makes of it
  const Message *reply = nullptr;  // that the callback is called for
};
std::deque<Request> requests;
Request *posting = nullptr;
Octets last_reply;
uint32_t next_id = 0;  // requests are numbered through, from the start of the process

void run(uint32_t steps);
void reply();

// toggle makes a handle where there is none, else it frees it: not while a request is being
// posted, which may need it until then.
template <auto Free, class Slot>
void release(Slot &slot) {
  require(Free(slot.handle) == KWPKI_OK);
  slot = {};
}
template <auto Allocate, auto Free, auto &Place>
void toggle() {
  auto &slot = pick(Place);
  if (slot.handle && !posting) return release<Free>(slot);
  if (!slot.handle) slot.handle = Allocate();
  require(slot.handle != nullptr);
}
KwPkiStatus free_cert(KwPkiCert handle) {
  for (const Cert &cert : certs) {
    if (cert.handle != handle) continue;
    for (const auto &[data, was] : cert.shown) require(ssh_bytes_equal({data, was.size()}, was));
  }
  return KwPkiCertFree(handle);
}
void free_list() { release<KwPkiCertListFree>(pick(lists)); }
void free_block() {
  if (blocks.empty()) return require(KwPkiStringFree(nullptr) == KWPKI_OK);
  std::swap(blocks[below(blocks.size())], blocks.back());
  require(KwPkiStringFree(blocks.back()) == KWPKI_OK);
  blocks.pop_back();
}

// encoding gives a sample as it is, with one octet changed, cut short, or something else.
Octets encoding(const char *sample) {
  const size_t what = below(8);
  if (what == 7) return octets();
  Octets der = unbase64(sample);
  if (what == 6) der[below(der.size())] = octet();
  if (what == 5) der.resize(below(der.size()));
  return der;
}
Octets cert_encoding() { return encoding(kCertificates[below(2)]); }

void set_cert() {
  Cert &cert = pick(certs);
  if (one_in(8)) return require(KwPkiCertSetBer(nullptr, 1, cert.handle) == KWPKI_FAILED);
  const bool own = one_in(4) && !cert.shown.empty();
  const Octets der = own ? cert.shown.back().second : cert_encoding();
  const uint8_t *data = own ? cert.shown.back().first : der.data();
  const KwPkiStatus status = KwPkiCertSetBer(data, length(der), cert.handle);
  require(status == KWPKI_FAILED || (status == KWPKI_OK && cert.handle));
  cert.ber.reset();
  if (status == KWPKI_OK) cert.ber = der;
}
void set_crl() {
  KwPkiCrl handle = pick(crls).handle;
  const Octets der = encoding(kCrl);
  const KwPkiStatus status = KwPkiCrlSetBer(der.data(), length(der), handle);
  require(status == KWPKI_FAILED || (status == KWPKI_OK && handle && !der.empty()));
}

// ask takes one of the five answers of a certificate.
void ask(Cert &cert) {
  KwPkiStatus status = KWPKI_FAILED;
  uint8_t *der = nullptr;
  const uint8_t *shown = nullptr;
  uint32_t size = 0;
  char *text = nullptr;
  const size_t what = below(5);
  if (what == 0) {
    status = KwPkiCertGetBer(cert.handle, &shown, one_in(8) ? nullptr : &size);
    require(status != KWPKI_OK || ssh_bytes_equal({shown, size}, *cert.ber));
    if (status == KWPKI_OK) cert.shown.emplace_back(shown, *cert.ber);
  } else if (what == 1) {
    KwPkiPublicKey key = pick(public_keys).handle;
    status = KwPkiCertGetPublicKey(cert.handle, key);
    require(status != KWPKI_OK || (key->data && key->length > 0));
  } else if (what == 2) {
    status = KwPkiCertGetSubjectDNDer(cert.handle, one_in(8) ? nullptr : &der, &size);
  } else {
    const auto get = what == 3 ? KwPkiCertGetSubjectDN : KwPkiCertGetSerialNumber;
    status = get(cert.handle, one_in(8) ? nullptr : &text);
  }
  require(cert.ber || status == KWPKI_FAILED);
  require((status == KWPKI_OK) == (what < 2 ? status == KWPKI_OK : der || text));
  keep(der);
  keep(text);
}
void ask_cert() { ask(pick(certs)); }
void ask_listed() {
  Cert cert{KwPkiCertListCurrent(pick(lists).handle), {}, {}};
  const uint8_t *data = nullptr;
  uint32_t size = 0;
  if (KwPkiCertGetBer(cert.handle, &data, &size) == KWPKI_OK) cert.ber.emplace(data, data + size);
  ask(cert);
}

void read_file() {
  const bool armoured = one_in(2), sample = one_in(2);
  const std::string armour = std::string("-\n") + kCrl + "\n-\n";
  const Octets content = sample ? Octets(armour.begin(), armour.end()) : octets();
  const MemoryFile file(content);
  if (one_in(2)) {
    KwPkiCrl handle = pick(crls).handle;
    const KwPkiStatus status = KwPkiCrlReadFromFile(file.name(), handle);
    return require(handle ? !sample || status == KWPKI_OK : status == KWPKI_FAILED);
  }
  uint8_t *data = nullptr;
  uint32_t size = 0;
  const bool good = !one_in(8);
  const KwPkiStatus status = KwPkiReadFile(file.name(), armoured, &data, good ? &size : nullptr);
  require(status == (data ? KWPKI_OK : KWPKI_FILE_UNREADABLE));
  if (good && (sample || !armoured)) {
    require(ssh_bytes_equal({data, size}, armoured ? unbase64(kCrl) : content));
  }
  keep(data);
}

void add_key() {
  static constexpr KwPkiStatus (*kTexts[])(const char *, uint32_t, KwPkiSearchKey) = {
      KwPkiSearchKeySetDN, KwPkiSearchKeySetDNS, KwPkiSearchKeySetEmail, KwPkiSearchKeySetURI,
      KwPkiSearchKeySetOID};
  Keys &set = pick(key_sets);
  const size_t type = below(8);
  Octets data = octets();
  KwPkiStatus status = KWPKI_FAILED;
  if (type < std::size(kTexts)) {
    const uint32_t size = one_in(2) ? length(data) : 0;
    data.push_back(0);
    const auto *text = reinterpret_cast<const char *>(data.data());
    status = kTexts[type](one_in(8) ? nullptr : text, size, set.handle);
  } else if (type == 5) {
    status = KwPkiSearchKeySetPublicKey(pick(public_keys).handle, set.handle);
    if (status == KWPKI_KEY_FAILED && set.handle) return;
  } else if (type == 6) {
    status = KwPkiSearchKeySetIP(data.data(), length(data), set.handle);
    require((status == KWPKI_OK) == (set.handle != nullptr));
  } else {
    status = KwPkiSearchKeySetDNDer(data.data(), length(data), set.handle);
  }
  require(status == KWPKI_FAILED || (status == KWPKI_OK && set.handle));
  set.any = set.any || status == KWPKI_OK;
}

void set_search() {
  static constexpr KwPkiStatus (*kStores[])(uint32_t, KwPkiSearch) = {
      KwPkiSearchSetKeyType, KwPkiSearchSetKeyUsage, KwPkiSearchSetPathLength, KwPkiSearchSetRule};
  Search &search = pick(searches);
  const size_t what = below(8);
  const uint32_t value = number();
  if (what < 6) {
    const KwPkiStatus status = what < 4    ? kStores[what](value, search.handle)
                               : what == 4 ? KwPkiSearchSetGroupModeOn(search.handle)
                                           : KwPkiSearchSetUnixTime(value, ~value, search.handle);
    return require(status == (search.handle ? KWPKI_OK : KWPKI_FAILED));
  }
  const Keys &set = pick(key_sets);
  const bool takes = set.handle && search.handle && !search.has_keys;
  require(KwPkiSearchSetKeys(set.handle, search.handle) == (takes ? KWPKI_OK : KWPKI_FAILED));
  search.has_keys = search.has_keys || (takes && set.any);
}

// walk takes a step in a list, or asks for what its service said.
void walk() {
  static constexpr KwPkiCert (*kSteps[])(KwPkiCertList) = {KwPkiCertListCurrent, KwPkiCertListFirst,
                                                           KwPkiCertListLast, KwPkiCertListNext,
                                                           KwPkiCertListPrev};
  List &list = pick(lists);
  const size_t count = list.certs.size(), step = below(6);
  if (step == std::size(kSteps)) {
    uint32_t state = 0;
    char *text = nullptr;
    require(KwPkiGetSearchState(list.handle, one_in(8) ? nullptr : &state, &text) == text);
    require(KwPkiCertListIsEmpty(list.handle) == (count == 0));
    return keep(text);
  }
  const size_t leads[] = {list.at, 0, count - 1, list.at + 1, list.at - 1};
  const bool stays = leads[step] >= count;  // also before the first
  if (!stays) list.at = leads[step];
  require(kSteps[step](list.handle) == (stays ? nullptr : list.certs[list.at]));
}

// answered gives the reply that a callback is called for, once.
const Message &answered(void *context, Form form, uint32_t status) {
  auto &request = *static_cast<Request *>(context);
  require(request.reply && form_of(request.type) == form && request.reply->status == status);
  return *std::exchange(request.reply, nullptr);
}
constexpr uint32_t kStepsInside = 4;  // of the program, in a callback

void on_status(void *context, uint32_t status) {
  (void)answered(context, kStatus, status);
  run(kStepsInside);
}
void on_list(void *context, uint32_t status, KwPkiCertList handle) {
  require(answered(context, kList, status).list_fits() == (handle != nullptr));
  require(!KwPkiCertListCurrent(handle) && !KwPkiCertListNext(handle));
  List &list = pick(lists);
  release<KwPkiCertListFree>(list);
  list.handle = handle;
  for (KwPkiCert cert = KwPkiCertListLast(handle); cert; cert = KwPkiCertListPrev(handle)) {
    list.certs.insert(list.certs.begin(), cert);
  }
  run(kStepsInside);
}
void on_names(void *context, uint32_t status, const char *const *names, const uint32_t *lengths,
              uint32_t count) {
  require(answered(context, kNames, status).names() == count);
  require((names && lengths) == (count > 0));
  for (const uint32_t steps : {kStepsInside, 0u}) {  // they stay, whatever happens meanwhile
    for (uint32_t i = 0; i < count; ++i) require(names[i][lengths[i]] == 0);
    run(steps);
  }
}
void on_data(void *context, uint32_t status, uint8_t *data, uint32_t size) {
  require(data && ssh_bytes_equal({data, size}, answered(context, kData, status).payload));
  keep(data);
  run(kStepsInside);
}

// call makes a request and says whether its arguments are good. All are of the program, whatever
// the type.
KwPkiStatus call(Request &request, bool *good) {
  const auto on = [&](auto callback) { return request.silent ? nullptr : callback; };
  const Octets data = octets();
  const KwPkiBlock block = {data.data(), one_in(4) ? 1 : length(data)};
  const KwPkiBlock *const given = one_in(8) ? nullptr : &block;
  const char *const texts[] = {"", "a", nullptr, one_in(2) ? "CN=b" : nullptr};
  const char *const *const names = one_in(8) ? nullptr : texts;
  KwPkiSearch first = pick(searches).handle, second = pick(searches).handle;
  KwPkiValidity validity = pick(validities).handle;
  KwPkiCert cert = pick(certs).handle;
  KwPkiCrl crl = pick(crls).handle;
  const bool fits = given && names && (block.data || block.length == 0);
  const bool goods[] = {
      cert != nullptr, crl != nullptr, first != nullptr, first && second, true, fits, true,
      names != nullptr};
  *good = goods[request.type];
  if (*good) request.id = std::exchange(next_id, (next_id + 1) % 0x7FFFFFFF);
  const auto status = on(on_status);
  const auto list = on(on_list);
  void *const agent = &posting;
  return request.type == 0   ? KwPkiCertAddAsync(cert, status, &request, 1, agent)
         : request.type == 1 ? KwPkiCrlAddAsync(crl, status, &request, agent)
         : request.type == 2 ? KwPkiSearchAsync(first, validity, list, &request, agent)
         : request.type == 3 ? KwPkiSearchPathAsync(first, second, validity, list, &request, agent)
         : request.type == 4 ? KwPkiCaNamesAsync(on(on_names), &request, agent)
         : request.type == 5 ? KwPkiCertRequestAsync(given, names, "b", status, &request, agent)
         : request.type == 6 ? KwPkiStatusAsync(on(on_data), &request, agent)
                             : KwPkiCertRequestRemoveAsync(names, status, &request, agent);
}
void make_request() {
  Request &request = requests.emplace_back();
  request.type = octet() % kTypes;
  request.silent = one_in(8);
  Request *const outer = std::exchange(posting, &request);
  bool good = false;
  const KwPkiStatus status = call(request, &good);
  posting = outer;
  require(status == (good ? request.answer : KWPKI_NOT_POSTED));
  if (!good) requests.pop_back();
}

Octets list_payload() {
  Octets payload;
  const uint32_t count = octet() % 4;
  for (const uint32_t value : {count, 0u, number()}) put(payload, value);
  put(payload, octets());
  for (uint32_t left = count; left > 0; --left) {
    put(payload, one_in(8) ? number() : 0);
    put(payload, cert_encoding());
    put(payload, number());
    const uint32_t keys = octet() % 3;
    put(payload, keys);
    for (uint32_t i = 0; i < keys; ++i) {
      put(payload, octet() % 16);
      put(payload, octets());
      put(payload, 0u);
    }
    for (int i = 0; i < 2; ++i) put(payload, number());
  }
  return payload;
}
Octets names_payload() {
  Octets payload;
  const uint32_t count = octet() % 4;
  put(payload, one_in(8) ? number() : count);
  for (uint32_t i = 0; i < count; ++i) put(payload, octets());
  if (one_in(4)) put(payload, number());
  return payload;
}

// make_reply makes a reply to any request: open or not, of its type or another, whole or cut.
Octets make_reply() {
  if (one_in(8)) return last_reply;
  uint32_t id = number(), type = octet() % kTypes;
  if (!requests.empty() && !one_in(8)) {
    const Request &request = requests[requests.size() - 1 - below(requests.size())];
    id = request.id;
    if (!one_in(8)) type = request.type;
  }
  const Form form = one_in(8) ? kNone : form_of(type);
  const uint32_t status = one_in(4) ? number() : 0;
  Octets body;
  for (const uint32_t value : {1u, id, type, status, 0u}) put(body, value);
  put(body, form == kList ? list_payload() : form == kNames ? names_payload() : octets());
  if (one_in(8)) body.resize(below(body.size()));
  return body;
}

// process gives a reply to the library. The callback is called if the reply is for an open request.
void process(const Octets &body) {
  const Message message(body);
  Request *called = nullptr;
  for (Request &request : requests) {
    if (!message.whole || !request.open || request.id != message.id) continue;
    request.open = false;
    const bool fits = form_of(message.type) == form_of(request.type) &&
                      (form_of(message.type) != kNames || message.names_fit());
    if (fits && !request.silent) called = &request;
  }
  if (called) called->reply = &message;
  const KwPkiStatus status = KwPkiProcessAsyncResponce(body.data(), length(body));
  require(status == (called ? KWPKI_OK : KWPKI_FAILED));
  require(!called || !called->reply);
}
void reply() {
  last_reply = make_reply();
  process(Octets(last_reply));
}

uint32_t depth = 0, steps_left = 0;

void run(uint32_t steps) {
  static constexpr void (*kSteps[])() = {
      toggle<KwPkiCertAllocate, free_cert, certs>,
      toggle<KwPkiCrlAllocate, KwPkiCrlFree, crls>,
      toggle<KwPkiSearchKeyAllocate, KwPkiSearchKeyFree, key_sets>,
      toggle<KwPkiSearchAllocate, KwPkiSearchFree, searches>,
      toggle<KwPkiValidityAllocate, KwPkiValidityFree, validities>,
      toggle<KwPkiPublicKeyAllocate, KwPkiPublicKeyFree, public_keys>,
      free_list,
      free_block,
      set_cert,
      set_crl,
      ask_cert,
      ask_listed,
      read_file,
      add_key,
      set_search,
      walk,
      make_request,
      reply,
  };
  constexpr uint32_t kDeepest = 3;
  if (depth == kDeepest) return;
  ++depth;
  for (; steps > 0 && steps_left > 0 && !rest.empty(); --steps, --steps_left) {
    kSteps[below(std::size(kSteps))]();
  }
  --depth;
}

// finish answers what is open and frees what is left.
void finish() {
  rest = {};
  for (const Request &request : requests) {
    Octets body;
    for (const uint32_t value : {1u, request.id, request.type, 1u, 0u, 0u}) put(body, value);
    process(body);
    require(!request.open);
  }
  requests.clear();
  last_reply.clear();
  for (auto &slot : certs) release<free_cert>(slot);
  for (auto &slot : crls) release<KwPkiCrlFree>(slot);
  for (auto &slot : key_sets) release<KwPkiSearchKeyFree>(slot);
  for (auto &slot : searches) release<KwPkiSearchFree>(slot);
  for (auto &slot : validities) release<KwPkiValidityFree>(slot);
  for (auto &slot : public_keys) release<KwPkiPublicKeyFree>(slot);
  for (auto &slot : lists) release<KwPkiCertListFree>(slot);
  while (!blocks.empty()) free_block();
}

constexpr uint32_t kAgentSuccess = 0x4000000;
int policies = 0, messages = 0;  // made and not given back

}  // namespace

// The agent. It is given the message of the request that is being posted; each of its functions
// that can fail does so once in eight times.
extern "C" {
uint32_t ZrpCreatePolicyOID(const char *, void **handle) {
  if (one_in(8)) return 1;
  ++policies;
  *handle = &policies;
  return 0;
}
uint32_t ZrpClose(void *handle) {
  if (handle) --policies;
  return 0;
}
void *KWMACreateMessage(uint32_t) {
  posting->answer = KWPKI_NOT_POSTED;
  if (one_in(8)) return nullptr;
  ++messages;
  return posting;
}
uint32_t KWMASetMessageData(void *handle, const void *data, uint32_t size) {
  const Message message({static_cast<const uint8_t *>(data), size});
  require(handle == posting && message.whole && message.payload.size() == size - 24);
  require(message.id == posting->id && message.type == posting->type && message.status == 999);
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
uint32_t KWMADeleteMessage(void *handle) {
  require(handle == posting);
  --messages;
  return 0;
}
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const Balance balance;
  rest = {data, size};
  steps_left = 256;
  ssh_x509_set_profile(one_in(2) ? SSH_X509_MODERN : SSH_X509_CLASSIC);
  run(steps_left);
  finish();
  require(policies == 0 && messages == 0);
  return 0;
}
