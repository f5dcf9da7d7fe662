#include <sys/random.h>
#include <unistd.h>

#include <algorithm>

#include "crypto/noise.h"

bool ssh_noise_system(uint8_t *out, size_t length) {
  constexpr size_t kAtOnce = 256;  // more is refused
  while (length > 0) {
    const size_t piece = std::min(length, kAtOnce);
    if (getentropy(out, piece) != 0) return false;
    out += piece;
    length -= piece;
  }
  return true;
}
