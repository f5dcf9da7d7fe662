#include "asn1/template.h"

#include <gtest/gtest.h>

#include <string>

#include "asn1/node.h"
#include "support/fatal.h"
#include "support/hex.h"

namespace {

SshAsn1Program parse(std::string_view text) {
  return SshAsn1Parser(text.data(), text.size()).run();
}

TEST(Statuses, HaveTheirTexts) {
  EXPECT_STREQ(ssh_asn1_status_text(SSH_ASN1_OK), "Ok");
  EXPECT_STREQ(ssh_asn1_status_text(SSH_ASN1_MATCH_NOT_FOUND), "Match not found");
  EXPECT_STREQ(ssh_asn1_status_text(SSH_ASN1_ENCODE_FAILED), "Ber decode failed");  // as it was
  EXPECT_STREQ(ssh_asn1_status_text(23), "Not yet implemented");
  EXPECT_EQ(ssh_asn1_status_text(24), nullptr);
}

template <class... Texts>
void expect_fault(uint32_t fault, Texts... texts) {
  for (const std::string_view text : {texts...}) EXPECT_EQ(parse(text).fault, fault) << text;
}

TEST(Parser, NamesTheFault) {
  expect_fault(SSH_ASN1_TEMPLATE_TOO_SHORT, "(", "(integer", "(integer (", "(integer (e",
               "(integer (12", "(integer ()", "(sequence ()(integer ())", "(optional");
  expect_fault(SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND, "integer ()", "(integers ())", "(INTEGER ())",
               "()", "(integer)", "(integer e)", "(integer (x))", "(integer (-1))",
               "(integer (1 e))", "(integer (1 2))", "(integer (4294967296))", "(any ()(null ()))",
               "(optional (null ())(null ()))", "(null ()) null", "(sequence ()(null ()) null)",
               "(\xFF\x80 ())");
  expect_fault(SSH_ASN1_TEMPLATE_IMPLICATION, "(integer () integer)", "(choice x)",
               "(sequence () x (null ()))");
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

// The run-time doors: statuses for malformed text, the fatal routine for programming errors.
TEST(RunTimeText, MalformedTextIsAStatus) {
  const SshAsn1ContextOwner context(ssh_asn1_init());
  const struct {
    const char *text;
    SshAsn1Status read, create;
  } rows[] = {
      {"(integer-short (", SSH_ASN1_FORMAT_TOO_SHORT, SSH_ASN1_FORMAT_TOO_SHORT},
      {"(integer-shirt ())", SSH_ASN1_UNKNOWN_COMMAND, SSH_ASN1_UNKNOWN_COMMAND},
      {"(integer-short ())", SSH_ASN1_NODE_NULL, SSH_ASN1_OK},
      {"(integer-short ())) and more", SSH_ASN1_NODE_NULL, SSH_ASN1_OK},
  };
  SshAsn1Node node;
  for (const auto &row : rows) {
    uint32_t word = 7;
    EXPECT_EQ(ssh_asn1_read_node_text({}, row.text, &word), row.read) << row.text;
    EXPECT_EQ(word, 7U);
    EXPECT_EQ(ssh_asn1_create_node_text(context.get(), &node, row.text, word), row.create)
        << row.text;
    EXPECT_EQ(static_cast<bool>(node), row.create == SSH_ASN1_OK);
  }
  // These two have no arguments on create, where they mean nothing; no others are looked at either.
  for (const char *text : {"(choice (null ()))", "(set ()(optional (null ())))"}) {
    EXPECT_EQ(ssh_asn1_create_node_text(context.get(), &node, text), SSH_ASN1_UNKNOWN_COMMAND);
    EXPECT_EQ(ssh_asn1_create_node_text(context.get(), &node, text, 0), SSH_ASN1_UNKNOWN_COMMAND);
    SshAsn1Tree *tree = nullptr;
    EXPECT_EQ(ssh_asn1_create_tree_text(context.get(), &tree, text), SSH_ASN1_UNKNOWN_COMMAND);
    EXPECT_EQ(tree, nullptr);
  }
  SshAsn1Tree *tree = nullptr;
  ASSERT_EQ(ssh_asn1_create_tree_text(context.get(), &tree, "(integer-short ())", 5U), SSH_ASN1_OK);
  EXPECT_EQ(hex(ssh_asn1_get_current(tree).der()), "020105");
}

TEST(RunTimeText, ProgrammingErrorsAreFatal) {
  const SshAsn1ContextOwner context(ssh_asn1_init());
  SshAsn1Node node;
  uint32_t word = 0;
  uint8_t *block = nullptr;
  const auto read = [&](const char *text, auto... outputs) {
    (void)ssh_asn1_read_node_text(node, text, outputs...);
  };
  const auto create = [&](const char *text, auto... inputs) {
    (void)ssh_asn1_create_node_text(context.get(), &node, text, inputs...);
  };
  const SshAsn1Tree tree = {};
  EXPECT_FATAL(read(nullptr), "ssh_asn1_read_node: format string NULL.");
  EXPECT_FATAL((void)ssh_asn1_read_tree_text(&tree, nullptr),
               "ssh_asn1_read_tree: format string NULL.");
  const char kNoText[] = "ssh_asn1_create_node: called with NULL format string.";
  SshAsn1Tree *made = nullptr;
  EXPECT_FATAL(create(nullptr), kNoText);
  EXPECT_FATAL((void)ssh_asn1_create_tree_text(context.get(), &made, nullptr), kNoText);
  const char kImplication[] = "ssh_asn1_parse_command_list: implication not supported.";
  EXPECT_FATAL(read("(integer-short () x)", &word), kImplication);
  EXPECT_FATAL(create("(set () set)"), kImplication);
  const char kArguments[] =
      "ssh_asn1_parse_command_list: arguments do not match the format string.";
  EXPECT_FATAL(read("(integer-short ())"), kArguments);
  EXPECT_FATAL(read("(integer-short ())", &word, &word), kArguments);
  EXPECT_FATAL(read("(octet-string ())", &block), kArguments);
  EXPECT_FATAL(create("(boolean ())", word), kArguments);

  const uint8_t primitive_sequence[] = {0x10, 0x00};
  SshAsn1Work work = SshAsn1Work::for_input(2);
  ASSERT_EQ(ssh_asn1_decode_in_place(primitive_sequence, &work, &node), SSH_ASN1_OK);
  EXPECT_FATAL(read("(sequence ())"), "ssh_asn1_read_node_recurse: command definition corrupted.");
}

}  // namespace
