// Any bytes as a request to the certificate service, over two certificates in memory. Whatever has
// the five numbers of an envelope is answered under its own identifier and type, with a status that
// means something, and with nothing behind a failure.
#include "loopback/service.h"

#include <memory>

#include "api/envelope.h"
#include "samples.h"
#include "support/wire.h"

namespace {

std::unique_ptr<loopback::Service> filled_service() {
  auto service = std::make_unique<loopback::Service>(nullptr);
  for (const char *text : kCertificates) {
    SshBuffer reply;
    const Der add = wire::join({wire::u32(0), wire::str(Bytes(unbase64(text)))});
    require(service->answer(wire::request(0, 0, add), reply));
    require(ssh_load_be32(ssh_buffer_ptr(reply) + 12) == loopback::kOk);
  }
  return service;
}

// changes_store is true for the requests after which the same answer would not come again.
bool changes_store(uint32_t type) { return type < 2 || type == 5 || type == 7; }

// What only reads asks one service, which stays.
loopback::Service &kept = *filled_service().release();

}  // namespace

void check_input(Bytes input) {
  SshBuffer reply;
  const bool fresh = input.size() >= 20 && changes_store(ssh_load_be32(&input[8]));
  const auto own = fresh ? filled_service() : nullptr;
  const bool answered = (fresh ? *own : kept).answer(input, reply);
  require(answered == (input.size() >= 20));
  if (!answered) return;

  ReplyEnvelope envelope;
  const Bytes octets = ssh_buffer_bytes(reply);
  require(reply_envelope_decode(octets, &envelope));
  const auto [id, type, status, payload] = envelope;
  require(octets.size() == 24 + payload.size());
  require(ssh_load_be32(&octets[0]) == 1 && ssh_load_be32(&octets[16]) == 0);
  require(id == ssh_load_be32(&input[4]) && type == ssh_load_be32(&input[8]));
  require(loopback::service_status_text(status) != nullptr && status < loopback::kStoreBusy);
  if (status != loopback::kOk) require(payload.empty());
  if (status == loopback::kOk && (type == 2 || type == 3))
    require(payload.size() >= 16 && ssh_load_be32(&payload[0]) <= 2);
}
