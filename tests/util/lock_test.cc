#include "util/lock.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>

TEST(LockThreads, AdmitOneAtATime) {
  SshLock lock;
  int count = 0;
  const auto work = [&] {
    for (int round = 0; round < 40000; ++round) {
      const std::lock_guard guard(lock);
      ++count;
    }
  };
  std::thread one(work), other(work);
  one.join(), other.join();
  EXPECT_EQ(count, 2 * 40000);

  lock.lock();
  std::thread([&] { EXPECT_FALSE(lock.try_lock()); }).join();
  lock.unlock();
  EXPECT_TRUE(lock.try_lock());
  lock.unlock();
}
