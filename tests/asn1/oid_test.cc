// Object identifiers: dotted text and content octets both ways, against tables.
#include "asn1/oid.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "asn1/oid_texts.h"

using namespace oid;

namespace {

std::string arcs_text(const std::string &text) {
  size_t count = 0;
  uint32_t *arcs = ssh_ber_oid_string_to_arcs(text.c_str(), &count);
  if (!arcs) return "null";
  const SshText joined(ssh_ber_arcs_to_oid_string(arcs, count));
  ssh_xfree(arcs);
  return std::to_string(count) + ":" + joined.get();
}

}  // namespace

TEST(Oid, ReadingOctets) {
  constexpr const char *cases[][2] = {
      {"2a", "1.2"},
      {"2a864886f70d010101", "1.2.840.113549.1.1.1"},
      {"00", "0.0"},
      {"27", "0.39"},
      {"78", "3.0"},  // the standard's 2.40
      {"ff", "6.15"},
      {"2a00", "1.2.0"},
      {"2a8000", "1.2.0"},
      {"2affffff7f", "1.2.268435455"},
      {"2a80808001", "1.2.1"},
      {"2a8080808001", "null"},
      {"2a8180808000", "null"},
      {"2a81", "null"},
      {"2affffff", "null"},
      {"2affffffff", "null"},
      {"", "null"},
      {"81", "3.9"},  // the first octet never continues
  };
  for (const auto &[octets, text] : cases) EXPECT_EQ(text_of(unhex(octets)), text) << octets;
}

TEST(Oid, WritingOctets) {
  constexpr const char *cases[][2] = {
      {"1.2.840.113549.1.1.1", "2a864886f70d010101"},
      {"1.2.0", "2a00"},
      {"1.2.127.128", "2a7f8100"},
      {"1.2.268435455", "2affffff7f"},
      {"1.2.268435456", "2a8180808000"},  // written, though reading refuses it
      {"1.2.4294967295", "2a8fffffff7f"},
      {"1.2.4294967296", ""},
      {"4294967296.2", ""},
      {"7.1", "19"},  // kept to eight bits
      {"1.", "28"},
      {".", "00"},
      {"1..3", "2803"},
      {"1.2.", "2a00"},
      {"1", ""},
      {"", ""},
      {"1.2.x", ""},
      {"1.-2", ""},
      {"1.2 ", ""},
  };
  for (const auto &[text, octets] : cases) EXPECT_EQ(hex(octets_of(text)), octets) << text;
}

TEST(Oid, ArcsBothWays) {
  constexpr const char *cases[][2] = {
      {"1.2.840", "3:1.2.840"},
      {"4294967295.0", "2:4294967295.0"},
      {"4294967296.0", "null"},
      {"1.99999999999999999999999999999", "null"},
      {"", "1:0"},
      {"..", "3:0.0.0"},
      {"007.08", "2:7.8"},
      {"1.2a", "null"},
  };
  for (const auto &[text, joined] : cases) EXPECT_EQ(arcs_text(text), joined) << text;
  const SshText none(ssh_ber_arcs_to_oid_string(nullptr, 0));
  EXPECT_STREQ(none.get(), "");
}

TEST(Oid, TextAboveTheAllocationLimitIsRefused) {
  const std::vector<uint8_t> arcs(SSH_XMALLOC_MAX / 2,
                                  1);  // each takes two characters, and the first three
  EXPECT_TRUE(ssh_ber_oid_is_valid(arcs));
  EXPECT_EQ(ssh_ber_oid_text({arcs}), nullptr);
  const SshText fits(ssh_ber_oid_text({Bytes(arcs).first(arcs.size() - 1)}));
  ASSERT_NE(fits, nullptr);
  EXPECT_EQ(std::strlen(fits.get()), SSH_XMALLOC_MAX - 1);
  const std::string dots(SSH_XMALLOC_MAX / 4, '.');
  size_t count;
  EXPECT_EQ(ssh_ber_oid_string_to_arcs(dots.c_str(), &count), nullptr);
}

TEST(Oid, WhatReadsIsWrittenAgain) {
  Random random(4);
  size_t valid = 0;
  for (int i = 0; i < 20000; ++i) {
    std::vector<uint8_t> octets(1 + random() % 8);
    for (uint8_t &octet : octets)
      octet = static_cast<uint8_t>(random() % 3 ? random() & 0x7F : random());
    const std::string text = text_of(octets);
    if (text == "null") continue;
    ++valid;
    // Padded arcs come back shorter, but as the same text.
    EXPECT_EQ(text_of(octets_of(text)), text) << hex(octets);
  }
  EXPECT_GT(valid, 1000u);
}

TEST(Oid, ConstantsOfTheCompilerAreTheSame) {
  constexpr SshOidConstant a("1.2.840.113549.1.1.1"), b("2.5.29.15"), c("1.3.6.1.4.1.0.268435455");
  EXPECT_EQ(hex(a.oid().octets), hex(octets_of("1.2.840.113549.1.1.1")));
  EXPECT_EQ(hex(b.oid().octets), hex(octets_of("2.5.29.15")));
  EXPECT_EQ(hex(c.oid().octets), hex(octets_of("1.3.6.1.4.1.0.268435455")));
  EXPECT_TRUE(a.oid() == a.oid());
  EXPECT_FALSE(a.oid() == b.oid());
  EXPECT_FALSE(SshOid{});
}
