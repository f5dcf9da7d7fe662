#include "util/mp_int.h"

#include "support/numbers.h"
#include "support/test.h"

namespace {

using namespace numbers;

using MpInt = Balanced;

// The low 32 bits count, whatever the sign; the shortest forms are compared with OpenSSL's.
TEST_F(MpInt, LongFormsAndSmallViews) {
  const std::tuple<const char *, const char *, bool, uint32_t> rows[] = {
      {"", "0", true, 0},
      {"00 00 80", "128", true, 0x80},
      {"FF FF FF", "-1", false, 0xFFFFFFFF},
      {"FE FF FF FF FE", "-4294967298", false, 0xFFFFFFFE}};
  for (const auto &[content, text, fits, low32] : rows) {
    SshMpInt value(77);
    value.set_twos_complement(unhex(content));
    EXPECT_EQ(decimal(value), text);
    EXPECT_EQ(value.low32(), low32);
    uint8_t octets[] = {0, 0, 0xAB, 0xCD};
    EXPECT_EQ(value.write_magnitude(octets, 4), fits);
    EXPECT_EQ(ssh_load_be32(octets), fits ? low32 : 0xABCD);
  }
}

TEST_F(MpInt, CopiesAndMovesAcrossTheInlineSize) {
  for (const size_t size : {SSH_MP_INLINE, SSH_MP_INLINE + 1}) {
    for (const size_t other : {SSH_MP_INLINE, SSH_MP_INLINE + 1}) {
      const SshMpInt value = number(Octets(size, 0xC3)), before = number(Octets(other, 0x3C));
      SshMpInt copy = before, moved = before;
      copy = value;
      copy = *&copy;
      EXPECT_EQ(copy, value);
      moved = std::move(copy);
      EXPECT_EQ(moved, value);
      copy = before;  // after it was moved from
      std::swap(copy, moved);
      EXPECT_TRUE(copy == value && moved == before);
    }
  }
  const SshMpInt small = number(Octets(SSH_MP_INLINE, 0xFF));
  const int64_t blocks = ssh_mem_blocks();
  EXPECT_EQ(SshMpInt(small), small);
  EXPECT_EQ(ssh_mem_blocks(), blocks) << "inline values take no block";
}

}  // namespace
