// A search by DNS name in the loopback service's store, from the bytes of the request to those of
// the reply: in a store of 100 certificates and in one of 100,000.
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "api/envelope.h"
#include "bench.h"
#include "cm/search.h"
#include "inputs.h"
#include "loopback/service.h"
#include "util/wire.h"

namespace {

// numbered is the benchmarks' certificate with a name of its own.
std::vector<uint8_t> numbered(size_t number) {
  const Bytes der = ssh_bench_certificate();
  std::vector<uint8_t> octets(der.begin(), der.end());
  constexpr std::string_view kName = "gateway-17";
  char name[16];
  std::snprintf(name, sizeof name, "g-%08zu", number);
  for (size_t at = 0; at + kName.size() <= octets.size(); ++at) {
    if (std::memcmp(&octets[at], kName.data(), kName.size()) == 0) {
      std::memcpy(&octets[at], name, kName.size());
    }
  }
  return octets;
}

void envelope(SshBuffer &buffer, uint32_t type, Bytes payload) {
  ssh_encode_buffer(
      buffer, {ssh_put_uint32(1), ssh_put_uint32(0), ssh_put_uint32(type),
               ssh_put_uint32(KWPKI_NEW_REQUEST), ssh_put_uint32(0), ssh_put_uint32_str(payload)});
}

// filled is a service with so many certificates; it stays.
template <size_t Count>
loopback::Service &filled() {
  static const std::unique_ptr<loopback::Service> service = [] {
    auto made = std::make_unique<loopback::Service>(nullptr);
    for (size_t i = 0; i < Count; ++i) {
      SshBuffer payload, request;
      SshBuffer reply;
      ssh_encode_buffer(payload, {ssh_put_uint32(0), ssh_put_uint32_str(numbered(i))});
      envelope(request, KWPKI_REQUEST_CERT_ADD, ssh_buffer_bytes(payload));
      if (!made->answer(ssh_buffer_bytes(request), reply)) std::abort();
    }
    return made;
  }();
  return *service;
}

Bytes request() {
  static SshBuffer buffer;
  if (ssh_buffer_len(buffer) > 0) return ssh_buffer_bytes(buffer);
  constexpr std::string_view kKey = "g-00000077.example.com";
  SshBuffer payload;
  ssh_encode_buffer(
      payload,
      {ssh_put_uint32_str({}), ssh_put_uint32_str({}), ssh_put_uint32(1),
       ssh_put_uint32(SSH_CM_KEY_DNS), ssh_put_uint32_str(ssh_text_bytes(kKey)), ssh_put_uint32(0),
       ssh_put_uint32(0xFFFFFFFF), ssh_put_uint32(0), ssh_put_uint32(0), ssh_put_uint32(0),
       ssh_put_boolean(0), ssh_put_uint32(0), ssh_put_uint32_str({}), ssh_put_uint32_str({})});
  envelope(buffer, KWPKI_REQUEST_SEARCH, ssh_buffer_bytes(payload));
  return ssh_buffer_bytes(buffer);
}

// search is good if the reply says success and has room for one certificate.
template <size_t Count>
bool search(Bytes octets) {
  SshBuffer reply;
  if (!filled<Count>().answer(octets, reply)) return false;
  const Bytes answer = ssh_buffer_bytes(reply);
  return answer.size() > ssh_bench_certificate().size() && ssh_load_be32(&answer[12]) == 0 &&
         ssh_load_be32(&answer[24]) == 1;
}

constexpr SshBenchCase kSmall[] = {{kBenchOurs, "", search<100>}};
constexpr SshBenchCase kLarge[] = {{kBenchOurs, "", search<100000>}};

}  // namespace

void ssh_bench_add_store() {
  ssh_bench_add("store-search-100", request, 1, kSmall);
  ssh_bench_add("store-search-100000", request, 1, kLarge);
}
