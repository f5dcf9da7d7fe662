#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <mutex>

#include "asn1/files.h"
#include "util/lock.h"

// In text mode the C library would read CR LF as LF and end the input at a byte 0x1A. The mode
// belongs to the process. So if several threads read at the same time, the first one changes the
// mode and the last one restores it.

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
