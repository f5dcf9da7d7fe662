// Decoding, walking, and what trees and lists do.
#include "asn1/node.h"

#include "support/test.h"

namespace {

using Octets = std::vector<uint8_t>;

// all shows a list of nodes, one after the other.
std::string all(SshAsn1Node node) {
  std::string text;
  for (; node; node = ssh_asn1_node_next(node)) text += hex(node.der()) + " ";
  return text;
}

TEST(Decode, Statuses) {
  const std::tuple<std::string_view, SshAsn1Status, std::string_view> rows[] = {
      {"", SSH_ASN1_OK, ""},
      {"3080 0500 0000 0101ff", SSH_ASN1_OK, "308005000000 0101ff "},
      {"0500 05", SSH_ASN1_OK_GARBAGE, "0500 "},
      {"0500 3001 05", SSH_ASN1_BAD_GARBAGE, "0500 "},
      {"3080 3003 020105 3080 0000 0000 05", SSH_ASN1_OK_GARBAGE, "30803003020105308000000000 "},
      {"0500 3080 3005 020105 0000", SSH_ASN1_BAD_GARBAGE, "0500 "},
      {"05", SSH_ASN1_BER_OPEN_FAILED, ""},
      {"3001 05 0500", SSH_ASN1_BER_OPEN_FAILED, ""},
  };
  const SshAsn1ContextOwner context(ssh_asn1_init());
  for (const auto &[digits, status, nodes] : rows) {
    Octets octets = unhex(digits);
    SshAsn1Tree *tree = nullptr;
    EXPECT_EQ(ssh_asn1_decode(context.get(), octets, &tree), status) << digits;
    SshAsn1Work work = SshAsn1Work::for_input(octets.size());
    SshAsn1Node in_place;
    const uint8_t *fault_at = nullptr;
    EXPECT_EQ(ssh_asn1_decode_in_place(octets, &work, &in_place, &fault_at), status) << digits;
    EXPECT_EQ(fault_at != nullptr, status != SSH_ASN1_OK);
    EXPECT_EQ(all(in_place), nodes);
    EXPECT_EQ(tree == nullptr, status == SSH_ASN1_BER_OPEN_FAILED);
    std::fill(octets.begin(), octets.end(), uint8_t{0xEE});  // the tree is a copy
    EXPECT_EQ(tree ? all(ssh_asn1_get_current(tree)) : "", nodes);
  }
}

// Going down ends early when it would cost too much.
TEST(Decode, GoingDownMeetsTheBudget) {
  Octets octets(400000, 0);
  for (size_t i = 0; i < 100000; ++i) octets[2 * i] = 0xA0, octets[2 * i + 1] = 0x80;
  size_t reads = 0, depth = 0;
  SshAsn1Work work = SshAsn1Work::for_input(octets.size()), again = work;
  SshAsn1Node node;
  ASSERT_EQ(ssh_asn1_decode_in_place(octets, &work, &node), SSH_ASN1_OK);
  while (ssh_asn1_read_node(node, "(any (ei 0))"_asn1, &node) == SSH_ASN1_OK) ++reads;
  ASSERT_EQ(ssh_asn1_decode_in_place(octets, &again, &node), SSH_ASN1_OK);
  for (; node; node = ssh_asn1_node_child(node)) ++depth;
  EXPECT_EQ(work.left + again.left, 0U);
  EXPECT_TRUE(reads > 30 && reads < 200 && depth > 30 && depth < 200) << reads << " " << depth;
}

using Tree = Balanced;
TEST_F(Tree, EncodesAndCopies) {
  const SshAsn1ContextOwner context(ssh_asn1_init());
  SshAsn1Tree *tree = nullptr;
  ASSERT_EQ(
      ssh_asn1_create_tree(context.get(), &tree, "(sequence ()(null ()))(boolean ())"_asn1, 1),
      SSH_ASN1_OK);
  const SshAsn1Node second = ssh_asn1_node_next(tree->root);
  EXPECT_EQ(ssh_asn1_encode(context.get(), tree), SSH_ASN1_OK);
  EXPECT_EQ(ssh_asn1_encode_node(context.get(), second), SSH_ASN1_CONSTRUCTED_ASSUMED);
  EXPECT_EQ(ssh_asn1_encode_node(context.get(), tree->root), SSH_ASN1_OK);
  EXPECT_EQ(ssh_asn1_encode_node(context.get(), {}), SSH_ASN1_NODE_NULL);
  uint8_t *copy = nullptr, *part = nullptr;
  size_t length = 0, part_length = 0;
  ssh_asn1_get_data(tree, &copy, &length);
  ssh_asn1_node_get_data(second, &part, &part_length);
  const SshBlock copy_owner(copy), part_owner(part);
  EXPECT_EQ(hex({copy, length}), "300205000101ff");
  EXPECT_EQ(hex({part, part_length}), "0101ff");
  ASSERT_EQ(ssh_asn1_decode(context.get(), unhex("0000 0500 0000 0101ff"), &tree), SSH_ASN1_OK);
  EXPECT_EQ(ssh_asn1_node_size(tree), 5U) << "ends of contents are no nodes";
  EXPECT_EQ(tree->data.size(), 9U);
  ASSERT_EQ(ssh_asn1_encode(context.get(), tree), SSH_ASN1_OK);
  EXPECT_EQ(hex(tree->data), "05000101ff");

  ASSERT_EQ(ssh_asn1_decode(context.get(), unhex("3080 0500 0000"), &tree), SSH_ASN1_OK);
  const SshAsn1Node inside = ssh_asn1_node_child(tree->root), none = ssh_asn1_node_child({});
  EXPECT_EQ(hex(inside.list()), "0500") << "the end of contents is no part of the list";
  EXPECT_EQ(all(ssh_asn1_add_list(context.get(), inside, second)), "0500 0101ff ");
  EXPECT_EQ(all(ssh_asn1_add_list(context.get(), none, inside)), "0500 ");
  EXPECT_EQ(all(ssh_asn1_add_list(context.get(), inside, none)), "0500 ");
}

}  // namespace
