// The noise pool, with the system's generator and with one that the test knows.
#include "crypto/noise.h"

#include "support/numbers.h"
#include "support/test.h"

namespace {

using namespace numbers;

template <uint8_t Octet>
bool all(uint8_t *out, size_t length) {
  std::fill_n(out, length, Octet);
  return true;
}

bool holds(Bytes octets, Bytes piece) {
  return std::search(octets.begin(), octets.end(), piece.begin(), piece.end()) != octets.end();
}

}  // namespace

// With all else fixed, every noise and the system's answer decide what comes out, of which no eight
// bytes come twice.
TEST(Noise, WhatGoesInDecidesWhatComesOut) {
  using Added = std::vector<std::string_view>;
  std::set<std::string> pieces;
  for (int again = 0; again < 2; ++again) {
    for (const SshNoiseSource source : {all<0>, all<1>}) {
      for (const Added &added : {Added{}, {""}, {"a"}, {"a", "b"}, {"b", "a"}, {"ab"}}) {
        SshNoise noise(source);
        for (const std::string_view text : added) noise.add(ssh_text_bytes(text));
        Octets out(200);
        EXPECT_TRUE(noise.octets(out.data(), 136) && noise.octets(&out[136], 64));
        for (size_t at = 0; at < 200; at += 8) pieces.insert(hex(Bytes(out).subspan(at, 8)));
      }
    }
  }
  EXPECT_EQ(pieces.size(), 2u * 6 * 25) << "the same again, or something else went in";
}

// Whoever gets hold of a pool must not find in it what was given out: the state that an output came
// from is gone, also after the last one. Nor does what was given out hold any state.
TEST(Noise, StateIsNeverGivenOutAndIsWiped) {
  std::set<std::string> states;
  for (const size_t length : {0u, 1u, 65u, 640u}) {
    alignas(SshNoise) uint8_t place[sizeof(SshNoise)] = {};
    auto *noise = new (place) SshNoise(all<0>);
    const std::string fresh = hex(place);
    noise->add(ssh_text_bytes("noise"));
    const Octets before(place, std::end(place));
    EXPECT_NE(hex(before), fresh);
    Octets out(length);
    EXPECT_TRUE(noise->octets(out.data(), length));
    states.insert(hex(place));
    for (size_t at = 0; at + 8 <= length; ++at) {
      const Bytes piece = Bytes(out).subspan(at, 8);
      ASSERT_FALSE(holds(place, piece) || holds(before, piece)) << at;
    }
    noise->~SshNoise();
    EXPECT_EQ(hex(place), fresh);
  }
  EXPECT_EQ(states.size(), 4u);
}
