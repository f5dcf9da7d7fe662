// Blowfish (B. Schneier, 1993): 16 rounds between the words P of a schedule, and four boxes that
// the key makes.
#include <algorithm>
#include <iterator>
#include <utility>

#include "crypto/cipher_rows.h"

namespace {

constexpr size_t kRounds = 16;
constexpr size_t kP = kRounds + 2;

uint32_t mangle(const uint32_t *boxes, uint32_t half) {
  return ((boxes[half >> 24] + boxes[256 + (half >> 16 & 0xFF)]) ^
          boxes[512 + (half >> 8 & 0xFF)]) +
         boxes[768 + (half & 0xFF)];
}

// work uses the words P from the first on or from the last one back.
template <bool Forward>
uint64_t work(const uint32_t *schedule, uint64_t block) {
  const uint32_t *boxes = schedule + kP;
  const auto p = [schedule](size_t i) { return schedule[Forward ? i : kP - 1 - i]; };
  uint32_t left = ssh_block_left(block) ^ p(0), right = ssh_block_right(block);
  for (size_t round = 1; round <= kRounds; round += 2) {
    right ^= mangle(boxes, left) ^ p(round);
    left ^= mangle(boxes, right) ^ p(round + 1);
  }
  return ssh_block(right ^ p(kP - 1), left);
}

}  // namespace

uint64_t ssh_blowfish_encrypt(const uint32_t *schedule, uint64_t block) {
  return work<true>(schedule, block);
}

uint64_t ssh_blowfish_decrypt(const uint32_t *schedule, uint64_t block) {
  return work<false>(schedule, block);
}

// The bytes of the key are added (XOR) to the words of P, beginning anew at the end of the key.
// Then a block of zeros is encrypted again and again; each result replaces two words of the
// schedule, which the next encryption already uses.
void ssh_blowfish_schedule(uint32_t *schedule, Bytes key) {
  std::copy(std::begin(SSH_BLOWFISH_START), std::end(SSH_BLOWFISH_START), schedule);
  size_t next = 0;
  for (size_t i = 0; i < 4 * kP; ++i, next = next + 1 < key.size() ? next + 1 : 0) {
    schedule[i / 4] ^= uint32_t{key[next]} << (24 - 8 * (i % 4));
  }
  uint64_t block = 0;
  for (size_t i = 0; i < SSH_CIPHER_SCHEDULE_MAX; i += 2) {
    block = ssh_blowfish_encrypt(schedule, block);
    schedule[i] = ssh_block_left(block);
    schedule[i + 1] = ssh_block_right(block);
  }
}
