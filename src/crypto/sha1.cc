#include <bit>
#include <utility>

#include "crypto/hash_rows.h"

namespace {

// Sha1 is the working variables and the sixteen latest words of the message schedule (FIPS 180-4
// 6.1.3). The rounds are unrolled, so that all of it lives in registers.
struct Sha1 {
  uint32_t a, b, c, d, e;
  uint32_t words[16];

  // word gives the word of round T: one of the block's own, or one made of four before it, which
  // replaces the word of sixteen rounds ago.
  template <size_t T>
  uint32_t word() {
    uint32_t &w = words[T % 16];
    if constexpr (T >= 16) {
      w = std::rotl(words[(T + 13) % 16] ^ words[(T + 8) % 16] ^ words[(T + 2) % 16] ^ w, 1);
    }
    return w;
  }

  template <size_t T>
  void round(uint32_t mixed) {
    constexpr uint32_t kConstants[] = {0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xCA62C1D6};
    const uint32_t next = std::rotl(a, 5) + mixed + e + kConstants[T / 20] + word<T>();
    e = d;
    d = c;
    c = std::rotl(b, 30);
    b = a;
    a = next;
  }

  template <size_t First, class F, size_t... T>
  void rounds(F mix, std::index_sequence<T...>) {
    (round<First + T>(mix(b, c, d)), ...);
  }
};

void work_block(uint32_t *state, const uint8_t *block) {
  constexpr std::make_index_sequence<20> kTwenty;
  const auto choose = [](uint32_t x, uint32_t y, uint32_t z) { return z ^ (x & (y ^ z)); };
  const auto parity = [](uint32_t x, uint32_t y, uint32_t z) { return x ^ y ^ z; };
  const auto most = [](uint32_t x, uint32_t y, uint32_t z) { return (x & y) | (z & (x | y)); };
  Sha1 s = {state[0], state[1], state[2], state[3], state[4], {}};
  for (size_t i = 0; i < 16; ++i) s.words[i] = ssh_load_be32(block + 4 * i);
  s.rounds<0>(choose, kTwenty);
  s.rounds<20>(parity, kTwenty);
  s.rounds<40>(most, kTwenty);
  s.rounds<60>(parity, kTwenty);
  state[0] += s.a;
  state[1] += s.b;
  state[2] += s.c;
  state[3] += s.d;
  state[4] += s.e;
}

void sha1_work(uint64_t *state, const uint8_t *blocks, size_t count) {
  uint32_t words[5];
  for (size_t i = 0; i < 5; ++i) words[i] = static_cast<uint32_t>(state[i]);
  for (; count > 0; --count, blocks += 64) work_block(words, blocks);
  std::copy(std::begin(words), std::end(words), state);
}

constexpr uint8_t kSha1Oid[] = {0x2B, 14, 3, 2, 26};  // 1.3.14.3.2.26

}  // namespace

constexpr SshHashAlgorithm ssh_hash_sha1_row = {
    "sha1",
    20,
    4,
    true,
    sha1_work,
    {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0},
    ssh_hash_make_info(kSha1Oid, 20)};
