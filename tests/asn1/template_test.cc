#include "asn1/template.h"

#include "asn1/node.h"
#include "support/test.h"

namespace {

SshAsn1Program parse(std::string_view text) {
  return SshAsn1Parser(text.data(), text.size()).run();
}

template <class... Texts>
void expect_fault(uint32_t fault, Texts... texts) {
  for (const std::string_view text : {texts...}) EXPECT_EQ(parse(text).fault, fault) << text;
}

TEST(Parser, NamesTheFault) {
  expect_fault(SSH_ASN1_TEMPLATE_TOO_SHORT, "(", "(integer", "(integer (12", "(integer ()");
  expect_fault(SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND, "integer ()", "(integers ())", "(integer)",
               "(integer (x))", "(integer (4294967296))", "(any ()(null ()))",
               "(optional (null ())(null ()))", "(sequence ()(null ()) null)", "(\xFF\x80 ())");
  expect_fault(SSH_ASN1_TEMPLATE_IMPLICATION, "(integer () integer)", "(choice x)");
  expect_fault(SSH_ASN1_TEMPLATE_UNBALANCED, "(null ()))", ")");
}

TEST(Parser, HasRoomForSoMuch) {
  const auto fault_of = [](const std::string &part, size_t count, char end) {
    std::string text;
    for (size_t i = 0; i < count; ++i) text += part;
    return parse(text + std::string(count, end)).fault;
  };
  EXPECT_EQ(fault_of("(null ())", SSH_ASN1_OPS_MAX, ' '), SSH_ASN1_TEMPLATE_OK);
  EXPECT_EQ(fault_of("(null ())", SSH_ASN1_OPS_MAX + 1, ' '), SSH_ASN1_TEMPLATE_TOO_LARGE);
  EXPECT_EQ(fault_of("(set ()", SSH_ASN1_DEPTH_MAX, ')'), SSH_ASN1_TEMPLATE_OK);
  EXPECT_EQ(fault_of("(set ()", SSH_ASN1_DEPTH_MAX + 1, ')'), SSH_ASN1_TEMPLATE_TOO_LARGE);
}

// The run-time doors: statuses for malformed text, the fatal routine for wrong arguments.
TEST(RunTimeText, MalformedTextIsAStatus) {
  const SshAsn1ContextOwner context(ssh_asn1_init());
  SshAsn1Node node;
  SshAsn1Tree *tree = nullptr;
  uint32_t word = 7;
  const char *const cut = "(integer-short (", *const more = "(integer-short ())) and more";
  EXPECT_EQ(ssh_asn1_read_node_text({}, cut, &word), SSH_ASN1_FORMAT_TOO_SHORT);
  EXPECT_EQ(ssh_asn1_read_node_text({}, more, &word), SSH_ASN1_NODE_NULL);
  EXPECT_EQ(word, 7U);
  EXPECT_EQ(ssh_asn1_create_node_text(context.get(), &node, cut, word), SSH_ASN1_FORMAT_TOO_SHORT);
  EXPECT_FALSE(node);
  EXPECT_EQ(ssh_asn1_create_node_text(context.get(), &node, more, word), SSH_ASN1_OK);
  EXPECT_EQ(ssh_asn1_create_tree_text(context.get(), &tree, "(choice (null ()))", 0),
            SSH_ASN1_UNKNOWN_COMMAND)
      << "it means nothing on create";
  EXPECT_FATAL((void)ssh_asn1_read_node_text({}, "(octet-string ())", &word),
               "ssh_asn1_parse_command_list: arguments do not match the format string.");
}

}  // namespace
