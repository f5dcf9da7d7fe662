// Requests and replies: what encoding, keeping on record and posting costs through an agent that
// does nothing, what a reply costs beside the decode of its certificates, and the pending table
// with many open requests.
#include <benchmark/benchmark.h>

#include <map>
#include <unordered_map>
#include <vector>

#include "api/envelope.h"
#include "api/pending.h"
#include "api/reply_list.h"
#include "bench.h"
#include "inputs.h"
#include "util/wire.h"
#include "x509/cert.h"

namespace {

constexpr uint32_t kBatch = 1000;
constexpr uint32_t kLongList = 10000;
constexpr uint32_t kOpen = 1000000;
constexpr uint32_t kStatusType = 6;

uint32_t issued = 0;  // the identifier of the next request: nobody else makes any

// octets_of keeps an encoding for good.
Bytes octets_of(std::initializer_list<SshPut> fields) {
  uint8_t *block = nullptr;
  const uint32_t length = ssh_encode_alloc(&block, fields);
  return {block, length};
}

void on_list(void *, uint32_t, KwPkiCertList list) { (void)KwPkiCertListFree(list); }
void on_status(void *, uint32_t) {}

// The floor of a request is a copy of its bytes; this one has 24 and two keys.
Bytes search_request() {
  static const std::vector<uint8_t> octets(24 + 118, 0x5A);
  return octets;
}

bool request_floor(Bytes octets) {
  for (uint32_t i = 0; i < kBatch; ++i) {
    void *copy = ssh_xmemdup(octets.data(), octets.size());
    benchmark::DoNotOptimize(copy);
    ssh_xfree(copy);
  }
  return true;
}

bool request_ours(Bytes) {
  static const KwPkiSearch search = [] {
    KwPkiSearchKey key = KwPkiSearchKeyAllocate();
    KwPkiSearch made = KwPkiSearchAllocate();
    (void)KwPkiSearchKeySetDNS("gateway-17.example.com", 0, key);
    (void)KwPkiSearchKeySetEmail("someone@example.com", 0, key);
    (void)KwPkiSearchSetKeys(key, made);
    (void)KwPkiSearchKeyFree(key);
    return made;
  }();
  bool good = true;
  for (uint32_t i = 0; i < kBatch; ++i) {
    good = KwPkiSearchAsync(search, nullptr, on_list, nullptr, nullptr) == KWPKI_OK && good;
  }
  PendingRequest taken;
  for (uint32_t i = 0; i < kBatch; ++i) good = pending_take(issued++, &taken) && good;
  return good;
}

Bytes status_reply() {
  static const Bytes reply =
      octets_of({ssh_put_uint32(1), ssh_put_uint32(0), ssh_put_uint32(0), ssh_put_uint32(0),
                 ssh_put_uint32(0), ssh_put_uint32_str({})});
  return reply;
}

bool reply_ours(Bytes reply) {
  std::vector<uint8_t> octets(reply.begin(), reply.end());
  bool good = true;
  for (uint32_t i = 0; i < kBatch; ++i) {
    pending_add(i, {reinterpret_cast<KwPkiCallback>(on_status), nullptr, KWPKI_FORM_STATUS});
    ssh_store_be32(octets.data() + 4, i);
    good = KwPkiProcessAsyncResponce(octets.data(), static_cast<uint32_t>(octets.size())) ==
               KWPKI_OK &&
           good;
  }
  return good;
}

// certificate gives the i-th certificate of a list: all of the set in turn.
Bytes certificate(size_t i) {
  const std::span<const Bytes> set = ssh_bench_certificates();
  return set[i % set.size()];
}

// The payload of a search reply with so many certificates.
template <uint32_t Count>
Bytes list_payload() {
  static const Bytes payload = [] {
    SshBuffer buffer;
    ssh_encode_buffer(buffer, {ssh_put_uint32(Count), ssh_put_uint32(0), ssh_put_uint32(0),
                               ssh_put_uint32_str({})});
    for (uint32_t i = 0; i < Count; ++i) {
      ssh_encode_buffer(buffer,
                        {ssh_put_uint32(0), ssh_put_uint32_str(certificate(i)), ssh_put_uint32(i),
                         ssh_put_uint32(0), ssh_put_uint32(0), ssh_put_uint32(0)});
    }
    return octets_of({ssh_put_data(ssh_buffer_bytes(buffer))});
  }();
  return payload;
}

bool list_ours(Bytes payload) {
  KwPkiCertList list = reply_list_decode(payload);
  const bool good = !KwPkiCertListIsEmpty(list);
  (void)KwPkiCertListFree(list);
  return good;
}

template <uint32_t Count>
bool decode_alone(Bytes) {
  bool good = true;
  for (uint32_t i = 0; i < Count; ++i) {
    const SshX509CertOwner cert(ssh_x509_cert_allocate());
    good = ssh_x509_cert_decode(certificate(i), cert.get()) != 0 && good;
  }
  return good;
}

template <uint32_t Count>
bool decode_and_hold(Bytes) {
  std::vector<SshX509CertOwner> held;
  bool good = true;
  for (uint32_t i = 0; i < Count; ++i) {
    held.emplace_back(ssh_x509_cert_allocate());
    good = ssh_x509_cert_decode(certificate(i), held.back().get()) != 0 && good;
  }
  return good;
}

template <uint32_t Count>
bool list_floor(Bytes) {
  bool good = true;
  for (uint32_t i = 0; i < Count; ++i) good = ssh_bench_floor(certificate(i)) && good;
  return good;
}

Bytes nothing() { return search_request(); }

bool pending_ours(Bytes) {
  for (uint32_t i = 0; i < kOpen; ++i) pending_add(i, {nullptr, nullptr, KWPKI_FORM_STATUS});
  PendingRequest taken;
  bool good = true;
  for (uint32_t i = 0; i < kOpen; ++i) good = pending_take(i, &taken) && good;
  return good;
}

template <class Map>
bool pending_std(Bytes) {
  Map map;
  for (uint32_t i = 0; i < kOpen; ++i) map.try_emplace(i, PendingRequest{});
  for (uint32_t i = 0; i < kOpen; ++i) map.erase(map.find(i));
  return map.empty();
}

constexpr SshBenchCase kRequests[] = {
    {kBenchFloor, "a copy of the octets", request_floor},
    {kBenchOurs, "", request_ours},
};
constexpr SshBenchCase kReplies[] = {{kBenchOurs, "", reply_ours}};
template <uint32_t Count>
constexpr SshBenchCase kLists[] = {
    {kBenchFloor, "a copy of each and a loop over the headers", list_floor<Count>},
    {kBenchOurs, "", list_ours},
    {"decode", "no list: each certificate is freed before the next", decode_alone<Count>},
    {"decode-held", "no list", decode_and_hold<Count>},
};
constexpr SshBenchCase kPending[] = {
    {kBenchOurs, "", pending_ours},
    {"std-map", "no lock", pending_std<std::map<uint32_t, PendingRequest>>},
    {"std-unordered-map", "no lock", pending_std<std::unordered_map<uint32_t, PendingRequest>>},
};
static_assert(kStatusType == KWPKI_REQUEST_STATUS);

}  // namespace

void ssh_bench_add_request() {
  ssh_bench_add("request", search_request, kBatch, kRequests);
  ssh_bench_add("reply", status_reply, kBatch, kReplies);
  ssh_bench_add("search-reply-1000", list_payload<kBatch>, kBatch, kLists<kBatch>);
  ssh_bench_add("search-reply-10000", list_payload<kLongList>, kLongList, kLists<kLongList>);
  ssh_bench_add("pending-1000000", nothing, kOpen, kPending);
}
