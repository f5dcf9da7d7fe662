#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "asn1/node.h"
#include "support/hex.h"

namespace {

using Octets = std::vector<uint8_t>;

// Make builds something in a context.
using Make = std::function<SshAsn1Status(SshAsn1Context *, SshAsn1Node *)>;

template <SshAsn1Text Text, class... Inputs>
Make make(SshAsn1Template<Text> text, Inputs... inputs) {
  return [text, inputs...](SshAsn1Context *context, SshAsn1Node *node) {
    return ssh_asn1_create_node(context, node, text, inputs...);
  };
}

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

struct Row {
  const char *why;
  Make make;
  std::string_view wanted;  // hexadecimal, or a status after "!"
};

void expect_rows(std::initializer_list<Row> rows) {
  const int64_t blocks = ssh_mem_blocks();
  {
    const SshAsn1ContextOwner context(ssh_asn1_init());
    for (const Row &row : rows) {
      SshAsn1Node node;
      const SshAsn1Status status = row.make(context.get(), &node);
      const std::string got = status == SSH_ASN1_OK ? all(node) : "!" + std::to_string(status);
      const bool fails = row.wanted.starts_with('!');
      EXPECT_EQ(got, fails ? std::string(row.wanted) : hex(unhex(row.wanted))) << row.why;
    }
  }
  EXPECT_EQ(ssh_mem_blocks(), blocks);
}

TEST(Create, Primitives) {
  const SshMpInt zero(0), minus_one(-1), minus_128(-128), minus_129(-129), n127(127), n128(128),
      n255(255);
  const uint8_t data[] = {0xFF, 0xFF, 0xFF};
  const Bytes three(data);
  const SshBerTime time = {
      .year = 2049, .month = 12, .day = 31, .hour = 23, .minute = 59, .second = 58};
  const SshBerTime offset = {
      .year = 2001, .month = 1, .day = 2, .microseconds = 500000, .tz_plus = 1, .tz_hours = 1};
  expect_rows({
      {"exactly 1 is true", make("(boolean ())"_asn1, 1), "0101ff"},
      {"2 is false", make("(boolean ())"_asn1, 2), "010100"},
      {"-1 is false", make("(boolean ())"_asn1, -1), "010100"},
      {"0", make("(integer ())"_asn1, &zero), "020100"},
      {"-1", make("(integer ())"_asn1, &minus_one), "0201ff"},
      {"-128", make("(integer ())"_asn1, &minus_128), "020180"},
      {"-129", make("(integer ())"_asn1, &minus_129), "0202ff7f"},
      {"127", make("(integer ())"_asn1, &n127), "02017f"},
      {"128", make("(enum ())"_asn1, &n128), "0a020080"},
      {"255", make("(integer ())"_asn1, &n255), "020200ff"},
      {"content octets as they are", make("(integer ())"_asn1, three), "0203ffffff"},
      {"short 0", make("(integer-short ())"_asn1, uint32_t{0}), "020100"},
      {"short 2^32 - 1", make("(enum-short ())"_asn1, 0xFFFFFFFFU), "0a0500ffffffff"},
      {"no bits", make("(bit-string ())"_asn1, SshAsn1Bits{three, 0}), "030100"},
      {"no bits of nothing", make("(bit-string ())"_asn1, SshAsn1Bits{}), "030100"},
      {"one bit", make("(bit-string ())"_asn1, SshAsn1Bits{three, 1}), "03020780"},
      {"8 bits", make("(bit-string ())"_asn1, SshAsn1Bits{three, 8}), "030200ff"},
      {"9 bits", make("(bit-string ())"_asn1, static_cast<const uint8_t *>(data), size_t{9}),
       "030307ff80"},
      {"more bits than octets", make("(bit-string ())"_asn1, SshAsn1Bits{three, 25}), "!18"},
      {"a bit count near the end of size_t",
       make("(bit-string ())"_asn1, SshAsn1Bits{three, std::numeric_limits<size_t>::max()}), "!19"},
      {"octets", make("(octet-string ())"_asn1, three), "0403ffffff"},
      {"octets and length",
       make("(bmp-string ())"_asn1, static_cast<const uint8_t *>(data), size_t{2}), "1e02ffff"},
      {"no octets", make("(utf8-string ())"_asn1, Bytes()), "0c00"},
      {"null", make("(null ())"_asn1), "0500"},
      {"empty", make("(empty ())"_asn1), ""},
      {"a tagged empty one is nothing too", make("(sequence ()(empty (1)))"_asn1), "3000"},
      {"identifier", make("(object-identifier ())"_asn1, "1.2.840.113549.0"), "06072a864886f70d00"},
      {"empty arcs are 0", make("(object-identifier ())"_asn1, "1..5"), "06022805"},
      {"the first octet is cut to 8 bits", make("(object-identifier ())"_asn1, "2.999"), "060137"},
      {"one arc", make("(object-identifier ())"_asn1, "1"), "!18"},
      {"no arc", make("(object-identifier ())"_asn1, ""), "!18"},
      {"no number", make("(object-identifier ())"_asn1, "1.x"), "!18"},
      {"an arc of 33 bits", make("(object-identifier ())"_asn1, "1.2.4294967296"), "!18"},
      {"an identifier's octets", make("(object-identifier ())"_asn1, SshOid{three}), "0603ffffff"},
      {"no identifier", make("(object-identifier ())"_asn1, SshOid{}), "!18"},
      {"UTC time", make("(utc-time ())"_asn1, &time), "170d3439313233313233353935385a"},
      {"generalized time", make("(generalized-time ())"_asn1, &time),
       "180f32303439313233313233353935385a"},
      {"a zone in UTC time", make("(utc-time ())"_asn1, &offset),
       "17133031303130323030303030302e352b30313030"},
      {"no zone in generalized time", make("(generalized-time ())"_asn1, &offset),
       "180f32303031303130323030303030305a"},
  });
}

TEST(Create, TagsAndLists) {
  const SshMpInt five(5);
  const Octets text(125, 0x61);
  const std::string grown = "308181 307f 047d" + hex(text);
  expect_rows({
      {"empty sequence", make("(sequence ())"_asn1), "3000"},
      {"empty set", make("(set ())"_asn1), "3100"},
      {"siblings", make("(null ())(boolean ())"_asn1, 1), "05000101ff"},
      {"nothing", make(""_asn1), ""},
      {"nested", make("(sequence ()(sequence ()(null ()))(null ()))"_asn1), "3006 3002 0500 0500"},
      {"implicit", make("(integer (1))"_asn1, &five), "810105"},
      {"implicit, constructed", make("(sequence (a 3)(null ()))"_asn1), "63020500"},
      {"explicit", make("(integer (e 1))"_asn1, &five), "a103020105"},
      {"explicit, private, large", make("(null (ep 268435455))"_asn1), "ffffffff7f020500"},
      {"a tag that no reader opens", make("(null (ep 268435456))"_asn1), "!16"},
      {"indefinite", make("(sequence (i)(null ()))"_asn1), "308005000000"},
      {"indefinite, empty", make("(sequence (i))"_asn1), "30800000"},
      {"an indefinite wrapper holds an indefinite element", make("(sequence (ei 1)(null ()))"_asn1),
       "a180 3080 0500 0000 0000"},
      {"indefinite primitives are definite", make("(integer (i))"_asn1, &five), "020105"},
      {"lengths grow around their content",
       make("(sequence ()(sequence ()(octet-string ())))"_asn1, Bytes(text)), grown},
  });
}

TEST(Create, Any) {
  const Nodes one("0500"), list("0500 0101ff"), indefinite("3080 0500 0000"),
      inner("3080 0500 0101ff 0000");
  const Nodes stray("3009 0000 0500 0000 0101ff");
  const SshAsn1Node null_node, inside = ssh_asn1_node_child(inner.node),
                               strays = ssh_asn1_node_child(stray.node);
  expect_rows({
      {"left out", make("(set ()(any ()))"_asn1, null_node), "3100"},
      {"left out with its tag",
       make("(sequence ()(any (e 1))(any (2)))"_asn1, null_node, null_node), "3000"},
      {"in place", make("(sequence ()(any ()))"_asn1, one.node), "30020500"},
      {"alone", make("(any ())"_asn1, one.node), "0500"},
      {"a list", make("(sequence ()(any ()))"_asn1, list.node), "300505000101ff"},
      {"the same node twice", make("(sequence ()(any ())(any ()))"_asn1, one.node, one.node),
       "300405000500"},
      {"explicit", make("(any (e 1))"_asn1, list.node), "a10505000101ff"},
      {"implicit rewrites the first header", make("(any (1))"_asn1, list.node), "81000101ff"},
      {"implicit with a longer header", make("(sequence ()(any (a 200)))"_asn1, one.node),
       "30045f814800"},
      {"implicit keeps an indefinite length", make("(any (1))"_asn1, indefinite.node),
       "a180 0500 0000"},
      {"explicit and indefinite", make("(any (ei 1))"_asn1, one.node), "a180 0500 0000"},
      {"a list from an indefinite length", make("(sequence ()(any ()))"_asn1, inside),
       "3005 0500 0101ff"},
      {"and into one", make("(sequence (i)(any ()))"_asn1, inside), "3080 0500 0101ff 0000"},
      {"strays stay behind", make("(sequence (i)(any ()))"_asn1, strays), "3080 0500 0101ff 0000"},
  });
  SshAsn1Work spent = {0};
  SshAsn1Node broke = list.node;
  broke.work = &spent;
  expect_rows({{"without work left", make("(sequence ()(any ()))"_asn1, broke), "!15"}});
}

TEST(Create, SetOrder) {
  const SshMpInt five(5);
  const uint8_t data[] = {1, 2, 3};
  const Bytes longer(data), shorter(data, 2);
  const Nodes unsorted("0500 040103 0101ff 3080 0000 040102 0101ff");
  expect_rows({
      {"by tag", make("(set ()(octet-string ())(integer ())(boolean ()))"_asn1, longer, &five, 1),
       "310b 0101ff 020105 0403010203"},
      {"the length octet counts",
       make("(set ()(octet-string ())(octet-string ()))"_asn1, longer, shorter),
       "3109 04020102 0403010203"},
      {"elements of a list", make("(set ()(any ()))"_asn1, unsorted.node),
       "3112 0101ff 0101ff 040102 040103 0500 3080 0000"},
      {"an implicitly tagged set", make("(set (1)(null ())(boolean ()))"_asn1, 1),
       "a105 0101ff 0500"},
      {"an explicitly tagged set", make("(set (e 1)(null ())(boolean ()))"_asn1, 1),
       "a107 3105 0101ff 0500"},
      {"a sequence keeps its order", make("(sequence ()(null ())(boolean ()))"_asn1, 1),
       "3005 0500 0101ff"},
      {"a sequence under the tag of a set", make("(sequence (u 17)(null ())(boolean ()))"_asn1, 1),
       "3105 0500 0101ff"},
  });
}

// A set of many members, against the order of std::string.
TEST(Create, SetOrderOfMany) {
  std::mt19937 random(5);
  std::vector<std::string> members;
  Octets octets;
  for (int i = 0; i < 5000; ++i) {
    Octets member = {static_cast<uint8_t>(random() % 3 + 4), static_cast<uint8_t>(random() % 4)};
    for (uint8_t left = member[1]; left > 0; --left)
      member.push_back(static_cast<uint8_t>(random() % 3));
    octets.insert(octets.end(), member.begin(), member.end());
    members.emplace_back(member.begin(), member.end());
  }
  std::sort(members.begin(), members.end());  // std::string compares octets as unsigned
  std::string sorted;
  for (const std::string &member : members) sorted += member;

  const SshAsn1ContextOwner context(ssh_asn1_init());
  SshAsn1Work work = SshAsn1Work::for_input(octets.size());
  SshAsn1Node node, set;
  ASSERT_EQ(ssh_asn1_decode_in_place(octets, &work, &node), SSH_ASN1_OK);
  ASSERT_EQ(ssh_asn1_create_node(context.get(), &set, "(set ()(any ()))"_asn1, node), SSH_ASN1_OK);
  EXPECT_EQ(ssh_bytes_text(ssh_asn1_node_child(set).list()), sorted);
}

TEST(Create, TreesListsAndCopies) {
  const int64_t blocks = ssh_mem_blocks();
  {
    const SshAsn1ContextOwner context(ssh_asn1_init());
    SshAsn1Tree *tree = nullptr;
    ASSERT_EQ(
        ssh_asn1_create_tree(context.get(), &tree, "(sequence ()(null ()))(boolean ())"_asn1, 1),
        SSH_ASN1_OK);
    EXPECT_TRUE(tree->data.empty());
    EXPECT_EQ(ssh_asn1_get_current(tree).data, tree->root.data);
    EXPECT_EQ(ssh_asn1_node_size(tree), 7U);
    ASSERT_EQ(ssh_asn1_encode(context.get(), tree), SSH_ASN1_OK);
    uint8_t *copy = nullptr;
    size_t length = 0;
    ssh_asn1_get_data(tree, &copy, &length);
    EXPECT_EQ(hex({copy, length}), "300205000101ff");
    ssh_xfree(copy);
    ssh_asn1_node_get_data(ssh_asn1_node_next(tree->root), &copy, &length);
    EXPECT_EQ(hex({copy, length}), "0101ff");
    ssh_xfree(copy);
    EXPECT_EQ(ssh_asn1_encode_node(context.get(), tree->root), SSH_ASN1_OK);
    EXPECT_EQ(ssh_asn1_encode_node(context.get(), ssh_asn1_node_next(tree->root)),
              SSH_ASN1_CONSTRUCTED_ASSUMED);
    ASSERT_EQ(ssh_asn1_create_tree(context.get(), &tree, "(empty ())"_asn1), SSH_ASN1_OK);
    EXPECT_EQ(ssh_asn1_encode(context.get(), tree), SSH_ASN1_NODE_NULL);
    EXPECT_FALSE(ssh_asn1_node_next({}));
    EXPECT_FALSE(ssh_asn1_node_child({}));

    const Octets octets = unhex("0000 0500 0000 0101ff");
    ASSERT_EQ(ssh_asn1_decode(context.get(), octets, &tree), SSH_ASN1_OK);
    EXPECT_EQ(ssh_asn1_node_size(tree), 5U) << "ends of contents are no nodes";
    EXPECT_EQ(tree->data.size(), octets.size());
    ASSERT_EQ(ssh_asn1_encode(context.get(), tree), SSH_ASN1_OK);
    EXPECT_EQ(hex(tree->data), "05000101ff");

    const Nodes left("3080 0201 01 0000"), right("020102 020103");
    const SshAsn1Node null_node, inside = ssh_asn1_node_child(left.node);
    EXPECT_EQ(hex(inside.list()), "020101") << "the end of contents is no part of the list";
    EXPECT_EQ(all(ssh_asn1_add_list(context.get(), inside, right.node)), "020101020102020103");
    EXPECT_EQ(all(ssh_asn1_add_list(context.get(), right.node, inside)), "020102020103020101");
    EXPECT_EQ(all(ssh_asn1_add_list(context.get(), null_node, inside)), "020101");
    EXPECT_EQ(all(ssh_asn1_add_list(context.get(), inside, null_node)), "020101");
  }
  EXPECT_EQ(ssh_mem_blocks(), blocks);
}

// What create writes, read gives back: every primitive, over random values.
TEST(RoundTrip, RandomValues) {
  std::mt19937 random(6);
  const auto octets_of = [&random](size_t limit) {
    Octets octets(random() % limit);
    for (uint8_t &octet : octets)
      octet = static_cast<uint8_t>(random() % 4 ? random() : random() % 2 * 0xFF);
    return octets;
  };
  const auto below = [&random](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
  for (int i = 0; i < 3000; ++i) {
    const SshAsn1ContextOwner context(ssh_asn1_init());
    SshMpInt number;
    number.set_magnitude(octets_of(40), random() % 2 == 0);
    const Octets text = octets_of(i % 100 ? 300 : 70000), bit_data = octets_of(20);
    const size_t bit_count = bit_data.empty() ? 0 : bit_data.size() * 8 - random() % 8;
    const auto word = static_cast<uint32_t>(random() >> random() % 32);
    const int flag = i % 2;
    std::string dotted = std::to_string(below(6)) + "." + std::to_string(below(40));
    for (uint32_t arcs = below(6); arcs > 0; --arcs)
      dotted += "." + std::to_string((random() & 0xFFFFFFF) >> below(28));
    const SshBerTime time = {.year = 1950 + below(100),
                             .month = 1 + below(12),
                             .day = 1 + below(31),
                             .hour = below(24),
                             .minute = below(60),
                             .second = below(60)};
    SshAsn1Node made;
    ASSERT_EQ(
        ssh_asn1_create_node(
            context.get(), &made,
            "(sequence (i)(integer ())(enum (e 1))(octet-string (a 2))(set (i 3)(bit-string ())"
            "(boolean ()))(integer-short (ep 4))(object-identifier ())(utc-time ())"
            "(generalized-time ()))"_asn1,
            static_cast<const SshMpInt *>(&number), static_cast<const SshMpInt *>(&number),
            Bytes(text), SshAsn1Bits{bit_data, bit_count}, flag, word, dotted.c_str(), &time,
            &time),
        SSH_ASN1_OK);
    SshAsn1Tree *tree = nullptr;
    ASSERT_EQ(ssh_asn1_decode(context.get(), made.list(), &tree), SSH_ASN1_OK);
    SshMpInt got, got_enum;
    Bytes got_text;
    SshAsn1Bits got_bits;
    int got_flag = -1;
    uint32_t got_word = 0;
    char *got_dotted = nullptr;
    SshBerTime got_utc, got_generalized;
    ASSERT_EQ(
        ssh_asn1_read_tree(
            tree,
            "(sequence (i)(integer ())(enum (e 1))(octet-string (a 2))(set (i 3)(bit-string ())"
            "(boolean ()))(integer-short (ep 4))(object-identifier ())(utc-time ())"
            "(generalized-time ()))"_asn1,
            &got, &got_enum, &got_text, &got_bits, &got_flag, &got_word, &got_dotted, &got_utc,
            &got_generalized),
        SSH_ASN1_OK);
    const SshText owner(got_dotted);
    EXPECT_TRUE(got == number && got_enum == number);
    EXPECT_TRUE(ssh_bytes_equal(got_text, text));
    EXPECT_EQ(got_bits.bits, bit_count);
    EXPECT_TRUE(bit_count % 8 || ssh_bytes_equal(got_bits.octets, bit_data));
    EXPECT_EQ(got_flag, flag);
    EXPECT_EQ(got_word, word);
    EXPECT_EQ(got_dotted, dotted);
    EXPECT_TRUE(got_utc == time && got_generalized == time);
  }
}

}  // namespace
