#include "api/agent.h"

#include <atomic>

namespace {

// The values that every host's agent knows.
constexpr uint32_t kMessageKind = 0x20090001;  // the kind of every message here
constexpr uint32_t kAgentSuccess = 0x4000000;  // what its functions return for success
constexpr uint32_t kWaitLimit = 2000;          // milliseconds that a post may wait for the agent

// HostFunction is one function of the host, which is looked up when it is first needed and then
// remembered. What was not found is looked up again the next time: the host may load its agent
// later. Two threads that look at the same time find the same address, so either may store it.
template <class Type>
class HostFunction {
 public:
  constexpr HostFunction(const char *library, const char *name) : library_(library), name_(name) {}

  Type *get() {
    void *address = address_.load(std::memory_order_acquire);
    if (!address) {
      address = find_host_function(library_, name_);
      address_.store(address, std::memory_order_release);
    }
    return reinterpret_cast<Type *>(address);
  }

 private:
  const char *library_;
  const char *name_;
  std::atomic<void *> address_{nullptr};
};

constexpr const char *kAgentLibrary = "KWMA32";
constexpr const char *kPolicyLibrary = "KWPMAPI";

HostFunction<uint32_t KWPKI_CALL(const char *text, void **handle)> create_policy_oid(
    kPolicyLibrary, "ZrpCreatePolicyOID");
HostFunction<uint32_t KWPKI_CALL(void *handle)> close_policy_oid(kPolicyLibrary, "ZrpClose");
HostFunction<void * KWPKI_CALL(uint32_t kind)> create_message(kAgentLibrary, "KWMACreateMessage");
HostFunction<uint32_t KWPKI_CALL(void *message, const void *data, uint32_t length)>
    set_message_data(kAgentLibrary, "KWMASetMessageData");
HostFunction<uint32_t KWPKI_CALL(void *agent, void *policy_oid, void *message, uint32_t wait_ms)>
    post_message(kAgentLibrary, "KWMAPostMessage");
HostFunction<uint32_t KWPKI_CALL(void *message)> delete_message(kAgentLibrary, "KWMADeleteMessage");

bool agent_is_there() {
  return create_policy_oid.get() && close_policy_oid.get() && create_message.get() &&
         set_message_data.get() && post_message.get() && delete_message.get();
}

}  // namespace

KwPkiStatus request_post(void *agent, Bytes request) {
  if (!agent_is_there()) return KWPKI_NOT_POSTED;

  void *policy = nullptr;
  (void)create_policy_oid.get()(KWPKI_POLICY_OID, &policy);  // without one the post is refused
  void *message = create_message.get()(kMessageKind);
  if (!message) {
    (void)close_policy_oid.get()(policy);
    return KWPKI_NOT_POSTED;
  }
  const auto length = static_cast<uint32_t>(request.size());  // at most KWPKI_PAYLOAD_MAX + 24
  const uint32_t set = set_message_data.get()(message, request.data(), length);
  const bool posted = set == kAgentSuccess &&
                      post_message.get()(agent, policy, message, kWaitLimit) == kAgentSuccess;
  (void)close_policy_oid.get()(policy);
  (void)delete_message.get()(message);
  // The agent's own status passes through in this one case, deliberately: hosts look at it.
  if (set != kAgentSuccess) return set;
  return posted ? KWPKI_OK : KWPKI_NOT_POSTED;
}
