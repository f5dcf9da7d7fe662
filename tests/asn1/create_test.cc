#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "asn1/node.h"
#include "support/hex.h"

namespace {

using Octets = std::vector<uint8_t>;

// all shows a list of nodes, one after the other.
std::string all(SshAsn1Node node) {
  std::string text;
  for (; node; node = ssh_asn1_node_next(node)) text += hex(node.der());
  return text;
}

// Nodes decodes hexadecimal text into nodes that live as long as it does.
struct Nodes {
  explicit Nodes(std::string_view text) : octets(unhex(text)) {
    EXPECT_EQ(ssh_asn1_decode_in_place(octets, &work, &node), SSH_ASN1_OK);
  }
  Octets octets;
  SshAsn1Work work = SshAsn1Work::for_input(octets.size());
  SshAsn1Node node;
};

// octets_of gives the octets of an argument that is a node.
Bytes octets_of(SshAsn1Node node) { return node.list(); }
template <class Other>
Bytes octets_of(const Other &) {
  return {};
}

// expect creates what a template describes and compares it with hexadecimal text, or, after "!",
// with a status.
template <SshAsn1Text Text, class... Inputs>
void expect(std::string_view wanted, SshAsn1Template<Text> text, Inputs... inputs) {
  const int64_t blocks = ssh_mem_blocks();
  {
    const SshAsn1ContextOwner context(ssh_asn1_init());
    SshAsn1Node node;
    const SshAsn1Status status = ssh_asn1_create_node(context.get(), &node, text, inputs...);
    for (const Bytes given : {Bytes(), octets_of(inputs)...})
      EXPECT_TRUE(!node || given.empty() || node.data != given.data()) << "not the context's own";
    const std::string got = status == SSH_ASN1_OK ? all(node) : "!" + std::to_string(status);
    const bool fails = wanted.starts_with('!');
    EXPECT_EQ(got, fails ? std::string(wanted) : hex(unhex(wanted))) << Text.text;
  }
  EXPECT_EQ(ssh_mem_blocks(), blocks) << Text.text;
}

TEST(Create, Primitives) {
  const SshMpInt n128(128);
  const uint8_t data[] = {0xFF, 0xFF, 0xFF}, *const start = data;
  const Bytes three(data);
  expect("0101ff", "(boolean ())"_asn1, 1);
  for (const int no : {0, 2, -1}) expect("010100", "(boolean ())"_asn1, no);
  expect("0a020080", "(enum ())"_asn1, &n128);
  expect("0203ffffff", "(integer ())"_asn1, three);
  expect("0a0500ffffffff", "(enum-short ())"_asn1, 0xFFFFFFFFU);
  expect("030100", "(bit-string ())"_asn1, SshAsn1Bits{});
  expect("03020780", "(bit-string ())"_asn1, SshAsn1Bits{three, 1});
  expect("030307ff80", "(bit-string ())"_asn1, start, size_t{9});
  expect("!18", "(bit-string ())"_asn1, SshAsn1Bits{three, 25});
  expect("!19", "(bit-string ())"_asn1, SshAsn1Bits{three, std::numeric_limits<size_t>::max()});
  expect("1e02ffff", "(bmp-string ())"_asn1, start, size_t{2});
  expect("0c00", "(utf8-string ())"_asn1, Bytes());
  expect("0500", "(null ())"_asn1);
  expect("", "(empty ())"_asn1);
  expect("3000", "(sequence ()(empty (1)))"_asn1);
  for (const char *bad : {"1", "", "1.x"}) expect("!18", "(object-identifier ())"_asn1, bad);
  expect("0603ffffff", "(object-identifier ())"_asn1, SshOid{three});
  expect("!18", "(object-identifier ())"_asn1, SshOid{});
}

TEST(Create, TagsAndLists) {
  const SshMpInt five(5);
  const Octets text(125, 0x61);
  expect("3000", "(sequence ())"_asn1);
  expect("05000101ff", "(null ())(boolean ())"_asn1, 1);
  expect("", ""_asn1);
  expect("810105", "(integer (1))"_asn1, &five);
  expect("63020500", "(sequence (a 3)(null ()))"_asn1);
  expect("a103020105", "(integer (e 1))"_asn1, &five);
  expect("ffffffff7f020500", "(null (ep 268435455))"_asn1);
  expect("!16", "(null (ep 268435456))"_asn1);  // no reader would open it
  expect("308005000000", "(sequence (i)(null ()))"_asn1);
  expect("a180 3080 0500 0000 0000", "(sequence (ei 1)(null ()))"_asn1);
  expect("020105", "(integer (i))"_asn1, &five);
  expect("308181 307f 047d" + hex(text), "(sequence ()(sequence ()(octet-string ())))"_asn1,
         Bytes(text));
}

TEST(Create, Any) {
  const Nodes one("0500"), list("0500 0101ff"), indefinite("3080 0500 0000"),
      inner("3080 0500 0101ff 0000"), stray("3009 0000 0500 0000 0101ff");
  const SshAsn1Node none, inside = ssh_asn1_node_child(inner.node),
                          strays = ssh_asn1_node_child(stray.node);
  expect("3000", "(sequence ()(any ())(any (e 1))(any (2)))"_asn1, none, none, none);
  expect("0500", "(any ())"_asn1, one.node);
  expect("3007 0500 0101ff 0500", "(sequence ()(any ())(any ()))"_asn1, list.node, one.node);
  expect("a10505000101ff", "(any (e 1))"_asn1, list.node);
  expect("a180 0500 0000", "(any (ei 1))"_asn1, one.node);
  // An implicit tag rewrites the first header and keeps its form.
  expect("81000101ff", "(any (1))"_asn1, list.node);
  expect("30045f814800", "(sequence ()(any (a 200)))"_asn1, one.node);
  expect("a180 0500 0000", "(any (1))"_asn1, indefinite.node);
  // The octets that close an indefinite length are no elements.
  expect("3005 0500 0101ff", "(sequence ()(any ()))"_asn1, inside);
  expect("3080 0500 0101ff 0000", "(sequence (i)(any ()))"_asn1, inside);
  expect("3080 0500 0101ff 0000", "(sequence (i)(any ()))"_asn1, strays);
  SshAsn1Work spent = {0};
  SshAsn1Node broke = list.node;
  broke.work = &spent;
  expect("!15", "(sequence ()(any ()))"_asn1, broke);
}

TEST(Create, SetsAreSorted) {
  const Nodes unsorted("0500 3080 0000 0101ff 0101ff");
  expect("310c 0101ff 0101ff 0500 3080 0000", "(set ()(any ()))"_asn1, unsorted.node);
  expect("a105 0101ff 0500", "(set (1)(null ())(boolean ()))"_asn1, 1);
  expect("a107 3105 0101ff 0500", "(set (e 1)(null ())(boolean ()))"_asn1, 1);
  expect("3005 0500 0101ff", "(sequence ()(null ())(boolean ()))"_asn1, 1);
  expect("3105 0500 0101ff", "(sequence (u 17)(null ())(boolean ()))"_asn1, 1);

  std::mt19937 random(5);
  std::vector<std::string> members;
  std::string list, sorted;
  for (int i = 0; i < 5000; ++i) {
    std::string member = {static_cast<char>(random() % 3 + 4), static_cast<char>(random() % 4)};
    for (char left = member[1]; left > 0; --left) member += static_cast<char>(random() * 0x7F);
    list += member;
    members.push_back(member);
  }
  std::sort(members.begin(), members.end());  // std::string compares octets as unsigned
  for (const std::string &member : members) sorted += member;
  const Nodes nodes(hex(ssh_text_bytes(list)));
  const SshAsn1ContextOwner context(ssh_asn1_init());
  SshAsn1Node set;
  ASSERT_EQ(ssh_asn1_create_node(context.get(), &set, "(set ()(any ()))"_asn1, nodes.node),
            SSH_ASN1_OK);
  EXPECT_TRUE(ssh_bytes_text(ssh_asn1_node_child(set).list()) == sorted);
}

// What create writes, read gives back, and from that the same is written again.
TEST(RoundTrip, RandomValues) {
  std::mt19937 random(6);
  const auto below = [&random](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
  const auto octets_of = [&](uint32_t limit) {
    Octets octets(below(limit));
    for (uint8_t &octet : octets)
      octet = static_cast<uint8_t>(below(4) ? random() : below(2) * 0xFF);
    return octets;
  };
  constexpr auto kText =
      "(sequence (i)(integer ())(enum (e 1))(octet-string (a 2))(set (i 3)(bit-string ())"
      "(boolean ()))(integer-short (ep 4))(object-identifier ())(utc-time ())"
      "(generalized-time ()))"_asn1;
  for (int i = 0; i < 3000; ++i) {
    const SshAsn1ContextOwner context(ssh_asn1_init());
    SshMpInt number, negative;
    number.set_magnitude(octets_of(40));
    negative.set_magnitude(octets_of(40), true);
    Bytes text;
    SshAsn1Bits bits;
    int flag = i % 2;
    uint32_t word = static_cast<uint32_t>(random() >> below(32));
    std::string dotted = "1.2." + std::to_string(below(1U << 28));
    SshBerTime utc = {1950 + below(100), 1 + below(12), 1 + below(31),
                      below(24),         below(60),     below(60)},
               generalized = utc;
    generalized.year += 1000;
    const auto create = [&](SshAsn1Node *made) {
      ASSERT_EQ(
          ssh_asn1_create_node(context.get(), made, kText, static_cast<const SshMpInt *>(&number),
                               static_cast<const SshMpInt *>(&negative), text, bits, flag, word,
                               dotted.c_str(), &utc, &generalized),
          SSH_ASN1_OK);
    };
    const Octets text_data = octets_of(i % 100 ? 300 : 70000), bit_data = octets_of(20);
    text = text_data;
    bits = {bit_data, bit_data.empty() ? 0 : bit_data.size() * 8 - below(8)};
    SshAsn1Node made, again;
    create(&made);
    number = negative = SshMpInt();
    char *read_dotted = nullptr;
    utc = generalized = {};
    flag = 7, word = 0;
    ASSERT_EQ(ssh_asn1_read_node(made, kText, &number, &negative, &text, &bits, &flag, &word,
                                 &read_dotted, &utc, &generalized),
              SSH_ASN1_OK);
    dotted = SshText(read_dotted).get();
    create(&again);
    ASSERT_TRUE(ssh_bytes_equal(made.list(), again.list())) << hex(made.list());
  }
}

}  // namespace
