#include "asn1/ber.h"

#include "support/small_stack.h"
#include "support/test.h"

namespace {

using Octets = std::vector<uint8_t>;

TEST(BerHeader, RefusesWhatIsCutOrTooLong) {
  const std::pair<SshBerStatus, std::vector<const char *>> rows[] = {
      {SSH_BER_OK, {"a080", "0480", "30800000"}},
      {SSH_BER_CUT,
       {"", "02", "1f", "1f8101", "1f81818181", "048201", "0402aa", "04820102aaaa", "048180aa",
        "0484ffffffffaa"}},
      {SSH_BER_TAG_TOO_LONG, {"1f818181810100", "1f808080800200"}},
      {SSH_BER_LENGTH_TOO_LONG, {"04850000000000", "04ff"}},
  };
  for (const auto &[status, texts] : rows) {
    for (const char *text : texts) {
      const Octets octets = unhex(text);
      SshBerElement got;
      for (const auto open : {ssh_ber_open_element, ssh_ber_open})
        EXPECT_EQ(open(octets.data(), octets.data() + octets.size(), got), status) << text;
      EXPECT_TRUE(status != SSH_BER_OK || (got.indefinite && got.content().empty())) << text;
    }
  }
  SshBerElement largest = {SSH_BER_PRIVATE, true, false, 0, UINT32_MAX, UINT32_MAX};
  uint8_t header[SSH_BER_HEADER_MAX] = {};
  EXPECT_EQ(ssh_ber_set_tag_length(header, sizeof header - 1, largest), SSH_BER_NO_ROOM);
  EXPECT_EQ(ssh_ber_set_tag_length(header, sizeof header, largest), SSH_BER_OK);
  EXPECT_EQ(hex(header), "ff8fffffff7f84ffffffff");
}

// PlainCheck is what ssh_ber_check does in one pass, with a function call a level.
struct PlainCheck {
  const uint8_t *base, *p = base;
  size_t depth = 0;
  SshBerExtent extent = {};

  bool list(const uint8_t *end, bool indefinite) {
    while (p != end || indefinite) {
      if (ssh_ber_is_end(p, end)) {
        p += 2;
        if (indefinite) return true;
      } else {
        SshBerElement element;
        if (ssh_ber_open_element(p, end, element) != SSH_BER_OK) return false;
        p += element.header_length;
        const uint8_t *const after = p + element.content_length;
        ++depth;
        if (!element.constructed)
          p = after;
        else if (!list(element.indefinite ? end : after, element.indefinite))
          return false;
        --depth;
        extent.elements += depth == 0;
      }
      if (depth == 0) extent.good = static_cast<size_t>(p - base);
    }
    return true;
  }
};

void expect_plain_check(const Octets &octets) {
  const uint8_t *const end = octets.data() + octets.size();
  const SshBerExtent got = ssh_ber_check(octets);
  PlainCheck plain{octets.data()};
  ASSERT_EQ(!plain.list(end, false), got.fault) << hex(octets);
  ASSERT_EQ(got.good, plain.extent.good) << hex(octets);
  ASSERT_EQ(got.elements, plain.extent.elements) << hex(octets);
  if (got.fault) {
    ASSERT_EQ(got.fault_inside, plain.depth > 0) << hex(octets);
    ASSERT_EQ(got.fault_at, plain.p) << hex(octets);
  }
}

using BerCheck = Balanced;

TEST_F(BerCheck, AgreesWithAPlainWalk) {
  constexpr uint8_t kTelling[] = {0x00, 0x00, 0x00, 0x80, 0x30, 0x30, 0x02, 0x04,
                                  0x1F, 0x81, 0x01, 0x06, 0x85, 0xFF, 0x3F};
  std::mt19937 random(2);
  for (int i = 0; i < 300000; ++i) {
    Octets octets(random() % 16 + 2);
    for (uint8_t &octet : octets) octet = kTelling[random() % (i % 2 ? 8 : sizeof kTelling)];
    if (i % 4) octets[0] = 0x30, octets[1] = i % 4 == 1 ? 0x80 : octets[1];
    expect_plain_check(octets);
  }
  for (size_t levels = 60; levels < 260; ++levels) {  // around the room that grows
    std::string text;
    for (size_t i = 0; i < levels; ++i) text += "3080";
    for (const char *inside : {"", "30020500", "308105020100"}) {
      std::string closed = text + inside;
      for (size_t i = 0; i < levels; ++i) closed += "0000";
      expect_plain_check(unhex(closed));
      expect_plain_check(unhex(closed + "05"));
    }
  }
}

TEST_F(BerCheck, HasLimitsAndDepthCostsNoStack) {
  const Octets zeros(SSH_BER_INPUT_MAX + 1, 0x00);
  const SshBerExtent large = ssh_ber_check(zeros);
  EXPECT_TRUE(large.fault);
  EXPECT_EQ(large.good, 0U);
  EXPECT_FALSE(ssh_ber_check(Bytes(zeros).first(SSH_BER_INPUT_MAX)).fault);
  for (const size_t levels : {500000U, (1U << 20) + 2}) {
    Octets octets(levels * 4, 0);
    for (size_t i = 0; i < levels; ++i) octets[2 * i] = 0x30, octets[2 * i + 1] = 0x80;
    SshBerExtent got;
    run_on_small_stack([&] { got = ssh_ber_check(octets); });
    EXPECT_EQ(got.fault_inside, levels > 1U << 20) << "more levels than are followed";
    EXPECT_EQ(got.good, got.fault ? 0 : octets.size());
  }
}

}  // namespace
