// Posting: the agent's calls in their order, its failures one by one, and the six functions
// themselves.
#include "api/agent.h"

#include <atomic>

#include "api/host.h"

namespace host {

thread_local Faults faults;
thread_local bool logging = false;
thread_local std::vector<std::string> call_log;
std::atomic<int> things{0};

int live() { return things; }

namespace {

struct Message {
  Der data;
};

void log(const std::string &call) {
  if (logging) call_log.push_back(call);
  if (faults.leave && call.starts_with(faults.leave_at)) faults.leave();
}

std::string number(uint32_t value) { return std::to_string(value); }

}  // namespace
}  // namespace host

extern "C" {

uint32_t KWPKI_CALL ZrpCreatePolicyOID(const char *text, void **handle) {
  host::log(std::string("policy ") + text);
  ++host::things;
  *handle = new std::string(text);
  return 0x80000001;  // its result means nothing
}

uint32_t KWPKI_CALL ZrpClose(void *handle) {
  host::log("close");
  --host::things;
  delete static_cast<std::string *>(handle);
  return 0x80000001;
}

void *KWPKI_CALL KWMACreateMessage(uint32_t kind) {
  host::log("create " + host::number(kind));
  if (host::faults.create) return nullptr;
  ++host::things;
  return new host::Message;
}

uint32_t KWPKI_CALL KWMASetMessageData(void *message, const void *data, uint32_t length) {
  host::log("set " + host::number(length));
  const auto *octets = static_cast<const uint8_t *>(data);
  static_cast<host::Message *>(message)->data.assign(octets, octets + length);
  return host::faults.set;
}

uint32_t KWPKI_CALL KWMAPostMessage(void *agent, void *policy_oid, void *message,
                                    uint32_t wait_ms) {
  host::log("post " + *static_cast<std::string *>(policy_oid) + " " + host::number(wait_ms));
  if (host::faults.post != 0x4000000 || !agent) return host::faults.post;
  auto &queue = *static_cast<host::Agent *>(agent);
  const Der &request = static_cast<host::Message *>(message)->data;
  const std::lock_guard guard(queue.mutex);
  queue.posted.push_back(request);
  return host::faults.post;
}

uint32_t KWPKI_CALL KWMADeleteMessage(void *message) {
  host::log("delete");
  --host::things;
  delete static_cast<host::Message *>(message);
  return 0x80000001;
}

}  // extern "C"

namespace {

using host::Agent;
using host::Calls;
using ApiAgentTest = sample::Balanced;

constexpr char kPolicy[] = "policy 1.3.6.1.4.1.32473.11.1.16";
constexpr char kCreate[] = "create 537460737";  // 0x20090001
constexpr char kPost[] = "post 1.3.6.1.4.1.32473.11.1.16 2000";

TEST_F(ApiAgentTest, CallsInOrderAndEveryFailure) {
  const std::vector<std::string> whole = {kPolicy, kCreate, "set 24", kPost, "close", "delete"},
                                 no_data = {kPolicy, kCreate, "set 24", "close", "delete"};
  const struct {
    const char *why;
    host::Faults faults;
    std::vector<std::string> calls;
    KwPkiStatus status;
  } rows[] = {
      {"all well", {}, whole, KWPKI_OK},
      {"no message", {.create = true}, {kPolicy, kCreate, "close"}, KWPKI_NOT_POSTED},
      {"no data: the agent's own status", {.set = 0xDEAD0001}, no_data, 0xDEAD0001},
      {"no data: even if that status is 0", {.set = 0}, no_data, 0},
      {"no post", {.post = 0x84000000}, whole, KWPKI_NOT_POSTED},
      {"a post that returns 0 failed", {.post = 0}, whole, KWPKI_NOT_POSTED},
  };
  Agent agent;
  uint32_t last = host::post(4, nullptr, agent);
  EXPECT_EQ(host::answer(last, 4), KWPKI_FAILED) << "a null callback is called for nothing";
  for (const auto &row : rows) {
    Calls calls;
    host::faults = row.faults;
    host::call_log.clear();
    host::logging = true;
    EXPECT_EQ(KwPkiStatusAsync(Calls::on_data, &calls, &agent), row.status) << row.why;
    host::logging = false;
    host::faults = {};
    EXPECT_EQ(host::call_log, row.calls) << row.why;
    EXPECT_EQ(host::live(), 0) << row.why;
    EXPECT_EQ(host::answer(++last, 6), KWPKI_OK)
        << row.why << ": a reply is delivered, whatever became of the post";
    EXPECT_EQ(calls.count, 1) << row.why;
  }
}

}  // namespace
