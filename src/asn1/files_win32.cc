#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <mutex>

#include "asn1/files.h"
#include "util/lock.h"

// As text, CR LF would be read as LF, and 0x1A would end the input. The mode is the process's: of
// threads that read at the same time, the first changes it and the last restores it.

namespace {

SshLock lock;
int readers = 0;
int before = -1;

void set_mode(int mode) { before = _setmode(_fileno(stdin), mode); }

}  // namespace

SshBinaryInput::SshBinaryInput() {
  const std::lock_guard guard(lock);
  if (readers++ == 0) set_mode(_O_BINARY);
}

SshBinaryInput::~SshBinaryInput() {
  const std::lock_guard guard(lock);
  if (--readers == 0 && before != -1) set_mode(before);
}
