#include "asn1/template.h"

#include <gtest/gtest.h>

#include <string>

#include "asn1/node.h"
#include "support/fatal.h"

namespace {

SshAsn1Program parse(std::string_view text) {
  return SshAsn1Parser(text.data(), text.size()).run();
}

TEST(Keywords, StandInTheirSlots) {
  const struct {
    const char *word;
    uint32_t slot, tag;
    SshAsn1Type type;
  } rows[] = {
      {"boolean", 0, 1, SSH_ASN1_BOOLEAN},
      {"general-string", 1, 27, SSH_ASN1_OCTETS},
      {"bit-string", 3, 3, SSH_ASN1_BITS},
      {"object-identifier", 4, 6, SSH_ASN1_OID},
      {"null", 5, 5, SSH_ASN1_NULL},
      {"printable-string", 6, 19, SSH_ASN1_OCTETS},
      {"unrestricted-string", 7, 29, SSH_ASN1_OCTETS},
      {"graphic-string", 8, 25, SSH_ASN1_OCTETS},
      {"ia5-string", 11, 22, SSH_ASN1_OCTETS},
      {"generalized-time", 13, 24, SSH_ASN1_GENERALIZED_TIME},
      {"visible-string", 14, 26, SSH_ASN1_OCTETS},
      {"sequence", 15, 16, SSH_ASN1_CONSTRUCTED},
      {"optional", 16, 0, SSH_ASN1_OPTIONAL},
      {"utc-time", 17, 23, SSH_ASN1_UTC_TIME},
      {"enum", 18, 10, SSH_ASN1_INTEGER},
      {"enum-short", 19, 10, SSH_ASN1_SHORT},
      {"bmp-string", 22, 30, SSH_ASN1_OCTETS},
      {"universal-string", 23, 28, SSH_ASN1_OCTETS},
      {"teletex-string", 24, 20, SSH_ASN1_OCTETS},
      {"choice", 25, 0, SSH_ASN1_CHOICE},
      {"integer", 26, 2, SSH_ASN1_INTEGER},
      {"integer-short", 28, 2, SSH_ASN1_SHORT},
      {"utf8-string", 29, 12, SSH_ASN1_OCTETS},
      {"any", 31, 0, SSH_ASN1_ANY},
      {"set", 33, 17, SSH_ASN1_CONSTRUCTED},
      {"octet-string", 34, 4, SSH_ASN1_OCTETS},
      {"empty", 36, 0, SSH_ASN1_NULL},
  };
  for (const auto &row : rows) {
    ASSERT_EQ(ssh_asn1_keyword_find(row.word), row.slot) << row.word;
    EXPECT_EQ(kSshAsn1Keywords[row.slot].tag, row.tag) << row.word;
    EXPECT_EQ(kSshAsn1Keywords[row.slot].type, row.type) << row.word;
  }
  uint32_t occupied = 0;
  for (const SshAsn1Keyword &keyword : kSshAsn1Keywords) occupied += !keyword.text.empty();
  EXPECT_EQ(occupied, std::size(rows));
  for (const char *word : {"", "bool", "Boolean", "integers", "\xFF\x80", "set\n"}) {
    EXPECT_EQ(ssh_asn1_keyword_find(word), SSH_ASN1_KEYWORD_SLOTS) << word;
  }
}

TEST(Statuses, HaveTheirTexts) {
  const char *const texts[] = {"Ok",
                               "Ok garbage at end",
                               "Bad garbage at end",
                               "Operation failed",
                               "Constructed assumed",
                               "List empty",
                               "Missing closing marker",
                               "Format string too short",
                               "Unknown command",
                               "Format string ended",
                               "Node null",
                               "All null",
                               "No child",
                               "No parent",
                               "Ber open failed",
                               "Ber step failed",
                               "Ber close failed",
                               "Ber decode failed",
                               "Ber decode failed",
                               "Buffer overflow",
                               "Buffer too small",
                               "Match not found",
                               "Choice too many matches",
                               "Not yet implemented"};
  for (uint32_t code = 0; code < std::size(texts); ++code) {
    EXPECT_STREQ(ssh_asn1_status_text(code), texts[code]);
  }
  EXPECT_EQ(ssh_asn1_status_text(24), nullptr);
}

// show says what a program holds: each element with its class (u, a, c, p), tag and flags, children
// in braces.
std::string show(const SshAsn1Program &program, uint32_t first, uint32_t end) {
  std::string text;
  for (uint32_t i = first; i < end; i = program.ops[i].end) {
    const SshAsn1Op &op = program.ops[i];
    text += std::string(text.empty() ? "" : " ") + std::string(kSshAsn1Keywords[op.keyword].text);
    if (op.type < SSH_ASN1_CHOICE) {
      text += std::string(":") + "uacp"[op.cls] + std::to_string(op.tag);
      if (op.tagged) text += 't';
      if (op.is_explicit) text += 'e';
      if (op.indefinite) text += 'i';
      if (op.any_tag) text += '*';
    }
    if (op.children) text += "{" + show(program, i + 1, op.end) + "}";
  }
  return text;
}

TEST(Parser, ReadsTheGrammar) {
  const struct {
    std::string_view text, wanted;
  } rows[] = {
      {"", ""},
      {" \t\n\v\f\r", ""},
      {"(null ())", "null:u5"},
      {"( \n null( ) )", "null:u5"},
      {"(integer ())(enum ())", "integer:u2 enum:u10"},
      {"(sequence ()(integer ())(integer ()))", "sequence:u16{integer:u2 integer:u2}"},
      {"(sequence () )", "sequence:u16"},
      {"(optional (integer (1)))", "optional{integer:c1t}"},
      {"(choice(any (0)) (any (e 1)))", "choice{any:c0t any:c1te}"},
      {"(any ())", "any:u0"},
      {"(any (e))", "any:c0te"},
      {"(integer (a 3))", "integer:a3t"},
      {"(integer (a))", "integer:a0t"},
      {"(integer (u 9))", "integer:u9t"},
      {"(integer (p e007))", "integer:p7te"},
      {"(integer (cap))", "integer:p0t"},
      {"(sequence (i))", "sequence:u16i"},
      {"(sequence (i 4))", "sequence:c4ti"},
      {"(sequence (*) (any ()))", "sequence:u16*{any:u0}"},
      {"(set ( * i e a 4294967295 )(null ()))", "set:a4294967295tei*{null:u5}"},
      {"(boolean (1)(null ()))", "boolean:c1t{null:u5}"},
      {"(sequence ()(set ()(choice (null ())(optional (any ())))))",
       "sequence:u16{set:u17{choice{null:u5 optional{any:u0}}}}"},
      {"(choice)", "choice"},
  };
  for (const auto &row : rows) {
    const SshAsn1Program program = parse(row.text);
    EXPECT_EQ(program.fault, SSH_ASN1_TEMPLATE_OK) << row.text;
    EXPECT_EQ(show(program, 0, program.count), row.wanted) << row.text;
  }
}

TEST(Parser, NamesTheFault) {
  constexpr uint32_t kShort = SSH_ASN1_TEMPLATE_TOO_SHORT;
  constexpr uint32_t kUnknown = SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND;
  constexpr uint32_t kImplication = SSH_ASN1_TEMPLATE_IMPLICATION;
  const struct {
    std::string_view text;
    uint32_t fault;
  } rows[] = {
      {"(", kShort},
      {"(integer", kShort},
      {"(integer ", kShort},
      {"(integer (", kShort},
      {"(integer (e", kShort},
      {"(integer (12", kShort},
      {"(integer ()", kShort},
      {"(sequence ()(integer ())", kShort},
      {"(optional", kShort},
      {"integer ()", kUnknown},
      {"(integers ())", kUnknown},
      {"(INTEGER ())", kUnknown},
      {"()", kUnknown},
      {"(integer)", kUnknown},
      {"(integer e)", kUnknown},
      {"(integer (x))", kUnknown},
      {"(integer (-1))", kUnknown},
      {"(integer (1 e))", kUnknown},
      {"(integer (1 2))", kUnknown},
      {"(integer (4294967296))", kUnknown},
      {"(any ()(null ()))", kUnknown},
      {"(optional (null ())(null ()))", kUnknown},
      {"(null ()) null", kUnknown},
      {"(sequence ()(null ()) null)", kUnknown},
      {"(integer () integer)", kImplication},
      {"(choice x)", kImplication},
      {"(sequence () x (null ()))", kImplication},
      {"(null ()))", SSH_ASN1_TEMPLATE_UNBALANCED},
      {")", SSH_ASN1_TEMPLATE_UNBALANCED},
  };
  for (const auto &row : rows) EXPECT_EQ(parse(row.text).fault, row.fault) << row.text;
}

TEST(Parser, HasRoomForSoMuch) {
  const auto repeated = [](std::string_view part, size_t count) {
    std::string text;
    for (; count > 0; --count) text += part;
    return text;
  };
  EXPECT_EQ(parse(repeated("(null ())", SSH_ASN1_OPS_MAX)).fault, SSH_ASN1_TEMPLATE_OK);
  EXPECT_EQ(parse(repeated("(null ())", SSH_ASN1_OPS_MAX + 1)).fault, SSH_ASN1_TEMPLATE_TOO_LARGE);
  const auto nested = [&](size_t depth) {
    return repeated("(set ()", depth) + repeated(")", depth);
  };
  EXPECT_EQ(parse(nested(SSH_ASN1_DEPTH_MAX)).fault, SSH_ASN1_TEMPLATE_OK);
  EXPECT_EQ(parse(nested(SSH_ASN1_DEPTH_MAX + 1)).fault, SSH_ASN1_TEMPLATE_TOO_LARGE);
  EXPECT_EQ(parse(repeated("(", 100000)).fault, SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND);
}

TEST(Parser, SurvivesAnyChangeOfOneCharacter) {
  const std::string good =
      "(sequence () (optional (integer (e 1))) (choice (null ()) (any (* 2))))";
  size_t parsed = 0;
  for (size_t at = 0; at < good.size(); ++at) {
    for (int c = 0; c < 256; ++c) {
      std::string text = good;
      text[at] = static_cast<char>(c);
      const SshAsn1Program program = parse(text);
      if (program.fault != SSH_ASN1_TEMPLATE_OK) continue;
      ++parsed;
      for (uint32_t i = 0; i < program.count; ++i) {
        ASSERT_GT(program.ops[i].end, i) << text;
        ASSERT_LE(program.ops[i].end, program.count) << text;
      }
    }
    if (at == 0) continue;
    EXPECT_NE(parse(good.substr(0, at)).fault, SSH_ASN1_TEMPLATE_OK) << "cut at " << at;
  }
  EXPECT_GT(parsed, good.size()) << "blanks, digits and flags can change";
}

// The run-time doors: statuses for malformed text, the fatal routine for programming errors.
TEST(RunTimeText, MalformedTextIsAStatus) {
  const SshAsn1ContextOwner context(ssh_asn1_init());
  const struct {
    const char *text;
    SshAsn1Status read, create;
  } rows[] = {
      {"(integer-short (", SSH_ASN1_FORMAT_TOO_SHORT, SSH_ASN1_FORMAT_TOO_SHORT},
      {"(integer-short ()", SSH_ASN1_FORMAT_TOO_SHORT, SSH_ASN1_FORMAT_TOO_SHORT},
      {"(integer-shirt ())", SSH_ASN1_UNKNOWN_COMMAND, SSH_ASN1_UNKNOWN_COMMAND},
      {"(integer-short (z))", SSH_ASN1_UNKNOWN_COMMAND, SSH_ASN1_UNKNOWN_COMMAND},
      {"(integer-short ())", SSH_ASN1_NODE_NULL, SSH_ASN1_OK},
      {"(integer-short ())) and more", SSH_ASN1_NODE_NULL, SSH_ASN1_OK},
  };
  for (const auto &row : rows) {
    uint32_t word = 7;
    EXPECT_EQ(ssh_asn1_read_node_text({}, row.text, &word), row.read) << row.text;
    EXPECT_EQ(word, 7U);
    SshAsn1Node node;
    EXPECT_EQ(ssh_asn1_create_node_text(context.get(), &node, row.text, word), row.create)
        << row.text;
    EXPECT_EQ(static_cast<bool>(node), row.create == SSH_ASN1_OK);
  }
  int number = 0;
  SshAsn1Node node;
  EXPECT_EQ(ssh_asn1_create_node_text(context.get(), &node, "(choice (null ()))", number),
            SSH_ASN1_UNKNOWN_COMMAND);
  EXPECT_EQ(ssh_asn1_create_node_text(context.get(), &node, "(set ()(optional (null ())))", number),
            SSH_ASN1_UNKNOWN_COMMAND);
}

TEST(RunTimeText, ProgrammingErrorsAreFatal) {
  const SshAsn1ContextOwner context(ssh_asn1_init());
  SshAsn1Node node;
  uint32_t word = 0;
  size_t size = 0;
  uint8_t *block = nullptr;
  const auto read = [&](const char *text, auto... outputs) {
    (void)ssh_asn1_read_node_text(node, text, outputs...);
  };
  EXPECT_FATAL(read(nullptr), "ssh_asn1_read_node: format string NULL.");
  const SshAsn1Tree tree = {};
  EXPECT_FATAL((void)ssh_asn1_read_tree_text(&tree, nullptr),
               "ssh_asn1_read_tree: format string NULL.");
  EXPECT_FATAL((void)ssh_asn1_create_node_text(context.get(), &node, nullptr),
               "ssh_asn1_create_node: called with NULL format string.");
  const char kImplication[] = "ssh_asn1_parse_command_list: implication not supported.";
  EXPECT_FATAL(read("(integer-short () x)", &word), kImplication);
  EXPECT_FATAL((void)ssh_asn1_create_node_text(context.get(), &node, "(set () set)"), kImplication);
  const char kArguments[] =
      "ssh_asn1_parse_command_list: arguments do not match the format string.";
  EXPECT_FATAL(read("(integer-short ())"), kArguments);
  EXPECT_FATAL(read("(integer-short ())", &word, &word), kArguments);
  EXPECT_FATAL(read("(boolean ())", &word), kArguments);
  EXPECT_FATAL(read("(octet-string ())", &block), kArguments);
  EXPECT_FATAL(read("(octet-string ())", &block, &block), kArguments);
  EXPECT_FATAL(read("(octet-string ())", &size, &block), kArguments);
  EXPECT_FATAL((void)ssh_asn1_create_node_text(context.get(), &node, "(boolean ())", word),
               kArguments);

  const uint8_t primitive_sequence[] = {0x10, 0x00};
  SshAsn1Work work = SshAsn1Work::for_input(2);
  ASSERT_EQ(ssh_asn1_decode_in_place(primitive_sequence, &work, &node), SSH_ASN1_OK);
  EXPECT_FATAL(read("(sequence ())"), "ssh_asn1_read_node_recurse: command definition corrupted.");
}

}  // namespace
