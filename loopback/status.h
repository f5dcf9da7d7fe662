// What the certificate service answers with. A further status is a name here and a text in
// status.cc. Clients need no more of the service than this.
#pragma once

#include <cstdint>

namespace loopback {

// ServiceStatus is the status of a reply.
enum ServiceStatus : uint32_t {
  kOk = 0,
  kMalformed = 1,    // the request does not decode, or is of another version
  kUnknownType = 2,  // no such request
  kUndecodable = 3,  // the certificate or CRL is none that the library reads
  kNotFound = 4,     // no certificate request has these names
  kUnknownRule = 5,  // the rule of a search has no meaning
  kTooLarge = 6,     // too many keys, or the answer does not fit into a reply
  kStoreBusy = 7,    // another process kept the store locked for ten seconds, or changed it
  kStoreFailed = 8,  // the store could not be read or written
  kOutOfMemory = 9,
  kStoreReadOnly = 10,  // the store may only be read
  kServiceStatuses = 11,
};

// service_status_text says what a status means, in static text; null for one that is none of these.
[[nodiscard]] const char *service_status_text(uint32_t status);

}  // namespace loopback
