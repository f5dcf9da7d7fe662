#include <windows.h>

#include <new>

#include "util/lock.h"

namespace {

static_assert(sizeof(SRWLOCK) <= sizeof(SshLock));

SRWLOCK *native(unsigned char *state) { return std::launder(reinterpret_cast<SRWLOCK *>(state)); }

}  // namespace

SshLock::SshLock() { new (state_) SRWLOCK SRWLOCK_INIT; }
void SshLock::lock() { AcquireSRWLockExclusive(native(state_)); }
bool SshLock::try_lock() { return TryAcquireSRWLockExclusive(native(state_)); }
void SshLock::unlock() { ReleaseSRWLockExclusive(native(state_)); }
