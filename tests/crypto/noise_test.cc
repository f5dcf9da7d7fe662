// The noise pool, with the system's generator and with one that the test knows.
#include "crypto/noise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <vector>

#include "support/hex.h"

namespace {

bool all_zeros(uint8_t *out, size_t length) {
  std::fill_n(out, length, uint8_t{0});
  return true;
}
bool all_ones(uint8_t *out, size_t length) {
  std::fill_n(out, length, uint8_t{0xFF});
  return true;
}
bool nothing(uint8_t *, size_t) { return false; }

std::vector<uint8_t> take(SshNoise &noise, size_t length) {
  std::vector<uint8_t> out(length);
  EXPECT_TRUE(noise.octets(out.data(), length));
  return out;
}

// known makes a pool over a generator that the test knows, with noise in it, and takes octets.
std::vector<uint8_t> known(SshNoiseSource source, std::initializer_list<std::string_view> added) {
  SshNoise noise(source);
  for (const std::string_view text : added) noise.add(ssh_text_bytes(text));
  return take(noise, 100);
}

}  // namespace

TEST(Noise, NoEightOctetsComeTwice) {
  std::set<std::vector<uint8_t>> seen;
  size_t taken = 0;
  SshNoise one, other;
  for (SshNoise *noise : {&one, &other, &one, &other}) {
    const std::vector<uint8_t> out = take(*noise, 4096);
    for (size_t at = 0; at < out.size(); at += 8, ++taken) {
      seen.insert(std::vector<uint8_t>(out.begin() + static_cast<ptrdiff_t>(at),
                                       out.begin() + static_cast<ptrdiff_t>(at) + 8));
    }
  }
  EXPECT_EQ(seen.size(), taken);
}

// With all else fixed, every noise and the system's answer decide what comes out.
TEST(Noise, WhatGoesInDecidesWhatComesOut) {
  const std::vector<std::vector<uint8_t>> outs = {
      known(all_zeros, {}),         known(all_zeros, {""}),       known(all_zeros, {"a"}),
      known(all_zeros, {"a", "b"}), known(all_zeros, {"b", "a"}), known(all_zeros, {"ab"}),
      known(all_ones, {}),          known(all_ones, {"a"}),       known(all_ones, {"a", "b"}),
  };
  EXPECT_EQ(std::set(outs.begin(), outs.end()).size(), outs.size());
  EXPECT_EQ(known(all_ones, {"a", "b"}), outs.back()) << "something else went in";
}

TEST(Noise, AnyLengthIsFilledAndNoMore) {
  SshNoise noise;
  for (const size_t length : {0u, 1u, 63u, 64u, 65u, 128u, 1000u}) {
    std::vector<uint8_t> out(length + 8, 0xAA);
    ASSERT_TRUE(noise.octets(out.data(), length));
    EXPECT_EQ(hex(Bytes(out).last(8)), "aaaaaaaaaaaaaaaa") << length;
    if (length < 64) continue;
    const auto untouched = std::count(out.begin(), out.end() - 8, 0xAA);
    EXPECT_LT(untouched, 30) << length;  // about four would be of a thousand
  }
}

// Whoever gets hold of a pool must not find in it what was given out: the state that an output came
// from is gone, also after the last one.
TEST(Noise, OutputLeavesAnotherState) {
  const auto left_by = [](size_t taken) {
    alignas(SshNoise) uint8_t place[sizeof(SshNoise)] = {};
    auto *noise = new (place) SshNoise(all_zeros);
    (void)take(*noise, taken);
    std::vector<uint8_t> left(std::begin(place), std::end(place));
    noise->~SshNoise();
    return left;
  };
  EXPECT_EQ(left_by(64), left_by(64));
  EXPECT_NE(left_by(0), left_by(1));
  EXPECT_NE(left_by(64), left_by(65));
}

// A pool whose system gives nothing gives nothing either, however much noise it has.
TEST(Noise, FailureOfTheSystemIsTold) {
  SshNoise noise(nothing);
  noise.add(ssh_text_bytes("much noise"));
  uint8_t out[40] = {};
  EXPECT_FALSE(noise.octets(out, sizeof out));
  EXPECT_EQ(std::count(std::begin(out), std::end(out), 0), 40);
}

TEST(Noise, StateIsNeverGivenOutAndIsWiped) {
  alignas(SshNoise) uint8_t place[sizeof(SshNoise)] = {};
  const auto holds = [&place](Bytes octets) {
    return std::search(std::begin(place), std::end(place), octets.begin(), octets.end()) !=
           std::end(place);
  };
  auto *noise = new (place) SshNoise(all_zeros);
  const std::vector<uint8_t> fresh(std::begin(place), std::end(place));  // but for the state
  noise->add(ssh_text_bytes("noise"));
  const std::vector<uint8_t> before(std::begin(place), std::end(place));
  EXPECT_NE(before, fresh);
  const std::vector<uint8_t> out = take(*noise, 640);
  EXPECT_NE(hex(before), hex(place));
  for (size_t at = 0; at + 8 <= out.size(); ++at) {
    const Bytes piece = Bytes(out).subspan(at, 8);
    ASSERT_FALSE(holds(piece)) << at;
    ASSERT_EQ(std::search(before.begin(), before.end(), piece.begin(), piece.end()), before.end());
  }
  noise->~SshNoise();
  EXPECT_EQ(hex(place), hex(fresh));
}
