#include "util/lock.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>

TEST(LockThreads, AdmitOneAtATime) {
  constexpr int kRounds = 40000;
  SshLock lock;
  int count = 0;
  const auto work = [&] {
    for (int round = 0; round < kRounds; ++round) {
      const std::lock_guard guard(lock);
      ++count;
    }
  };
  std::thread one(work), other(work);
  one.join(), other.join();
  EXPECT_EQ(count, 2 * kRounds);

  const auto free_elsewhere = [&] {
    bool free = false;
    std::thread([&] {
      free = lock.try_lock();
      if (free) lock.unlock();
    }).join();
    return free;
  };
  EXPECT_TRUE(free_elsewhere());
  lock.lock();
  EXPECT_FALSE(free_elsewhere());
  lock.unlock();
  EXPECT_TRUE(free_elsewhere());
}
