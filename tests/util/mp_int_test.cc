#include "util/mp_int.h"

#include "support/numbers.h"
#include "support/test.h"

namespace {

using namespace numbers;

// What is not the shortest form is read as well; the shortest are compared with OpenSSL's.
TEST(MpInt, TwosComplementAndSmallViews) {
  const std::tuple<const char *, const char *, const char *, bool, uint32_t> rows[] = {
      {"", "0", "00", true, 0},
      {"00 00 80", "128", "0080", true, 0x80},
      {"FF FF FF", "-1", "ff", false, 0xFFFFFFFF},
      {"00 FF FF FF FE", "4294967294", "00fffffffe", true, 0xFFFFFFFE},
      {"FE FF FF FF FE", "-4294967298", "fefffffffe", false, 0xFFFFFFFE},
      {"12 34 56 78 9A", "78187493530", "123456789a", false, 0x3456789A},
      {"80 00 00 00 00 00 00 00", "-9223372036854775808", "8000000000000000", false, 0}};
  for (const auto &[content, text, minimal, fits, low32] : rows) {
    SCOPED_TRACE(text);
    SshMpInt value(77);
    value.set_twos_complement(unhex(content));
    EXPECT_EQ(decimal(value), text);
    EXPECT_EQ(value, SshMpInt(std::stoll(text)));
    EXPECT_EQ(hex(twos_complement(value)), minimal);
    EXPECT_EQ(value.low32(), low32);
    uint32_t out = 0xABCD;
    EXPECT_EQ(value.to_uint32(out), fits);
    uint8_t octets[] = {0, 0, 0xAB, 0xCD};
    EXPECT_EQ(value.write_magnitude(octets, 4), fits);
    EXPECT_EQ(out, fits ? low32 : 0xABCD);
    EXPECT_EQ(ssh_load_be32(octets), out);
  }
}

using MpIntBlocks = Balanced;
TEST_F(MpIntBlocks, CopiesAndMovesAcrossTheInlineSize) {
  std::mt19937 random(3);
  std::vector<std::pair<SshMpInt, std::string>> values(8, {SshMpInt(), "0"});
  for (int i = 0; i < 4000; ++i) {
    auto &from = values[random() % 8], &to = values[random() % 8];
    const auto what = random() % 4;
    if (what == 0) to = from;
    if (what == 1) std::swap(to, from);
    if (what == 2) to = std::pair(from);
    if (what == 3) {
      to.first.set_magnitude(std::vector<uint8_t>(22 + random() % 5, 0xC3));
      to.second = decimal(to.first);
    }
    ASSERT_EQ(decimal(to.first), to.second);
    ASSERT_EQ(decimal(from.first), from.second);
  }
  SshMpInt small;
  small.set_magnitude(std::vector<uint8_t>(SSH_MP_INLINE, 0xFF));
  const int64_t blocks = ssh_mem_blocks();
  EXPECT_EQ(SshMpInt(small), small);
  EXPECT_EQ(ssh_mem_blocks(), blocks) << "inline values take no block";
}

}  // namespace
