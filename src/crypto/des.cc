// DES (FIPS 46-3) and triple DES (ANSI X9.52). Halves are kept rotated left by one bit, so that the
// six bits which the expansion E gives to a box lie together: those of S8, S6, S4 and S2 in the
// bytes from the lowest up, and those of S7, S5, S3 and S1 likewise after a rotation by four. A
// round key is two words laid out the same way.
#include <array>
#include <bit>
#include <utility>

#include "crypto/cipher_rows.h"

namespace {

constexpr size_t kDesRounds = 16;
constexpr size_t kWords = 2;  // of a round key

// S1 to S8: four rows of sixteen digits each.
// clang-format off
constexpr uint64_t kBoxes[8][4] = {
    {0xE4D12FB83A6C5907, 0x0F74E2D1A6CB9538, 0x41E8D62BFC973A50, 0xFC8249175B3EA06D},
    {0xF18E6B34972DC05A, 0x3D47F28EC01A69B5, 0x0E7BA4D158C6932F, 0xD8A13F42B67C05E9},
    {0xA09E63F51DC7B428, 0xD709346A285ECBF1, 0xD6498F30B12C5AE7, 0x1AD069874FE3B52C},
    {0x7DE3069A1285BC4F, 0xD8B56F03472C1AE9, 0xA690CB7DF13E5284, 0x3F06A1D8945BC72E},
    {0x2C417AB6853FD0E9, 0xEB2C47D150FA3986, 0x421BAD78F9C5630E, 0xB8C71E2D6F09A453},
    {0xC1AF92680D34E75B, 0xAF427C9561DE0B38, 0x9EF528C3704A1DB6, 0x432C95FABE17608D},
    {0x4B2EF08D3C975A61, 0xD0B7491AE35C2F86, 0x14BDC37EAF680592, 0x6BD814A7950FE23C},
    {0xD2846FB1A93E50C7, 0x1FD8A374C56B0E92, 0x7B419CE206ADF358, 0x21E74A8DFC90356B},
};

constexpr uint8_t kPermutation[] = {
    16, 7, 20, 21, 29, 12, 28, 17,  1, 15, 23, 26,  5, 18, 31, 10,
     2, 8, 24, 14, 32, 27,  3,  9, 19, 13, 30,  6, 22, 11,  4, 25,
};

constexpr uint8_t kChoice1[] = {
    57, 49, 41, 33, 25, 17,  9,  1, 58, 50, 42, 34, 26, 18,
    10,  2, 59, 51, 43, 35, 27, 19, 11,  3, 60, 52, 44, 36,
    63, 55, 47, 39, 31, 23, 15,  7, 62, 54, 46, 38, 30, 22,
    14,  6, 61, 53, 45, 37, 29, 21, 13,  5, 28, 20, 12,  4,
};

constexpr uint8_t kChoice2[] = {
    14, 17, 11, 24,  1,  5,  3, 28, 15,  6, 21, 10, 23, 19, 12,  4, 26,  8, 16,  7, 27, 20, 13,  2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32,
};

constexpr uint8_t kShifts[kDesRounds] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};
// clang-format on

// pick takes bits out of a number of `width` bits, in the order of the table. As in the standard,
// bit 1 is the highest.
template <size_t N>
constexpr uint64_t pick(uint64_t value, unsigned width, const uint8_t (&table)[N]) {
  uint64_t picked = 0;
  for (const uint8_t bit : table) picked = picked << 1 | (value >> (width - bit) & 1);
  return picked;
}

// kOutputs combines each box with the permutation P, which comes after it, so that a round is eight
// look-ups. The results are rotated by one bit as the halves are.
using Outputs = std::array<std::array<uint32_t, 64>, 8>;
constexpr Outputs kOutputs = [] {
  Outputs made = {};
  for (unsigned box = 0; box < 8; ++box) {
    for (unsigned in = 0; in < 64; ++in) {
      const unsigned row = (in >> 4 & 2) | (in & 1);
      const unsigned column = in >> 1 & 15;
      const uint64_t digit = kBoxes[box][row] >> (60 - 4 * column) & 15;
      made[box][in] =
          std::rotl(static_cast<uint32_t>(pick(digit << (28 - 4 * box), 32, kPermutation)), 1);
    }
  }
  return made;
}();

// mangle is the function f of a round: the six bits for each box, with those of the round key,
// choose one of the box's 64 results.
uint32_t mangle(uint32_t half, const uint32_t *key) {
  const uint32_t even = half ^ key[0];
  const uint32_t odd = std::rotr(half, 4) ^ key[1];
  return kOutputs[7][even & 63] ^ kOutputs[5][even >> 8 & 63] ^ kOutputs[3][even >> 16 & 63] ^
         kOutputs[1][even >> 24 & 63] ^ kOutputs[6][odd & 63] ^ kOutputs[4][odd >> 8 & 63] ^
         kOutputs[2][odd >> 16 & 63] ^ kOutputs[0][odd >> 24 & 63];
}

