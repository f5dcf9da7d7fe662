// Eight threads that make requests and process each other's replies: every callback is called once
// and no identifier is issued twice. What else may go wrong is ThreadSanitizer's to see.
#include <atomic>
#include <deque>
#include <set>
#include <thread>

#include "api/host.h"

namespace {

using host::Agent;

constexpr size_t kThreads = 8;
constexpr size_t kRequests = 400;  // of each thread

// Slot is the context of one request.
struct Slot {
  std::atomic<int> calls{0};
  static void KWPKI_CALL on_status(void *context, uint32_t) {
    ++static_cast<Slot *>(context)->calls;
  }
  static void KWPKI_CALL on_list(void *context, uint32_t, KwPkiCertList list) {
    ++static_cast<Slot *>(context)->calls;
    EXPECT_EQ(KwPkiCertListIsEmpty(list), 0u);
    EXPECT_EQ(KwPkiCertListFree(list), KWPKI_OK);
  }
};

// Replies are what waits to be processed, by whoever comes first.
class Replies {
 public:
  void push(Der reply) {
    const std::lock_guard guard(mutex_);
    waiting_.push_back(std::move(reply));
  }
  bool process_one() {
    Der reply;
    {
      const std::lock_guard guard(mutex_);
      if (waiting_.empty()) return false;
      reply = std::move(waiting_.front());
      waiting_.pop_front();
    }
    EXPECT_EQ(host::process(reply), KWPKI_OK);
    return true;
  }

 private:
  std::mutex mutex_;
  std::deque<Der> waiting_;
};

void work(Replies &replies, std::vector<Slot> &slots, Agent &agent) {
  const host::Search search;
  const char *names[4] = {"a", "b", "c", "d"};
  const Der list = wire::list(1, {wire::element(sample::CertParts().build())});
  for (size_t i = 0; i < slots.size(); ++i) {
    const bool searching = i % 2 == 0;
    const KwPkiStatus posted =
        searching ? KwPkiSearchAsync(search, nullptr, Slot::on_list, &slots[i], &agent)
                  : KwPkiCertRequestRemoveAsync(names, Slot::on_status, &slots[i], &agent);
    EXPECT_EQ(posted, KWPKI_OK);
    replies.push(
        wire::envelope(host::id(agent.last()), searching ? 2 : 7, 0, searching ? list : Der()));
    if (i % 3 != 0) replies.process_one();
  }
  while (replies.process_one()) continue;
}

TEST(ApiThreadsTest, RequestsAndRepliesCross) {
  const int64_t blocks = ssh_mem_blocks();
  Replies replies;
  std::vector<Agent> agents(kThreads);
  std::vector<std::vector<Slot>> slots;
  std::vector<std::thread> threads;
  for (size_t i = 0; i < kThreads; ++i) slots.emplace_back(kRequests);
  for (size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] { work(replies, slots[i], agents[i]); });
  }
  for (std::thread &thread : threads) thread.join();

  std::set<uint32_t> ids;
  for (const Agent &agent : agents) {
    for (const Der &message : agent.posted) ids.insert(host::id(message));
  }
  EXPECT_EQ(ids.size(), kThreads * kRequests);
  size_t once = 0;
  for (const auto &own : slots) {
    for (const Slot &slot : own) once += slot.calls == 1;
  }
  EXPECT_EQ(once, kThreads * kRequests);
  EXPECT_EQ(ssh_mem_blocks(), blocks);
}

}  // namespace
