#include <bit>
#include <utility>

#include "crypto/hash_rows.h"

namespace {

// The first 64 bits of the fractional parts of the cube roots of the first 80 primes (FIPS 180-4
// 4.2.3); the first 32 of them serve the algorithms with 32-bit words.
constexpr uint64_t kRoots[] = {
    0x428A2F98D728AE22, 0x7137449123EF65CD, 0xB5C0FBCFEC4D3B2F, 0xE9B5DBA58189DBBC,
    0x3956C25BF348B538, 0x59F111F1B605D019, 0x923F82A4AF194F9B, 0xAB1C5ED5DA6D8118,
    0xD807AA98A3030242, 0x12835B0145706FBE, 0x243185BE4EE4B28C, 0x550C7DC3D5FFB4E2,
    0x72BE5D74F27B896F, 0x80DEB1FE3B1696B1, 0x9BDC06A725C71235, 0xC19BF174CF692694,
    0xE49B69C19EF14AD2, 0xEFBE4786384F25E3, 0x0FC19DC68B8CD5B5, 0x240CA1CC77AC9C65,
    0x2DE92C6F592B0275, 0x4A7484AA6EA6E483, 0x5CB0A9DCBD41FBD4, 0x76F988DA831153B5,
    0x983E5152EE66DFAB, 0xA831C66D2DB43210, 0xB00327C898FB213F, 0xBF597FC7BEEF0EE4,
    0xC6E00BF33DA88FC2, 0xD5A79147930AA725, 0x06CA6351E003826F, 0x142929670A0E6E70,
    0x27B70A8546D22FFC, 0x2E1B21385C26C926, 0x4D2C6DFC5AC42AED, 0x53380D139D95B3DF,
    0x650A73548BAF63DE, 0x766A0ABB3C77B2A8, 0x81C2C92E47EDAEE6, 0x92722C851482353B,
    0xA2BFE8A14CF10364, 0xA81A664BBC423001, 0xC24B8B70D0F89791, 0xC76C51A30654BE30,
    0xD192E819D6EF5218, 0xD69906245565A910, 0xF40E35855771202A, 0x106AA07032BBD1B8,
    0x19A4C116B8D2D0C8, 0x1E376C085141AB53, 0x2748774CDF8EEB99, 0x34B0BCB5E19B48A8,
    0x391C0CB3C5C95A63, 0x4ED8AA4AE3418ACB, 0x5B9CCA4F7763E373, 0x682E6FF3D6B2B8A3,
    0x748F82EE5DEFB2FC, 0x78A5636F43172F60, 0x84C87814A1F0AB72, 0x8CC702081A6439EC,
    0x90BEFFFA23631E28, 0xA4506CEBDE82BDE9, 0xBEF9A3F7B2C67915, 0xC67178F2E372532B,
    0xCA273ECEEA26619C, 0xD186B8C721C0C207, 0xEADA7DD6CDE0EB1E, 0xF57D4F7FEE6ED178,
    0x06F067AA72176FBA, 0x0A637DC5A2C898A6, 0x113F9804BEF90DAE, 0x1B710B35131C471B,
    0x28DB77F523047D84, 0x32CAAB7B40C72493, 0x3C9EBE0A15C9BEBC, 0x431D67C49C100D4C,
    0x4CC5D4BECB3E42B6, 0x597F299CFC657E2A, 0x5FCB6FAB3AD6FAEC, 0x6C44198C4A475817,
};

// Sigmas are the rotations of the two functions over the working variables, and of the two over the
// schedule, whose third count shifts (FIPS 180-4 4.1.2, 4.1.3).
struct Sigmas {
  int large0[3], large1[3], small0[3], small1[3];
};

template <class Word>
constexpr Sigmas kSigmas = {{2, 13, 22}, {6, 11, 25}, {7, 18, 3}, {17, 19, 10}};
template <>
constexpr Sigmas kSigmas<uint64_t> = {{28, 34, 39}, {14, 18, 41}, {1, 8, 7}, {19, 61, 6}};

template <class Word>
constexpr Word rotations(Word x, const int (&counts)[3]) {
  return std::rotr(x, counts[0]) ^ std::rotr(x, counts[1]) ^ std::rotr(x, counts[2]);
}

template <class Word>
constexpr Word shifted(Word x, const int (&counts)[3]) {
  return std::rotr(x, counts[0]) ^ std::rotr(x, counts[1]) ^ (x >> counts[2]);
}

template <class Word>
Word load(const uint8_t *p) {
  Word word = 0;
  for (size_t i = 0; i < sizeof word; ++i) word = static_cast<Word>(word << 8 | p[i]);
  return word;
}

// Sha2 is the working variables and the sixteen latest words of the message schedule. Sixteen
// rounds at a time are unrolled; the variables do not move but are named anew in each round.
template <class Word>
struct Sha2 {
  static constexpr const Sigmas &kSigma = kSigmas<Word>;
  static constexpr size_t kRounds = sizeof(Word) == 4 ? 64 : 80;

