#include "util/mp_int.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "util/mp_int_samples.h"

namespace {

using namespace mp_int;

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
          texts[to] = decimal(values[to]);
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

}  // namespace
