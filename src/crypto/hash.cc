#include "crypto/hash.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <string_view>
#include <utility>

struct SshHashAlgorithm {
  std::string_view name;
  size_t digest_length;
  void (*start)(uint32_t *state);
  void (*work)(uint32_t *state, const uint8_t *blocks, size_t count);
};

namespace {

constexpr size_t kBlock = sizeof SshHash::block;
constexpr size_t kLengthField = 8;

void sha1_start(uint32_t *state) {
  constexpr uint32_t kStart[] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
  std::copy(std::begin(kStart), std::end(kStart), state);
}

// Sha1 is the working variables and the sixteen latest words of the message schedule (FIPS 180-4
// 6.1.3). The rounds are unrolled, so that all of it lives in registers.
struct Sha1 {
  uint32_t a, b, c, d, e;
  uint32_t words[16];

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

void sha1_block(uint32_t *state, const uint8_t *block) {
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

void sha1_work(uint32_t *state, const uint8_t *blocks, size_t count) {
  for (; count > 0; --count, blocks += kBlock) sha1_block(state, blocks);
}

constexpr SshHashAlgorithm kAlgorithms[] = {
    {"sha1", 20, sha1_start, sha1_work},
};
static_assert(std::all_of(std::begin(kAlgorithms), std::end(kAlgorithms), [](const auto &row) {
  return row.digest_length <= SSH_HASH_DIGEST_MAX && row.digest_length % 4 == 0;
}));
static_assert(sizeof SshHash::state >= SSH_HASH_DIGEST_MAX);

}  // namespace

bool ssh_hash_init(SshHash *hash, const char *name) {
  for (const SshHashAlgorithm &row : kAlgorithms) {
    if (row.name != name) continue;
    *hash = {.algorithm = &row};
    row.start(hash->state);
    return true;
  }
  return false;
}

void ssh_hash_update(SshHash *hash, Bytes data) {
  const size_t held = static_cast<size_t>(hash->length % kBlock);
  hash->length += data.size();
  if (held > 0) {
    const Bytes head = data.first(std::min(kBlock - held, data.size()));
    std::copy(head.begin(), head.end(), hash->block + held);
    if (held + head.size() < kBlock) return;
    hash->algorithm->work(hash->state, hash->block, 1);
    data = data.subspan(head.size());
  }
  hash->algorithm->work(hash->state, data.data(), data.size() / kBlock);
  const Bytes tail = data.last(data.size() % kBlock);
  std::copy(tail.begin(), tail.end(), hash->block);
}

size_t ssh_hash_digest_length(const SshHash *hash) { return hash->algorithm->digest_length; }

void ssh_hash_final(SshHash *hash, uint8_t *digest) {
  // A one bit, zeros up to the last eight octets of a block, and the length in bits.
  const uint64_t bits = hash->length * 8;
  const size_t held = static_cast<size_t>(hash->length % kBlock);
  const size_t fill = (held < kBlock - kLengthField ? kBlock : 2 * kBlock) - kLengthField - held;
  uint8_t padding[kBlock + kLengthField] = {0x80};
  ssh_store_be32(padding + fill, static_cast<uint32_t>(bits >> 32));
  ssh_store_be32(padding + fill + 4, static_cast<uint32_t>(bits));
  ssh_hash_update(hash, {padding, fill + kLengthField});
  for (size_t i = 0; i < ssh_hash_digest_length(hash) / 4; ++i) {
    ssh_store_be32(digest + 4 * i, hash->state[i]);
  }
}
