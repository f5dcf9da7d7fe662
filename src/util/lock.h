// A mutex, for what threads share. It works with std::lock_guard.
// It is the system's own, in lock_posix.cc and lock_win32.cc: a library that is loaded and unloaded
// must not bring along a runtime that never gives back what it takes.
#pragma once

#include <cstddef>

// SshLock is held by one thread at a time, which must not ask for it again. It needs no destructor.
class SshLock {
 public:
  SshLock();
  SshLock(const SshLock &) = delete;
  SshLock &operator=(const SshLock &) = delete;

  // lock waits until nobody holds it; try_lock does not wait and tells whether it was free.
  void lock();
  [[nodiscard]] bool try_lock();
  void unlock();

 private:
  // Room for the lock of any system, whose type stays in the two files; they check that it fits.
  alignas(std::max_align_t) unsigned char state_[64];
};
