// CAST-128 (RFC 2144). A schedule is the sixteen masking keys, the sixteen rotation keys, and the
// number of rounds.
#include <algorithm>
#include <bit>
#include <utility>

#include "crypto/cipher_rows.h"
#include "util/mem.h"

namespace {

constexpr size_t kRotations = 16;  // where the parts of a schedule begin
constexpr size_t kCastRounds = 32;
constexpr size_t kShortKey = 10;  // up to here 12 rounds are enough

template <size_t Box>
uint32_t box(uint32_t octet) {
  return SSH_CAST128_BOXES[Box - 1][octet & 0xFF];
}

// The rounds' three kinds of functions follow each other in turn (2.2).
template <size_t Round>
uint32_t mangle(const uint32_t *schedule, uint32_t half) {
  const uint32_t key = schedule[Round];
  const int by = static_cast<int>(schedule[kRotations + Round]);
  if constexpr (Round % 3 == 0) {
    const uint32_t i = std::rotl(key + half, by);
    return ((box<1>(i >> 24) ^ box<2>(i >> 16)) - box<3>(i >> 8)) + box<4>(i);
  } else if constexpr (Round % 3 == 1) {
    const uint32_t i = std::rotl(key ^ half, by);
    return ((box<1>(i >> 24) - box<2>(i >> 16)) + box<3>(i >> 8)) ^ box<4>(i);
  } else {
    const uint32_t i = std::rotl(key - half, by);
    return ((box<1>(i >> 24) + box<2>(i >> 16)) ^ box<3>(i >> 8)) - box<4>(i);
  }
}

struct Halves {
  uint32_t left, right;

  // rounds works off rounds in the order given; an even number, so that the halves end in their
  // places.
  template <size_t... Round>
  void rounds(const uint32_t *schedule, std::index_sequence<Round...>) {
    (one<Round>(schedule), ...);
  }

  template <size_t Round>
  void one(const uint32_t *schedule) {
    left ^= mangle<Round>(schedule, right);
    std::swap(left, right);
  }
};

using FirstTwelve = std::index_sequence<0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11>;
using LastFour = std::index_sequence<12, 13, 14, 15>;
using LastFourBack = std::index_sequence<15, 14, 13, 12>;
using FirstTwelveBack = std::index_sequence<11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0>;

// clang-format off
// The bytes of the key and of the block z that the key schedule works on.
enum : uint8_t { X0, X1, X2, X3, X4, X5, X6, X7, X8, X9, XA, XB, XC, XD, XE, XF,
                 Z0, Z1, Z2, Z3, Z4, Z5, Z6, Z7, Z8, Z9, ZA, ZB, ZC, ZD, ZE, ZF };
// clang-format on

// Mix is one line of the key schedule (2.4): the word at `to` becomes the word at `from` with the
// bytes that S5 to S8 are asked at, and a fifth byte for one of the boxes again.
struct Mix {
  uint8_t to, from, octets[5], again;
};

// clang-format off
constexpr Mix kMixes[2][4] = {
    {{Z0, X0, {XD, XF, XC, XE, X8}, 7}, {Z4, X8, {Z0, Z2, Z1, Z3, XA}, 8},
     {Z8, XC, {Z7, Z6, Z5, Z4, X9}, 5}, {ZC, X4, {ZA, Z9, ZB, Z8, XB}, 6}},
    {{X0, Z8, {Z5, Z7, Z4, Z6, Z0}, 7}, {X4, Z0, {X0, X2, X1, X3, Z2}, 8},
     {X8, Z4, {X7, X6, X5, X4, Z1}, 5}, {XC, ZC, {XA, X9, XB, X8, Z3}, 6}},
};

// The lines that make keys: the bytes that S5 to S8 are asked at, and one for a box again.
constexpr uint8_t kKeyLines[4][4][5] = {
    {{Z8, Z9, Z7, Z6, Z2}, {ZA, ZB, Z5, Z4, Z6}, {ZC, ZD, Z3, Z2, Z9}, {ZE, ZF, Z1, Z0, ZC}},
    {{X3, X2, XC, XD, X8}, {X1, X0, XE, XF, XD}, {X7, X6, X8, X9, X3}, {X5, X4, XA, XB, X7}},
    {{Z3, Z2, ZC, ZD, Z9}, {Z1, Z0, ZE, ZF, ZC}, {Z7, Z6, Z8, Z9, Z2}, {Z5, Z4, ZA, ZB, Z6}},
    {{X8, X9, X7, X6, X3}, {XA, XB, X5, X4, X7}, {XC, XD, X3, X2, X8}, {XE, XF, X1, X0, XD}},
};
// clang-format on

// look_up gives the sum (XOR) of the entries of S5 to S8 at the first four bytes, and of box number
// `again` at the fifth.
uint32_t look_up(const uint8_t *octets, const uint8_t (&at)[5], size_t again) {
  return box<5>(octets[at[0]]) ^ box<6>(octets[at[1]]) ^ box<7>(octets[at[2]]) ^
         box<8>(octets[at[3]]) ^ SSH_CAST128_BOXES[again - 1][octets[at[4]]];
}

}  // namespace

void ssh_cast128_schedule(uint32_t *schedule, Bytes key) {
  uint8_t octets[32] = {};  // a short key is filled up with zeros
  std::copy(key.begin(), key.end(), octets);
  for (size_t i = 0; i < 32; i += 4) {
    for (const Mix &mix : kMixes[i / 4 % 2]) {
      const uint32_t word = ssh_load_be32(octets + mix.from);
      ssh_store_be32(octets + mix.to, word ^ look_up(octets, mix.octets, mix.again));
    }
    for (size_t k = 0; k < 4; ++k) {
      const uint32_t made = look_up(octets, kKeyLines[i / 4 % 4][k], 5 + k);
      schedule[i + k] = i < kRotations ? made : made & 31;
    }
  }
  schedule[kCastRounds] = key.size() <= kShortKey ? 12 : 16;
  ssh_wipe(octets, sizeof octets);
}

uint64_t ssh_cast128_encrypt(const uint32_t *schedule, uint64_t block) {
  Halves halves = {ssh_block_left(block), ssh_block_right(block)};
  halves.rounds(schedule, FirstTwelve());
  if (schedule[kCastRounds] > 12) halves.rounds(schedule, LastFour());
  return ssh_block(halves.right, halves.left);
}

uint64_t ssh_cast128_decrypt(const uint32_t *schedule, uint64_t block) {
  Halves halves = {ssh_block_left(block), ssh_block_right(block)};
  if (schedule[kCastRounds] > 12) halves.rounds(schedule, LastFourBack());
  halves.rounds(schedule, FirstTwelveBack());
  return ssh_block(halves.right, halves.left);
}
