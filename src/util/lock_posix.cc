#include <mutex>
#include <new>
#include <type_traits>

#include "util/lock.h"

namespace {

static_assert(sizeof(std::mutex) <= sizeof(SshLock));
static_assert(std::is_trivially_destructible_v<std::mutex>);

std::mutex &mutex(unsigned char *state) {
  return *std::launder(reinterpret_cast<std::mutex *>(state));
}

}  // namespace

SshLock::SshLock() { new (state_) std::mutex; }
void SshLock::lock() { mutex(state_).lock(); }
bool SshLock::try_lock() { return mutex(state_).try_lock(); }
void SshLock::unlock() { mutex(state_).unlock(); }
