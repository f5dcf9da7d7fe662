// Eight threads that make requests, process each other's replies and read the certificates in them:
// every callback is called once, no identifier is issued twice and every certificate says the same.
// What else may go wrong is ThreadSanitizer's to see.
#include <atomic>
#include <thread>

#include "api/host.h"

namespace {

constexpr size_t kThreads = 8;
constexpr size_t kRequests = 400;  // of each thread
using Count = std::atomic<int>;    // the context of one request: how often it was called

void KWPKI_CALL on_status(void *context, uint32_t) { ++*static_cast<Count *>(context); }
const Der kRich = sample::example("v3-rich.der");
std::vector<client::Result> alone;  // what its certificate says while there is one thread

void KWPKI_CALL on_list(void *context, uint32_t, KwPkiCertList list) {
  ++*static_cast<Count *>(context);
  EXPECT_EQ(client::all(KwPkiCertListFirst(list)), alone);
  EXPECT_EQ(KwPkiCertListFree(list), KWPKI_OK);
}

// Worker is what one thread asks, and how much of it was answered by another.
struct Worker {
  host::Agent agent;
  std::vector<Count> calls = std::vector<Count>(kRequests);
  size_t answered = 0;

  void ask(size_t i) {
    const host::Search search;
    const char *names[4] = {"a", "b", "c", "d"};
    EXPECT_EQ(i % 2 == 0 ? KwPkiSearchAsync(search, nullptr, on_list, &calls[i], &agent)
                         : KwPkiCertRequestRemoveAsync(names, on_status, &calls[i], &agent),
              KWPKI_OK);
  }
  bool answer() {
    static const Der list = wire::list(1, {wire::element(kRich)});
    Der request;
    {
      const std::lock_guard guard(agent.mutex);
      if (answered == agent.posted.size()) return false;
      request = agent.posted[answered++];
    }
    const uint32_t type = ssh_load_be32(&request[8]);
    EXPECT_EQ(host::answer(host::id(request), type, type == 2 ? list : Der()), KWPKI_OK);
    return true;
  }
};

using ApiThreadsTest = Balanced;

TEST_F(ApiThreadsTest, RequestsAndRepliesCross) {
  {
    const client::Cert cert;
    ASSERT_EQ(client::set(cert, kRich), KWPKI_OK);
    alone = client::all(cert);
  }
  std::vector<Worker> workers(kThreads);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (size_t i = 0; i < kRequests; ++i) {
        workers[t].ask(i);
        workers[(t + 1 + i % 2) % kThreads].answer();
      }
    });
  }
  for (std::thread &thread : threads) thread.join();

  std::set<uint32_t> ids;
  for (Worker &worker : workers) {
    while (worker.answer()) continue;
    for (const Der &message : worker.agent.posted) ids.insert(host::id(message));
    for (const Count &count : worker.calls) EXPECT_EQ(count, 1);
  }
  EXPECT_EQ(ids.size(), kThreads * kRequests);
}

}  // namespace
