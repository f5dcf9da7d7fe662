#include "util/mp_int.h"

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/crypto.h>

#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/hex.h"
#include "util/owner.h"

namespace {

using Number = std::unique_ptr<BIGNUM, decltype(&BN_free)>;

// bignum reads the magnitude and sign into the independent implementation.
Number bignum(const SshMpInt &value) {
  const Bytes octets = value.magnitude();
  Number number(BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr), BN_free);
  BN_set_negative(number.get(), value.negative());
  return number;
}

std::string peer_decimal(const SshMpInt &value) {
  const std::unique_ptr<char, void (*)(char *)> text(BN_bn2dec(bignum(value).get()),
                                                     [](char *p) { OPENSSL_free(p); });
  return text.get();
}

std::string decimal(const SshMpInt &value) { return SshText(value.to_decimal()).get(); }

SshMpInt from_hex(std::string_view text, bool negative = false) {
  SshMpInt value;
  value.set_magnitude(unhex(text), negative);
  return value;
}

// random_int is of up to `most` octets, often with runs of zeros or ones at its ends.
SshMpInt random_int(std::mt19937 &random, size_t most) {
  std::vector<uint8_t> octets(random() % (most + 1));
  const unsigned shape = static_cast<unsigned>(random() % 4);
  for (size_t i = 0; i < octets.size(); ++i) {
    const bool plain = shape == 0 || (shape == 3 ? i > octets.size() / 2 : i < octets.size() / 3);
    octets[i] = static_cast<uint8_t>(plain ? random() : shape == 1 ? 0x00 : 0xFF);
  }
  SshMpInt value;
  value.set_magnitude(octets, random() % 2 == 0);
  return value;
}

TEST(MpInt, TwosComplement) {
  const struct {
    const char *content;
    const char *text;
    bool minimal;
  } rows[] = {
      {"00", "0", true},
      {"", "0", false},
      {"7F", "127", true},
      {"00 80", "128", true},
      {"00 00 80", "128", false},
      {"80", "-128", true},
      {"FF 7F", "-129", true},
      {"FF", "-1", true},
      {"FF FF FF", "-1", false},
      {"FF 00", "-256", true},
      {"80 00", "-32768", true},
      {"80 01", "-32767", true},
      {"FF 7F FF", "-32769", true},
      {"80 00 00 00 00 00 00 00", "-9223372036854775808", true},
  };
  for (const auto &row : rows) {
    SshMpInt value(77);
    value.set_twos_complement(unhex(row.content));
    EXPECT_EQ(decimal(value), row.text);
    EXPECT_EQ(value, SshMpInt(std::stoll(row.text)));
    std::vector<uint8_t> content(value.twos_complement_length());
    value.write_twos_complement(content.data());
    EXPECT_EQ(content == unhex(row.content), row.minimal) << row.content;
  }
}

TEST(MpInt, TwosComplementRoundTripIsMinimal) {
  std::mt19937 random(1);
  for (int i = 0; i < 5000; ++i) {
    const SshMpInt value = random_int(random, 40);
    std::vector<uint8_t> content(value.twos_complement_length());
    value.write_twos_complement(content.data());
    SshMpInt back;
    back.set_twos_complement(content);
    ASSERT_EQ(back, value) << hex(content);
    ASSERT_EQ(content[0] >= 0x80, value.negative());
    const bool wasteful = content.size() > 1 && ((content[0] == 0 && content[1] < 0x80) ||
                                                 (content[0] == 0xFF && content[1] >= 0x80));
    ASSERT_FALSE(wasteful) << hex(content);
  }
}

