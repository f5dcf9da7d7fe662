#include "util/lock.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

TEST(LockThreads, OneAtATime) {
  constexpr int kThreads = 4, kRounds = 20000;
  SshLock lock;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        const std::lock_guard guard(lock);
        ++count;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(count, kThreads * kRounds);
}

TEST(LockThreads, TryingDoesNotWait) {
  SshLock lock;
  const auto elsewhere = [&] {
    bool free = false;
    std::thread([&] {
      free = lock.try_lock();
      if (free) lock.unlock();
    }).join();
    return free;
  };
  EXPECT_TRUE(elsewhere());
  lock.lock();
  EXPECT_FALSE(elsewhere());
  lock.unlock();
  EXPECT_TRUE(elsewhere());
}
