// The management agent's four functions and those of kwloopback.h. An agent is a queue of requests
// that were posted, and a service that answers them when somebody receives. Handles of agents are
// looked up before they are used, so that one that is not open is an error and no crash.
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>

#include "loopback/host.h"
#include "loopback/kwloopback.h"
#include "loopback/service.h"

namespace {

// Data is what a message carries. Its block wipes itself.
struct Data {
  SshBlock block;
  size_t length = 0;

  explicit operator bool() const { return block != nullptr; }
  [[nodiscard]] Bytes bytes() const { return {block.get(), length}; }
};

// copy_of copies bytes into a block of the library's, which ends the process where memory runs out,
// as the library itself does.
Data copy_of(Bytes octets) {
  return {SshBlock(static_cast<uint8_t *>(ssh_xmemdup(octets.data(), octets.size()))),
          octets.size()};
}

struct Message {
  Data data;
};

}  // namespace

struct KwLoopbackAgent {
  explicit KwLoopbackAgent(const char *path) : service(path) {}

  // take removes the oldest request and returns it; nothing if there is none.
  Data take() {
    const std::lock_guard lock(mutex);
    if (queue.empty()) return {};
    Data data = std::move(queue.front());
    queue.pop_front();
    return data;
  }

  loopback::Service service;
  std::mutex mutex;  // of the queue
  std::deque<Data> queue;
};

namespace {

using Agent = std::shared_ptr<KwLoopbackAgent>;

// Agents holds those that are open. A call that uses one keeps it while another thread closes it.
class Agents {
 public:
  void add(Agent agent) {
    const std::lock_guard lock(mutex_);
    void *handle = agent.get();
    agents_.emplace(handle, std::move(agent));
  }
  Agent find(void *handle) {
    const std::lock_guard lock(mutex_);
    const auto at = agents_.find(handle);
    return at == agents_.end() ? nullptr : at->second;
  }
  Agent remove(void *handle) {
    const std::lock_guard lock(mutex_);
    const auto node = agents_.extract(handle);
    return node ? node.mapped() : nullptr;
  }

 private:
  std::mutex mutex_;
  std::unordered_map<void *, Agent> agents_;
};

// agents gives the table of open agents. It is never destroyed, since threads may post while the
// process ends.
Agents &agents() {
  static Agents &all = *new Agents;
  return all;
}

uint32_t post(KwLoopbackAgent &agent, Bytes octets) {
  Data data = copy_of(octets);
  const std::lock_guard lock(agent.mutex);
  agent.queue.push_back(std::move(data));
  return KW_HOST_OK;
}

}  // namespace

void *KWPKI_CALL KWMACreateMessage(uint32_t kind) {
  return kind == KW_MESSAGE_KIND ? new (std::nothrow) Message : nullptr;
}

uint32_t KWPKI_CALL KWMASetMessageData(void *message, const void *data, uint32_t length) {
  if (!message || (!data && length > 0)) return KW_HOST_BAD_ARGUMENT;
  if (length > KW_MESSAGE_MAX) return KW_HOST_TOO_LARGE;
  static_cast<Message *>(message)->data = copy_of({static_cast<const uint8_t *>(data), length});
  return KW_HOST_OK;
}

uint32_t KWPKI_CALL KWMAPostMessage(void *agent, void *policy_oid, void *message, uint32_t) {
  if (!policy_oid || !message) return KW_HOST_BAD_ARGUMENT;
  const Data &data = static_cast<Message *>(message)->data;
  if (!data) return KW_HOST_BAD_ARGUMENT;
  const Agent open = agents().find(agent);
  if (!open) return KW_HOST_NO_AGENT;
  try {
    return post(*open, data.bytes());
  } catch (const std::bad_alloc &) {
    return KW_HOST_OUT_OF_MEMORY;
  }
}

uint32_t KWPKI_CALL KWMADeleteMessage(void *message) {
  if (!message) return KW_HOST_BAD_ARGUMENT;
  delete static_cast<Message *>(message);
  return KW_HOST_OK;
}

const char *KwLoopbackOpen(const char *path, KwLoopbackAgent **agent) {
  static thread_local std::string message;
  if (!agent) return "there is no place for the agent";
  *agent = nullptr;
  try {
    const Agent opened = std::make_shared<KwLoopbackAgent>(path);
    agents().add(opened);
    *agent = opened.get();
    return nullptr;
  } catch (const std::bad_alloc &) {
    return "out of memory";
  } catch (const std::exception &error) {
    message = error.what();
    return message.c_str();
  }
}

int KwLoopbackReceive(KwLoopbackAgent *agent, uint8_t **data, uint32_t *length) {
  const Agent open = agents().find(agent);
  if (!open || !data || !length) return 0;
  while (const Data request = open->take()) {
    SshBuffer reply;
    if (!open->service.answer(request.bytes(), reply)) continue;
    *length = ssh_buffer_len(reply);
    *data = static_cast<uint8_t *>(ssh_xmemdup(ssh_buffer_ptr(reply), *length));
    return 1;
  }
  return 0;
}

int KwLoopbackPeek(KwLoopbackAgent *agent, const uint8_t **data, uint32_t *length) {
  const Agent open = agents().find(agent);
  if (!open || !data || !length) return 0;
  const std::lock_guard lock(open->mutex);
  if (open->queue.empty()) return 0;
  const Bytes request = open->queue.front().bytes();
  *data = request.data();
  *length = static_cast<uint32_t>(request.size());
  return 1;
}

void KwLoopbackFree(uint8_t *data, uint32_t length) {
  if (data) ssh_wipe(data, length);
  ssh_xfree(data);
}

void KwLoopbackClose(KwLoopbackAgent *agent) { (void)agents().remove(agent); }
