// The certificate service: answers one request from the store. A further request is a row of the
// table in service.cc.
#pragma once

#include "loopback/status.h"
#include "loopback/store.h"

namespace loopback {

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
