// run_on_small_stack(work): runs `work` on a thread of 64 KiB of stack, or the least that the
// system allows (128 KiB on aarch64), so that whatever recurses over the depth of its input crashes
// here instead of at a user's.
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>

template <class Work>
void run_on_small_stack(Work work) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  long size = 64 * 1024;
#ifdef _SC_THREAD_STACK_MIN  // Windows has no least
  size = std::max(size, sysconf(_SC_THREAD_STACK_MIN));
#endif
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, static_cast<size_t>(size)), 0);
  pthread_t thread;
  const auto run = [](void *argument) -> void * {
    (*static_cast<Work *>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
}
