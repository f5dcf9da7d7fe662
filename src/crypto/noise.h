// The random-noise pool: bytes that nobody can foresee, for padding and secret exponents.
// A caller that knows something which others cannot know, such as the exact time of a reply, adds
// it. At every output the generator of the operating system is mixed in (noise_posix.cc,
// noise_win32.cc).
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SshNoiseSource fills `out` with bytes from a generator; false if it cannot.
using SshNoiseSource = bool (*)(uint8_t *out, size_t length);

// ssh_noise_system is the operating system's generator.
[[nodiscard]] bool ssh_noise_system(uint8_t *out, size_t length);

// SshNoise is a pool: 64 bytes of state. Output is a hash over the state. Before it, bytes of the
// system's generator are hashed into the state, so that who knew the state cannot foresee the
// output. After each piece the state is replaced by a hash of itself, so that who reads the state
// later cannot compute what was given out. A pool is for one thread at a time, and is wiped when it
// ends.
class SshNoise {
 public:
  // The source takes the place of the operating system's generator where a test must foresee it.
  explicit SshNoise(SshNoiseSource source = ssh_noise_system) : source_(source) {}
  ~SshNoise();
  SshNoise(const SshNoise &) = delete;
  SshNoise &operator=(const SshNoise &) = delete;

  // add stirs noise in. It never makes the pool weaker, even where others know or choose the noise.
  void add(Bytes noise);

  // octets fills `out`; false, with nothing written, if the source gives nothing.
  [[nodiscard]] bool octets(uint8_t *out, size_t length);

 private:
  SshNoiseSource source_;
  uint8_t state_[64] = {};
};
