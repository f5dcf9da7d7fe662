#include "crypto/noise.h"

#include <algorithm>

#include "crypto/hash.h"
#include "util/fatal.h"
#include "util/mem.h"

namespace {

constexpr char kHash[] = "sha512";
constexpr size_t kDigest = 64;
constexpr size_t kSystemOctets = 32;  // of the system's generator, added at every output

// What a digest over the state is for. It is the first byte that is hashed, so that a digest for
// one use tells nothing about that for another.
enum class Use : uint8_t { kStir = 1, kOutput, kStep };

// digest_of hashes the state and further bytes; `out` may be the state.
void digest_of(Use use, Bytes state, Bytes further, uint8_t *out) {
  SshHash hash;
  if (!ssh_hash_init(&hash, kHash)) ssh_fatal("SshNoise: %s is not a valid hash algorithm.", kHash);
  const uint8_t first = static_cast<uint8_t>(use);
  ssh_hash_update(&hash, {&first, 1});
  ssh_hash_update(&hash, state);
  ssh_hash_update(&hash, further);
  ssh_hash_final(&hash, out);
  ssh_wipe(&hash, sizeof hash);
}

}  // namespace

SshNoise::~SshNoise() { ssh_wipe(state_, sizeof state_); }

void SshNoise::add(Bytes noise) {
  static_assert(sizeof state_ == kDigest);
  digest_of(Use::kStir, state_, noise, state_);
}

bool SshNoise::octets(uint8_t *out, size_t length) {
  uint8_t system[kSystemOctets];
  if (!source_(system, sizeof system)) return false;
  add(system);
  ssh_wipe(system, sizeof system);
  uint8_t digest[kDigest];
  while (length > 0) {
    digest_of(Use::kOutput, state_, {}, digest);
    digest_of(Use::kStep, state_, {}, state_);
    const size_t piece = std::min(length, kDigest);
    out = std::copy_n(digest, piece, out);
    length -= piece;
  }
  ssh_wipe(digest, sizeof digest);
  return true;
}
