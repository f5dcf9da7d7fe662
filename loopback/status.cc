#include "loopback/status.h"

#include <iterator>

namespace loopback {

namespace {

constexpr const char *kStatusTexts[] = {
    "success",
    "the request does not decode",
    "the type of request is unknown",
    "the certificate or CRL cannot be read",
    "there is no certificate request of these names",
    "the rule of the search has no meaning",
    "the search has too many keys, or its answer does not fit into a reply",
    "the store is locked or being changed by another process",
    "the store could not be read or written",
    "out of memory",
    "the store may only be read",
};
static_assert(std::size(kStatusTexts) == kServiceStatuses);

}  // namespace

const char *service_status_text(uint32_t status) {
  return status < kServiceStatuses ? kStatusTexts[status] : nullptr;
}

}  // namespace loopback
