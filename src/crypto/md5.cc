#include <bit>
#include <utility>

#include "crypto/hash_rows.h"

namespace {

// The integer parts of 2^32 times the absolute sine of 1 to 64 (RFC 1321 3.4).
constexpr uint32_t kSines[] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391,
};

// Each of the four rounds takes the words in its own order, and rotates by four counts in turn.
constexpr struct Round {
  size_t step, first;
  int rotations[4];
} kMd5Rounds[] = {
    {1, 0, {7, 12, 17, 22}},
    {5, 1, {5, 9, 14, 20}},
    {3, 5, {4, 11, 16, 23}},
    {7, 0, {6, 10, 15, 21}},
};

constexpr uint32_t load_le32(const uint8_t *p) {
  return uint32_t{p[3]} << 24 | uint32_t{p[2]} << 16 | uint32_t{p[1]} << 8 | p[0];
}

// mix is the function of a round. In the second one the two parts never have a bit in common, so
// that adding them does what the standard's "or" does. It is the faster one here: in a chain of
// sums, the part that does not need the result of the step before can be added early.
template <size_t Round>
uint32_t mix(uint32_t x, uint32_t y, uint32_t z) {
  if constexpr (Round == 0) return z ^ (x & (y ^ z));
  if constexpr (Round == 1) return (x & z) + (y & ~z);
  if constexpr (Round == 2) return x ^ y ^ z;
  if constexpr (Round == 3) return y ^ (x | ~z);
}

// Md5 is the working variables; the steps are unrolled, so that they live in registers.
struct Md5 {
  uint32_t a, b, c, d;

  template <size_t T>
  void step(const uint8_t *block) {
    constexpr const Round &kRound = kMd5Rounds[T / 16];
    constexpr size_t kWord = (kRound.first + kRound.step * T) % 16;
    const uint32_t sum = a + kSines[T] + load_le32(block + 4 * kWord) + mix<T / 16>(b, c, d);
    a = d;
    d = c;
    c = b;
    b += std::rotl(sum, kRound.rotations[T % 4]);
  }

  template <size_t... T>
  void steps(const uint8_t *block, std::index_sequence<T...>) {
    (step<T>(block), ...);
  }
};

void md5_work(uint64_t *state, const uint8_t *blocks, size_t count) {
  uint32_t words[4];
  for (size_t i = 0; i < 4; ++i) words[i] = static_cast<uint32_t>(state[i]);
  for (; count > 0; --count, blocks += 64) {
    Md5 s = {words[0], words[1], words[2], words[3]};
    s.steps(blocks, std::make_index_sequence<64>());
    words[0] += s.a;
    words[1] += s.b;
    words[2] += s.c;
    words[3] += s.d;
  }
  std::copy(std::begin(words), std::end(words), state);
}

constexpr uint8_t kMd5Oid[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 13, 2, 5};  // 1.2.840.113549.2.5

}  // namespace

constexpr SshHashAlgorithm ssh_hash_md5_row = {"md5",
                                               16,
                                               4,
                                               false,
                                               md5_work,
                                               {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476},
                                               ssh_hash_make_info(kMd5Oid, 16)};
