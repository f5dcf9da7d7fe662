// Object identifiers: dotted text and content bytes both ways.
#include "asn1/oid.h"

#include "support/test.h"

namespace {

std::string text_of(Bytes octets, bool standard = false) {
  const std::vector<uint8_t> exact(octets.begin(), octets.end());
  const SshText text(ssh_ber_oid_text({exact}, standard));
  EXPECT_EQ(ssh_ber_oid_is_valid(exact), text != nullptr);
  return text ? text.get() : "null";
}

std::string octets_of(const std::string &text, bool standard = false) {
  std::vector<uint8_t> out(SSH_OID_ENCODED_MAX(text.size()));
  return hex({out.data(), ssh_ber_oid_from_text(text.c_str(), out.data(), standard)});
}

// arcs_of gives the text of the arcs that are read from text.
std::string arcs_of(const std::string &text) {
  size_t count = 0;
  uint32_t *arcs = ssh_ber_oid_string_to_arcs(text.c_str(), &count);
  if (!arcs) return "null";
  const SshText joined(ssh_ber_arcs_to_oid_string(arcs, count));
  ssh_xfree(arcs);
  return joined.get();
}

}  // namespace

// By the standard the first number may be of any length, and stands for arc 2 from 80 on; in the
// classic form it is the first byte, which never continues.
TEST(Oid, ReadingOctets) {
  const char *const rows[][3] = {{"2a03", "1.2.3", "1.2.3"},
                                 {"78", "2.40", "3.0"},
                                 {"883701", "2.999.1", "3.16.55.1"},
                                 {"8180800001", "2.2097072.1", "3.9.0.1"},
                                 {"81", "3.9", "3.9"},  // it never ends
                                 {"2a80808001", "1.2.1", "1.2.1"},
                                 {"2affffff7f", "1.2.268435455", "1.2.268435455"},
                                 {"2a8080808001", "null", "null"},
                                 {"2a81", "null", "null"},
                                 {"", "null", "null"}};
  for (const auto &[octets, standard, classic] : rows) {
    EXPECT_EQ(text_of(unhex(octets), true), standard);
    EXPECT_EQ(text_of(unhex(octets)), classic);
    if (*standard == '2') {
      EXPECT_EQ(octets_of(standard, true), octets);
    }
  }
}

TEST(Oid, ReadingText) {
  const char *const rows[][3] = {
      {"1.2.840.113549.0", "2a864886f70d00", "1.2.840.113549.0"},
      {"1.2.268435456", "2a8180808000", "1.2.268435456"},  // reading refuses it
      {"1.2.4294967295", "2a8fffffff7f", "1.2.4294967295"},
      {"1.2.4294967296", "", "null"},
      {"7.1", "19", "7.1"},  // kept to eight bits
      {"..", "0000", "0.0.0"},
      {"", "", "0"},
      {"1.2 ", "", "null"}};
  for (const auto &[text, octets, arcs] : rows) {
    EXPECT_EQ(octets_of(text), octets) << text;
    EXPECT_EQ(arcs_of(text), arcs) << text;
  }
  EXPECT_STREQ(SshText(ssh_ber_arcs_to_oid_string(nullptr, 0)).get(), "");
}

TEST(Oid, TextAboveTheAllocationLimitIsRefused) {
  const std::vector<uint8_t> arcs(SSH_XMALLOC_MAX / 2, 1);  // two characters each, the first three
  EXPECT_TRUE(ssh_ber_oid_is_valid(arcs));
  EXPECT_EQ(ssh_ber_oid_text({arcs}), nullptr);
  const SshText fits(ssh_ber_oid_text({Bytes(arcs).first(arcs.size() - 1)}));
  ASSERT_NE(fits, nullptr);
  EXPECT_EQ(std::strlen(fits.get()), SSH_XMALLOC_MAX - 1);
}