TEST(MpInt, SmallViews) {
  const struct {
    const char *magnitude;
    bool negative;
    size_t bits;
    bool fits;
    uint32_t low32;
  } rows[] = {
      {"", false, 0, true, 0},
      {"00 00", true, 0, true, 0},
      {"01", false, 1, true, 1},
      {"01", true, 1, false, 0xFFFFFFFF},
      {"00 FF", false, 8, true, 255},
      {"FF FF FF FF", false, 32, true, 0xFFFFFFFF},
      {"01 00 00 00 00", false, 33, false, 0},
      {"01 00 00 00 02", true, 33, false, 0xFFFFFFFE},
      {"12 34 56 78 9A BC", false, 45, false, 0x56789ABC},
  };
  for (const auto &row : rows) {
    const SshMpInt value = from_hex(row.magnitude, row.negative);
    EXPECT_EQ(value.bits(), row.bits) << row.magnitude;
    EXPECT_EQ(value.low32(), row.low32) << row.magnitude;
    EXPECT_EQ(value.is_zero(), row.bits == 0) << row.magnitude;
    EXPECT_EQ(value.negative(), row.negative && row.bits > 0) << row.magnitude;
    uint32_t out = 0xABCD;
    EXPECT_EQ(value.to_uint32(out), row.fits) << row.magnitude;
    EXPECT_EQ(out, row.fits ? row.low32 : 0xABCD) << row.magnitude;
  }
}

// Compare, halve, bits and decimals against the independent implementation, around the inline size.
TEST(MpInt, AgreesWithAnIndependentImplementation) {
  std::mt19937 random(2);
  for (int i = 0; i < 3000; ++i) {
    SshMpInt a = random_int(random, i % 50 == 0 ? 700 : 30);
    const SshMpInt b = random_int(random, 30);
    const Number peer_a = bignum(a), peer_b = bignum(b);
    const auto sign = [](int order) { return (order > 0) - (order < 0); };
    ASSERT_EQ(sign(a.compare(b)), sign(BN_cmp(peer_a.get(), peer_b.get())));
    ASSERT_EQ(a.bits(), static_cast<size_t>(BN_num_bits(peer_a.get())));
    ASSERT_EQ(decimal(a), peer_decimal(a));
    BN_rshift1(peer_a.get(), peer_a.get());
    a.halve();
    ASSERT_EQ(BN_cmp(bignum(a).get(), peer_a.get()), 0);
    ASSERT_TRUE(a.is_zero() ? !a.negative() : a.magnitude()[0] != 0);
  }
}

TEST(MpInt, CopiesAndMovesAcrossTheInlineSize) {
  const int64_t before = ssh_mem_blocks();
  {
    std::mt19937 random(3);
    std::vector<SshMpInt> values(8);
    std::vector<std::string> texts(8, "0");
    for (int i = 0; i < 4000; ++i) {
      const size_t from = random() % 8, to = random() % 8;
      switch (random() % 4) {
        case 0:
          values[to] = values[from], texts[to] = texts[from];
          break;
        case 1:
          std::swap(values[to], values[from]), std::swap(texts[to], texts[from]);
          break;
        case 2: {
          SshMpInt copy(values[from]);
          values[to] = std::move(copy), texts[to] = texts[from];
          break;
        }
        default:
          values[to].set_magnitude(std::vector<uint8_t>(22 + random() % 5, 0xC3));
          texts[to] = peer_decimal(values[to]);
      }
      ASSERT_EQ(decimal(values[to]), texts[to]);
      ASSERT_EQ(decimal(values[from]), texts[from]);
    }
    const SshMpInt small = from_hex(std::string(2 * SSH_MP_INLINE, 'F'));
    const int64_t with_values = ssh_mem_blocks();
    const SshMpInt copy(small);
    EXPECT_EQ(ssh_mem_blocks(), with_values) << "inline values take no block";
    EXPECT_EQ(copy, small);
  }
  EXPECT_EQ(ssh_mem_blocks(), before);
}

TEST(MpInt, LargeDecimals) {
  std::vector<uint8_t> octets(SSH_MP_DECIMAL_MAX, 0xFE);
  SshMpInt value;
  value.set_magnitude(octets, true);
  const auto start = std::chrono::steady_clock::now();
  const std::string text = decimal(value);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(text, peer_decimal(value));
  EXPECT_LT(seconds.count(), 5) << "a few tenths of a second without sanitizers";

  octets.push_back(0);
  value.set_magnitude(octets);
  EXPECT_EQ(value.to_decimal(), nullptr);
}

}  // namespace