  Word v[8];
  Word words[16];

  template <size_t T>
  void round(size_t first) {
    Word &w = words[T];
    if (first > 0) {
      w += shifted(words[(T + 14) % 16], kSigma.small1) + words[(T + 9) % 16] +
           shifted(words[(T + 1) % 16], kSigma.small0);
    }
    constexpr auto kAt = [](size_t variable) { return (variable + 16 - T) % 8; };
    const Word a = v[kAt(0)], b = v[kAt(1)], c = v[kAt(2)];
    const Word e = v[kAt(4)], f = v[kAt(5)], g = v[kAt(6)];
    const Word root = static_cast<Word>(kRoots[first + T] >> (64 - 8 * sizeof(Word)));
    Word &h = v[kAt(7)];
    h += rotations(e, kSigma.large1) + (g ^ (e & (f ^ g))) + root + w;
    v[kAt(3)] += h;
    h += rotations(a, kSigma.large0) + ((a & b) | (c & (a | b)));
  }

  template <size_t... T>
  void rounds(size_t first, std::index_sequence<T...>) {
    (round<T>(first), ...);
  }
};

template <class Word>
void work(uint64_t *state, const uint8_t *blocks, size_t count) {
  Word words[8];
  for (size_t i = 0; i < 8; ++i) words[i] = static_cast<Word>(state[i]);
  for (; count > 0; --count, blocks += 16 * sizeof(Word)) {
    Sha2<Word> s;
    std::copy(std::begin(words), std::end(words), s.v);
    for (size_t i = 0; i < 16; ++i) s.words[i] = load<Word>(blocks + sizeof(Word) * i);
    for (size_t first = 0; first < s.kRounds; first += 16) {
      s.rounds(first, std::make_index_sequence<16>());
    }
    for (size_t i = 0; i < 8; ++i) words[i] += s.v[i];
  }
  std::copy(std::begin(words), std::end(words), state);
}

// The object identifiers are 2.16.840.1.101.3.4.2 and a number.
consteval SshHashDigestInfo info(uint8_t number, uint8_t digest_length) {
  const uint8_t oid[] = {0x60, 0x86, 0x48, 1, 101, 3, 4, 2, number};
  return ssh_hash_make_info(oid, digest_length);
}

}  // namespace

// The first 64 bits of the fractional parts of the square roots of the first eight primes.
constexpr SshHashAlgorithm ssh_hash_sha512_row = {
    "sha512",
    64,
    8,
    true,
    work<uint64_t>,
    {0x6A09E667F3BCC908, 0xBB67AE8584CAA73B, 0x3C6EF372FE94F82B, 0xA54FF53A5F1D36F1,
     0x510E527FADE682D1, 0x9B05688C2B3E6C1F, 0x1F83D9ABFB41BD6B, 0x5BE0CD19137E2179},
    info(3, 64)};

// Those of the ninth to sixteenth primes.
constexpr SshHashAlgorithm ssh_hash_sha384_row = {
    "sha384",
    48,
    8,
    true,
    work<uint64_t>,
    {0xCBBB9D5DC1059ED8, 0x629A292A367CD507, 0x9159015A3070DD17, 0x152FECD8F70E5939,
     0x67332667FFC00B31, 0x8EB44A8768581511, 0xDB0C2E0D64F98FA7, 0x47B5481DBEFA4FA4},
    info(2, 48)};

constexpr SshHashAlgorithm ssh_hash_sha256_row = {"sha256",
                                                  32,
                                                  4,
                                                  true,
                                                  work<uint32_t>,
                                                  {0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A,
                                                   0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19},
                                                  info(1, 32)};

// The second 32 bits of SHA-384's.
constexpr SshHashAlgorithm ssh_hash_sha224_row = {"sha224",
                                                  28,
                                                  4,
                                                  true,
                                                  work<uint32_t>,
                                                  {0xC1059ED8, 0x367CD507, 0x3070DD17, 0xF70E5939,
                                                   0xFFC00B31, 0x68581511, 0x64F98FA7, 0xBEFA4FA4},
                                                  info(4, 28)};
