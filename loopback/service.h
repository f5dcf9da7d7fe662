// The certificate service: answers one request from the store. A further request is a row of the
// table in service.cc; a further status a row of the one behind service_status_text.
#pragma once

#include "loopback/store.h"

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

// SearchState tells whether a list holds all that was found. If it does not, the text that comes
// with it says how much was left out.
enum SearchState : uint32_t { kComplete = 0, kCut = 1 };

// kReplyMax bounds the payload of a reply.
constexpr size_t kReplyMax = 0x4000000;

class Service {
 public:
  // Service opens the store at `path`, or one in memory if that is null. Throws StoreError.
  explicit Service(const char *path, size_t reply_max = kReplyMax)
      : store_(path), reply_max_(reply_max) {}

  // answer appends the reply to `reply`. False, with nothing appended, if there is nobody to reply
  // to: the request ends before its five numbers do. May be called by several threads at once.
  [[nodiscard]] bool answer(Bytes request, SshBuffer &reply) noexcept;

 private:
  template <class Request>
  friend uint32_t handle(Service &service, Bytes payload, Output &reply);

  uint32_t dispatch(const Envelope &envelope, Output &reply);
  uint32_t perform(const CertificateAdd &request, Output &reply);
  uint32_t perform(const CrlAdd &request, Output &reply);
  uint32_t perform(const Search &request, Output &reply);
  uint32_t perform(const PathSearch &request, Output &reply);
  uint32_t perform(const CaNames &request, Output &reply);
  uint32_t perform(const CertificateRequest &request, Output &reply);
  uint32_t perform(const StatusQuery &request, Output &reply);
  uint32_t perform(const RequestRemove &request, Output &reply);
  void encode_found(const std::vector<int64_t> &ids, Output &reply);

  Store store_;
  size_t reply_max_;
};

}  // namespace loopback
