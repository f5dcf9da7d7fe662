
#include <limits>

#include "asn1/node.h"
#include "support/test.h"

namespace {

using Octets = std::vector<uint8_t>;

// joined shows a list of nodes, one after the other.
std::string joined(SshAsn1Node node) {
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

// list_of gives the bytes of an argument that is a node.
Bytes list_of(SshAsn1Node node) { return node.list(); }
template <class Other>
Bytes list_of(const Other &) {
  return {};
}

// expect creates what a template describes and compares it with hexadecimal text, or, after "!",
// with a status.
template <SshAsn1Text Text, class... Inputs>
void expect(std::string_view wanted, SshAsn1Template<Text> text, Inputs... inputs) {
  const SshAsn1ContextOwner context(ssh_asn1_init());
  SshAsn1Node node;
  const SshAsn1Status status = ssh_asn1_create_node(context.get(), &node, text, inputs...);
  for (const Bytes given : {Bytes(), list_of(inputs)...})
    EXPECT_TRUE(!node || given.empty() || node.data != given.data()) << "not the context's own";
  const std::string got = status == SSH_ASN1_OK ? joined(node) : "!" + std::to_string(status);
  const bool fails = wanted.starts_with('!');
  EXPECT_EQ(got, fails ? std::string(wanted) : hex(unhex(wanted))) << Text.text;
}

using Create = Balanced;

TEST_F(Create, Primitives) {
  const SshMpInt n128(128);
  const SshBerTime time = {2049, 12, 31, 23, 59, 58};
  const uint8_t data[] = {0xFF, 0xFF, 0xFF}, *const start = data;
  const Bytes three(data);
  expect("0101ff", "(boolean ())"_asn1, 1);
  for (const int no : {0, 2}) expect("010100", "(boolean ())"_asn1, no);
  expect("0a020080", "(enum ())"_asn1, &n128);
  expect("180f 32303439313233313233353935385a", "(generalized-time ())"_asn1, &time);
  expect("170d 3439313233313233353935385a", "(utc-time ())"_asn1, &time);
  expect("0203ffffff", "(integer ())"_asn1, three);
  expect("03020780", "(bit-string ())"_asn1, SshAsn1Bits{three, 1});
  expect("030307ff80", "(bit-string ())"_asn1, start, size_t{9});
  expect("030100", "(bit-string ())"_asn1, SshAsn1Bits{three, 0});
  expect("0402ffff", "(octet-string ())"_asn1, start, size_t{2});
  expect("!18", "(bit-string ())"_asn1, SshAsn1Bits{three, 25});
  expect("!19", "(bit-string ())"_asn1, SshAsn1Bits{three, std::numeric_limits<size_t>::max()});
  expect("0c00", "(utf8-string ())"_asn1, Bytes());
  expect("", "(empty ())"_asn1);
  expect("!18", "(object-identifier ())"_asn1, "1.x");
  expect("06032a0304", "(object-identifier ())"_asn1, "1.2.3.4");
  expect("!18", "(object-identifier ())"_asn1, SshOid{});
}

TEST_F(Create, TagsAndLists) {
  const SshMpInt five(5);
  const Octets text(125, 0x61);
  expect("05000101ff", "(null ())(boolean ())"_asn1, 1);
  expect("a103020105", "(integer (e 1))"_asn1, &five);
  expect("ffffffff7f020500", "(null (ep 268435455))"_asn1);
  expect("!16", "(null (ep 268435456))"_asn1);  // no reader would open it
  expect("a180 3080 0500 0000 0000", "(sequence (ei 1)(null ()))"_asn1);
  expect("020105", "(integer (i))"_asn1, &five);
  expect("308181 307f 047d" + hex(text), "(sequence ()(sequence ()(octet-string ())))"_asn1,
         Bytes(text));
}

TEST_F(Create, Any) {
  const Nodes one("0500"), list("0500 0101ff"), indefinite("3080 0500 0000"),
      inner("3080 0500 0101ff 0000"), stray("3009 0000 0500 0000 0101ff");
  const SshAsn1Node none, inside = ssh_asn1_node_child(inner.node),
                          strays = ssh_asn1_node_child(stray.node);
  expect("3000", "(sequence ()(any ())(any (e 1))(any (2)))"_asn1, none, none, none);
  expect("3007 0500 0101ff 0500", "(sequence ()(any ())(any ()))"_asn1, list.node, one.node);
  expect("0500", "(any ())"_asn1, one.node);
  expect("", "(any ())"_asn1, none);
  expect("a10505000101ff", "(any (e 1))"_asn1, list.node);
  expect("a180 0500 0000", "(any (ei 1))"_asn1, one.node);
  // An implicit tag rewrites the first header and keeps its form.
  expect("30045f814800", "(sequence ()(any (a 200)))"_asn1, one.node);
  expect("a180 0500 0000", "(any (1))"_asn1, indefinite.node);
  // The bytes that close an indefinite length are no elements.
  expect("3005 0500 0101ff", "(sequence ()(any ()))"_asn1, inside);
  expect("3080 0500 0101ff 0000", "(sequence (i)(any ()))"_asn1, inside);
  expect("3080 0500 0101ff 0000", "(sequence (i)(any ()))"_asn1, strays);
  SshAsn1Work spent = {0};
  SshAsn1Node broke = list.node;
  broke.work = &spent;
  expect("!15", "(sequence ()(any ()))"_asn1, broke);
}

TEST_F(Create, SetsAreSorted) {
  // By their bytes, in which a shorter one comes first.
  const Nodes unsorted("0500 3080 0000 0101ff 0101ff 8001ff 800101 0402ff00 0401ff 0402ffff 0400");
  expect("311f 0101ff 0101ff 0400 0401ff 0402ff00 0402ffff 0500 3080 0000 800101 8001ff",
         "(set ()(any ()))"_asn1, unsorted.node);
  expect("a105 0101ff 0500", "(set (1)(null ())(boolean ()))"_asn1, 1);
  expect("3105 0500 0101ff", "(sequence (u 17)(null ())(boolean ()))"_asn1, 1);
}

}  // namespace
