#include "asn1/ber.h"

#include "support/der.h"
#include "support/test.h"

namespace {

using Octets = std::vector<uint8_t>;

TEST(BerHeader, RefusesWhatIsCutOrTooLong) {
  const std::pair<const char *, SshBerStatus> rows[] = {
      {"0480", SSH_BER_OK},
      {"1f81818181", SSH_BER_CUT},
      {"04820102aaaa", SSH_BER_CUT},
      {"1f818181810100", SSH_BER_TAG_TOO_LONG},
      {"04850000000000", SSH_BER_LENGTH_TOO_LONG}};
  for (const auto &[text, status] : rows) {
    const Octets octets = unhex(text);
    SshBerElement got;
    for (const auto open : {ssh_ber_open_element, ssh_ber_open})
      EXPECT_EQ(open(octets.data(), octets.data() + octets.size(), got), status) << text;
  }
  SshBerElement largest = {SSH_BER_PRIVATE, true, false, 0, UINT32_MAX, UINT32_MAX};
  uint8_t header[SSH_BER_HEADER_MAX] = {};
  EXPECT_EQ(ssh_ber_set_tag_length(header, sizeof header - 1, largest), SSH_BER_NO_ROOM);
  EXPECT_EQ(ssh_ber_set_tag_length(header, sizeof header, largest), SSH_BER_OK);
  EXPECT_EQ(hex(header), "ff8fffffff7f84ffffffff");
}

using BerCheck = Balanced;

// Around the room that grows: a list of both forms of length is good as it is, and its part before
// what is too much; cut, it is not.
TEST_F(BerCheck, FollowsEveryLevel) {
  Octets nested;
  for (size_t level = 1; level < 300; ++level) {
    nested = level % 3 ? der::seq({nested, {5, 0}}) : der::indefinite(0x30, {nested});
    const SshBerExtent whole = ssh_ber_check(nested),
                       more = ssh_ber_check(der::join({nested, {5}})),
                       cut = ssh_ber_check(Bytes(nested).first(nested.size() - 1));
    EXPECT_TRUE(!whole.fault && whole.good == nested.size() && whole.elements == 1) << level;
    EXPECT_TRUE(more.fault && more.good == nested.size() && more.elements == 1) << level;
    EXPECT_TRUE(!more.fault_inside && cut.fault && cut.good == 0 && cut.elements == 0) << level;
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
    const SshBerExtent got = ssh_ber_check(octets);  // one call each would overflow any stack
    EXPECT_EQ(got.fault_inside, levels > 1U << 20) << "more levels than are followed";
    EXPECT_EQ(got.good, got.fault ? 0 : octets.size());
  }
}

}  // namespace