// exchange swaps the bits of `b` that the mask selects with those of `a` that lie `shift` bits
// above them.
void exchange(uint32_t &a, uint32_t &b, int shift, uint32_t mask) {
  const uint32_t differ = (a >> shift ^ b) & mask;
  b ^= differ;
  a ^= differ << shift;
}

// work encrypts (or, from the last round key to the first, decrypts) a block with one key or with
// three. The initial permutation and its inverse are five exchanges of bits each. Between two keys
// the inverse and the next initial permutation cancel out, so both are done once.
template <size_t Keys, bool Forward>
uint64_t work(const uint32_t *schedule, uint64_t block) {
  uint32_t left = ssh_block_left(block), right = ssh_block_right(block);
  exchange(left, right, 4, 0x0F0F0F0F);
  exchange(left, right, 16, 0x0000FFFF);
  exchange(right, left, 2, 0x33333333);
  exchange(right, left, 8, 0x00FF00FF);
  exchange(left, right, 1, 0x55555555);
  left = std::rotl(left, 1);
  right = std::rotl(right, 1);

  constexpr ptrdiff_t kStep = Forward ? ptrdiff_t{kWords} : -ptrdiff_t{kWords};
  const uint32_t *key = schedule + (Forward ? 0 : (Keys * kDesRounds - 1) * kWords);
  for (size_t i = 0; i < Keys; ++i) {
    for (size_t round = 0; round < kDesRounds; round += 2, key += 2 * kStep) {
      left ^= mangle(right, key);
      right ^= mangle(left, key + kStep);
    }
    std::swap(left, right);
  }

  left = std::rotr(left, 1);
  right = std::rotr(right, 1);
  exchange(left, right, 1, 0x55555555);
  exchange(right, left, 8, 0x00FF00FF);
  exchange(right, left, 2, 0x33333333);
  exchange(left, right, 16, 0x0000FFFF);
  exchange(left, right, 4, 0x0F0F0F0F);
  return ssh_block(left, right);
}

// one_key makes the sixteen round keys of one key, the last of them first for decryption.
void one_key(uint32_t *schedule, Bytes key, bool encrypt) {
  constexpr uint32_t kHalf = (1u << 28) - 1;
  const uint64_t chosen =
      pick(ssh_block(ssh_load_be32(&key[0]), ssh_load_be32(&key[4])), 64, kChoice1);
  uint32_t c = static_cast<uint32_t>(chosen >> 28), d = static_cast<uint32_t>(chosen & kHalf);
  for (size_t round = 0; round < kDesRounds; ++round) {
    const unsigned shift = kShifts[round];
    c = (c << shift | c >> (28 - shift)) & kHalf;
    d = (d << shift | d >> (28 - shift)) & kHalf;
    const uint64_t bits = pick(uint64_t{c} << 28 | d, 56, kChoice2);
    uint32_t *words = schedule + kWords * (encrypt ? round : kDesRounds - 1 - round);
    words[0] = words[1] = 0;
    for (unsigned box = 0; box < 8; ++box) {
      const uint32_t six = static_cast<uint32_t>(bits >> (42 - 6 * box) & 63);
      words[box % 2 == 0] |= six << (24 - 8 * (box / 2));
    }
  }
}

}  // namespace

void ssh_des_schedule(uint32_t *schedule, Bytes key) { one_key(schedule, key, true); }

uint64_t ssh_des_encrypt(const uint32_t *schedule, uint64_t block) {
  return work<1, true>(schedule, block);
}

uint64_t ssh_des_decrypt(const uint32_t *schedule, uint64_t block) {
  return work<1, false>(schedule, block);
}

// The second key decrypts, so that three equal keys do what one does.
void ssh_des3_schedule(uint32_t *schedule, Bytes key) {
  constexpr size_t kKey = 8;
  one_key(schedule, key.first(kKey), true);
  one_key(schedule + kDesRounds * kWords, key.subspan(kKey, kKey), false);
  one_key(schedule + 2 * kDesRounds * kWords,
          key.size() == 2 * kKey ? key.first(kKey) : key.last(kKey), true);
}

uint64_t ssh_des3_encrypt(const uint32_t *schedule, uint64_t block) {
  return work<3, true>(schedule, block);
}

uint64_t ssh_des3_decrypt(const uint32_t *schedule, uint64_t block) {
  return work<3, false>(schedule, block);
}
