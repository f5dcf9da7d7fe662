#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <string>
#include <vector>

#include "asn1/node.h"
#include "support/hex.h"
#include "support/small_stack.h"

namespace {

using Octets = std::vector<uint8_t>;

const uint8_t kUnsetOctet = 0;
constexpr int kUnset = -77;

// Outputs is a place for whatever one element stores, and tells what became of it.
struct Outputs {
  int number = kUnset;
  uint32_t word = 0xDEAD;
  SshMpInt integer{kUnset};
  Bytes bytes{&kUnsetOctet, 1};
  SshAsn1Bits bits{{&kUnsetOctet, 1}, 1};
  uint8_t *block = const_cast<uint8_t *>(&kUnsetOctet);
  size_t size = 0;
  char *text = reinterpret_cast<char *>(const_cast<uint8_t *>(&kUnsetOctet));
  SshOid oid{{&kUnsetOctet, 1}};
  SshBerTime time{.year = 77};
  SshAsn1Node node{&kUnsetOctet, nullptr, nullptr, nullptr};

  static std::string octets(Bytes octets) {
    if (octets.data() == &kUnsetOctet) return "?";
    return octets.empty() ? "''" : hex(octets);
  }
  static std::string with_bits(Bytes data, size_t bits) {
    if (data.data() == &kUnsetOctet) return "?";
    return octets(data.first((bits + 7) / 8)) + "/" + std::to_string(bits);
  }
  static std::string decimal(const SshMpInt &value) {
    const SshText text(value.to_decimal());
    return value == SshMpInt(kUnset) ? "?" : text.get();
  }
  [[nodiscard]] std::string owned_text(bool owned) const {
    if (!owned && oid.octets.data() == &kUnsetOctet) return "?";
    if (!owned) return SshText(ssh_ber_oid_text(oid)).get();
    return text == reinterpret_cast<const char *>(&kUnsetOctet) ? "?" : text;
  }

  [[nodiscard]] std::string show(SshAsn1Type type, bool owned) const {
    SshMpInt content;
    switch (type) {
      case SSH_ASN1_INTEGER:
        if (!owned) return decimal(integer);
        if (bytes.data() == &kUnsetOctet) return "?";
        content.set_twos_complement(bytes);
        return decimal(content);
      case SSH_ASN1_SHORT:
        return word == 0xDEAD ? "?" : std::to_string(word);
      case SSH_ASN1_BITS:
        return owned ? with_bits({block, (size + 7) / 8}, size) : with_bits(bits.octets, bits.bits);
      case SSH_ASN1_OCTETS:
        return octets(owned ? Bytes{block, size} : bytes);
      case SSH_ASN1_OID:
        return owned_text(owned);
      case SSH_ASN1_UTC_TIME:
      case SSH_ASN1_GENERALIZED_TIME:
        return time.year == 77 ? "?" : SshText(ssh_ber_time_to_string(&time)).get();
      case SSH_ASN1_ANY:
        return !node ? "null" : node.data == &kUnsetOctet ? "?" : hex(node.der());
      default:
        return number == kUnset ? "?" : std::to_string(number);
    }
  }

  [[nodiscard]] bool shows_a_block() const {
    const auto *octets_of_text = reinterpret_cast<const uint8_t *>(text);
    return (block && block != &kUnsetOctet) || (text && octets_of_text != &kUnsetOctet);
  }
  void release() {
    if (block != &kUnsetOctet) ssh_xfree(block);
    if (reinterpret_cast<uint8_t *>(text) != &kUnsetOctet) ssh_xfree(text);
  }
};

// read runs any template with an output for each of its elements, views or blocks of the caller's
// own, and gives the status followed by what each element stored: "?" where nothing was written.
std::string read(std::string_view text, SshAsn1Node node, bool owned) {
  SshAsn1Program program = SshAsn1Parser(text.data(), text.size()).run();
  std::vector<uint32_t> fits;
  std::vector<void *> pointers;
  std::deque<Outputs> outputs(program.count);
  for (uint32_t i = 0; i < program.count; ++i) {
    const SshAsn1Op &op = program.ops[i];
    const SshAsn1Binding &binding = kSshAsn1Bindings[op.type];
    if (binding.view == 0 || (op.children && op.type < SSH_ASN1_CONSTRUCTED)) continue;
    const bool own = owned && binding.owned;
    fits.push_back(own ? binding.owned : binding.view);
    Outputs &out = outputs[i];
    void *const places[] = {&out.number, &out.word, &out.integer, &out.bytes, &out.bits, &out.block,
                            &out.size,   &out.text, &out.oid,     &out.time,  &out.node};
    for (size_t form = 0; form < std::size(places); ++form) {
      if (fits.back() == 1U << form) pointers.push_back(places[form]);
    }
    if (!own || !binding.sized) continue;
    fits.push_back(SSH_ASN1_FORM_SIZE);
    pointers.push_back(&out.size);
  }
  fits.push_back(0);
  EXPECT_EQ(pointers.size() + 1, fits.size());
  ssh_asn1_bind(program, fits.data(), pointers.size());
  EXPECT_EQ(program.fault, SSH_ASN1_TEMPLATE_OK) << text;

  const int64_t blocks = ssh_mem_blocks();
  const SshAsn1Status status = ssh_asn1_run_read(node, program.ops, program.count, pointers.data());
  std::string result = std::to_string(status);
  for (uint32_t i = 0; i < program.count; ++i) {
    const SshAsn1Op &op = program.ops[i];
    if (kSshAsn1Bindings[op.type].view == 0) continue;
    if (op.children && op.type < SSH_ASN1_CONSTRUCTED) continue;
    if (status == SSH_ASN1_OK) {
      result += " " + outputs[i].show(op.type, owned && kSshAsn1Bindings[op.type].owned);
      outputs[i].release();
    } else {
      EXPECT_FALSE(outputs[i].shows_a_block()) << text << ": a block that is freed stays visible";
    }
  }
  EXPECT_EQ(ssh_mem_blocks(), blocks) << text << ": blocks left behind";
  return result;
}

// Row is a template, an input, and what reading gives.
struct Row {
  const char *why;
  std::string_view text, hex, wanted;
};

void expect_rows(std::initializer_list<Row> rows) {
  for (const Row &row : rows) {
    const Octets octets = unhex(row.hex);
    SshAsn1Work work = SshAsn1Work::for_input(octets.size());
    SshAsn1Node node;
    ASSERT_EQ(ssh_asn1_decode_in_place(octets, &work, &node), SSH_ASN1_OK) << row.why;
    for (const bool owned : {false, true}) {
      EXPECT_EQ(read(row.text, node, owned), row.wanted)
          << row.why << (owned ? ", owned" : ", views");
    }
  }
}

TEST(Read, Primitives) {
  expect_rows({
      {"true", "(boolean ())", "0101ff", "0 1"},
      {"any nonzero octet is true", "(boolean ())", "010102", "0 1"},
      {"false", "(boolean ())", "010100", "0 0"},
      {"boolean without content", "(boolean ())", "0100", "17"},
      {"boolean of two octets", "(boolean ())", "01020001", "17"},
      {"zero", "(integer ())", "020100", "0 0"},
      {"minus one", "(integer ())", "0201ff", "0 -1"},
      {"-128", "(integer ())", "020180", "0 -128"},
      {"255", "(integer ())", "020200ff", "0 255"},
      {"superfluous octets", "(integer ())", "0203ffff80", "0 -128"},
      {"no octets", "(integer ())", "0200", "0 0"},
      {"large", "(integer ())", "0209 010000000000000000", "0 18446744073709551616"},
      {"enum", "(enum ())", "0a0107", "0 7"},
      {"low 32 bits", "(integer-short ())", "0205 0180000001", "0 2147483649"},
      {"low 32 bits of minus one", "(integer-short ())", "0201ff", "0 4294967295"},
      {"enum-short", "(enum-short ())", "0a0107", "0 7"},
      {"bits", "(bit-string ())", "0303 07aa80", "0 aa80/9"},
      {"no bits", "(bit-string ())", "030100", "0 ''/0"},
      {"bit string without content", "(bit-string ())", "0300", "17"},
      {"more unused bits than bits", "(bit-string ())", "0302 09aa", "17"},
      {"unused bits without bits", "(bit-string ())", "030101", "17"},
      {"a whole unused octet", "(bit-string ())", "0303 08aabb", "0 aa/8"},
      {"octets", "(octet-string ())", "0403 010203", "0 010203"},
      {"no octets", "(octet-string ())", "0400", "0 ''"},
      {"null", "(null ())", "0500", "0"},
      {"null with content", "(null ())", "050100", "17"},
      {"empty", "(empty ())", "008100", "0"},
      {"identifier", "(object-identifier ())", "0603 2a0304", "0 1.2.3.4"},
      {"first octet above 79", "(object-identifier ())", "0601 c8", "0 5.0"},
      {"arc of 28 bits", "(object-identifier ())", "0605 2affffff7f", "0 1.2.268435455"},
      {"arc of 29 bits", "(object-identifier ())", "0606 2a 81808080 00", "17"},
      {"cut arc", "(object-identifier ())", "0602 2a81", "17"},
      {"empty identifier", "(object-identifier ())", "0600", "17"},
      {"UTC time", "(utc-time ())", "170d 3439313233313233353935395a",
       "0 2049 Dec 31st, 23:59:59 GMT"},
      {"bad UTC time", "(utc-time ())", "1701 31", "17"},
      {"generalized time", "(generalized-time ())", "180f 32303031303130313030303030305a",
       "0 2001 Jan  1st, 00:00:00 GMT"},
      {"bad generalized time", "(generalized-time ())", "1800", "17"},
  });
}

TEST(Read, EveryStringType) {
  const struct {
    const char *keyword;
    uint8_t tag;
  } rows[] = {{"octet-string", 4},         {"utf8-string", 12},    {"printable-string", 19},
              {"teletex-string", 20},      {"ia5-string", 22},     {"graphic-string", 25},
              {"visible-string", 26},      {"general-string", 27}, {"universal-string", 28},
              {"unrestricted-string", 29}, {"bmp-string", 30}};
  for (const auto &row : rows) {
    const std::string text = std::string("(") + row.keyword + " ())";
    const std::string input = hex(std::vector<uint8_t>{row.tag, 2, 0xAB, 0x00});
    expect_rows({{row.keyword, text, input, "0 ab00"}});
    if (row.tag != 4) expect_rows({{row.keyword, text, "0402ab00", "21"}});
  }
}

TEST(Read, MatchesTagsAndLengthForms) {
  expect_rows({
      {"implicit", "(integer (1))", "810105", "0 5"},
      {"implicit does not match the universal tag", "(integer (1))", "020105", "21"},
      {"application", "(integer (a 3))", "430105", "0 5"},
      {"private", "(integer (p 3))", "c30105", "0 5"},
      {"universal", "(integer (u 3))", "030105", "0 5"},
      {"a class without a number", "(integer (a))", "400105", "0 5"},
      {"another class", "(integer (a 3))", "830105", "21"},
      {"explicit", "(integer (e 1))", "a103 020105", "0 5"},
      {"explicit over another type", "(integer (e 1))", "a103 040105", "21"},
      {"explicit over the same tag of another class", "(integer (e 1))", "a103 820105", "21"},
      {"explicit looks only at the first child", "(integer (e 1))", "a105 0500 020105", "21"},
      {"an empty wrapper", "(integer (e 1))", "a100", "21"},
      {"a primitive wrapper", "(integer (e 1))", "8103020105", "21"},
      {"explicit any takes any child", "(any (e 1))", "a103 820105", "0 820105"},
      {"an empty wrapper for any", "(any (e 1))", "a100", "21"},
      {"implicit any", "(any (1))", "810105", "0 810105"},
      {"any takes anything", "(any ())", "df1f0105", "0 df1f0105"},
      {"indefinite is asked for", "(sequence (i)(null ()))", "3080 0500 0000", "0"},
      {"indefinite is not asked for", "(sequence ()(null ()))", "3080 0500 0000", "21"},
      {"definite although indefinite is asked for", "(sequence (i)(null ()))", "3002 0500", "21"},
      {"indefinite wrapper", "(integer (ei 1))", "a180 020105 0000", "0 5"},
      {"indefinite wrapper, not asked for", "(integer (e 1))", "a180 020105 0000", "21"},
      {"any takes either form", "(any ())", "3080 0500 0000", "0 308005000000"},
      {"tagged any looks at the form", "(any (1))", "a180 0500 0000", "21"},
      {"stars take any tag", "(integer (*))", "810105", "0 5"},
      {"stars take any form", "(sequence (*)(null ()))", "a080 0500 0000", "0"},
      {"stars take what is at the cursor alone", "(null ())(boolean (*))", "0500 020100 0101ff",
       "0 0"},
      {"stars take nothing from nothing", "(sequence (*)(any ()))", "", "10"},
      {"stars and a primitive", "(sequence (*)(any ()))", "0500", "4"},
      {"a set in disguise is a set", "(set (1)(boolean ())(integer ()))", "a106 020105 0101ff",
       "0 1 5"},
      {"tag 17 makes a set of a sequence", "(sequence (*)(boolean ())(integer ()))",
       "3106 020105 0101ff", "0 1 5"},
      {"tag 16 makes a sequence of a set", "(set (*)(boolean ())(integer ()))",
       "3006 020105 0101ff", "10"},
  });
}

TEST(Read, SearchesByTheListsRules) {
  expect_rows({
      {"untagged ones are searched for from the cursor on", "(sequence ()(boolean ())(integer ()))",
       "300a 0500 0101ff 0500 020105", "0 1 5"},
      {"but not before it", "(sequence ()(integer ())(boolean ()))", "3006 0101ff 020105", "10"},
      {"not before it, and something is left", "(sequence ()(integer ())(boolean ()))",
       "3008 0101ff 020105 0500", "21"},
      {"tagged ones stand in any order", "(sequence ()(boolean (1))(integer (0)))",
       "3006 800105 8101ff", "0 1 5"},
      {"tagged ones at top level too", "(boolean (1))(integer (0))", "800105 8101ff", "0 1 5"},
      {"a tagged one moves the cursor back", "(sequence ()(null ())(boolean (0))(integer ()))",
       "300a 8001ff 0500 020105 0500", "0 1 5"},
      {"a tagged one that any took is found again", "(any ())(boolean (1))", "8101ff",
       "0 8101ff 1"},
      {"and one that a choice took", "(choice (boolean (1)))(boolean (1))", "8101ff", "0 0 1 1"},
      {"behind a wrapper, not inside it", "(integer (e 1))(integer ())",
       "a106 020105 020106 020107", "0 5 7"},
      {"a set has no order", "(set ()(integer ())(boolean ())(null ()))", "3108 0500 0101ff 020105",
       "0 5 1"},
      {"a set gives the same element twice", "(set ()(integer ())(integer ()))", "3103 020105",
       "0 5 5"},
      {"nothing left", "(sequence ()(integer ()))", "3000", "10"},
      {"nothing left for a tagged one", "(sequence ()(integer (0)))", "3000", "10"},
      {"nothing left for a choice", "(sequence ()(choice (integer ())))", "3000", "21"},
      {"something left", "(sequence ()(integer ()))", "3002 0500", "21"},
      {"no list at all", "(null ())", "", "10"},
      {"nothing wanted", "", "0500", "0"},
      {"what follows is left alone", "(null ())", "0500 020105", "0"},
      {"no child", "(sequence ()(sequence ()(null ())))", "3002 3000", "10"},
      {"a primitive where a constructed one is wanted", "(sequence ()(null ()))", "1000", "4"},
      {"any of nothing is the empty list", "(sequence ()(any ()))", "3000", "0 null"},
      {"any of what is left", "(sequence ()(null ())(any ()))", "3002 0500", "0 null"},
      {"tagged any of nothing", "(sequence ()(any (0)))", "3000", "21"},
      {"any in a set stands at the cursor", "(set ()(null ())(any ()))", "3105 0500 0101ff",
       "0 0101ff"},
      {"ends of contents are no elements", "(sequence ()(null ())(any ()))",
       "300b 0000 0500 0000 0101ff 0000", "0 0101ff"},
      {"a primitive type in constructed form is passed over", "(octet-string ())(null ())",
       "2403 040100 0500", "0 ?"},
      {"a primitive type of indefinite length", "(octet-string (i))(null ())", "0480 0500", "0 ?"},
      {"a primitive type with children", "(octet-string ()(integer ()))", "2403 020105", "0 5"},
  });
}

TEST(Read, Optional) {
  expect_rows({
      {"present", "(optional (integer ()))", "020105", "0 1 5"},
      {"absent, its output left alone", "(optional (integer ()))", "0500", "0 0 ?"},
      {"absent at the end", "(optional (octet-string ()))", "", "0 0 ?"},
      {"absent wrapper", "(sequence ()(optional (any (e 0))))", "3003 020105", "0 0 ?"},
      {"absent any", "(sequence ()(optional (any ())))", "3000", "0 0 ?"},
      {"present any", "(sequence ()(optional (any ())))", "3002 0500", "0 1 0500"},
      {"an absent one does not move the cursor", "(optional (boolean ()))(integer ())", "020105",
       "0 0 ? 5"},
      {"an untagged one is found further on", "(optional (boolean ()))(null ())",
       "020105 0101ff 0500", "0 1 1"},
      {"absent with children", "(optional (sequence ()(integer ())(octet-string ())))", "0500",
       "0 0 ? ?"},
      {"nested", "(optional (sequence ()(optional (integer ()))))", "3000", "0 1 0 ?"},
      {"constructed form counts as absent", "(optional (octet-string ()))", "2403 040100", "0 0 ?"},
      {"constructed form does not move the cursor", "(optional (octet-string ()))(any ())", "2400",
       "0 0 ? 2400"},
      {"an error inside is an error", "(optional (boolean ()))", "0100", "17"},
      {"an error further inside", "(optional (sequence ()(integer ())))", "3002 0500", "21"},
      {"a primitive", "(optional (sequence ()(integer ())))", "1000", "4"},
      {"the form decides too", "(optional (sequence ()(null ())))", "3080 0500 0000", "0 0"},
      {"a choice that matches", "(optional (choice (null ())(integer ())))", "020105", "0 1 1 5"},
      {"a choice that does not", "(optional (choice (null ())(integer ())))", "0101ff", "0 0 -1 ?"},
      {"an optional choice of a constructed form", "(optional (choice (octet-string ())))", "2400",
       "0 0 -1 ?"},
  });
}

TEST(Read, Choice) {
  expect_rows({
      {"first", "(choice (integer ())(boolean ()))", "020105", "0 0 5 ?"},
      {"second", "(choice (integer ())(boolean ()))", "0101ff", "0 1 ? 1"},
      {"none", "(choice (integer ())(boolean ()))", "0500", "21"},
      {"none left", "(choice (integer ())(any ()))", "", "21"},
      {"two", "(choice (integer ())(any ()))", "020105", "22"},
      {"two that hand out blocks", "(choice (octet-string ())(octet-string ()))", "0401aa", "22"},
      {"only at the cursor", "(choice (integer ()))", "0500 020105", "21"},
      {"only at the cursor in a set", "(set ()(choice (integer ())))", "3105 0500 020105", "21"},
      {"only at the cursor when tagged", "(null ())(choice (boolean (1)))", "8101ff 0500", "21"},
      {"the cursor moves", "(choice (integer ())(null ()))(choice (integer ())(null ()))",
       "0500 020105", "0 1 ? 0 5"},
      {"implicit and explicit", "(choice(any (0)) (any (e 1)))", "a103 020105", "0 1 ? 020105"},
      {"alternatives with children, absent",
       "(choice (null ())(sequence ()(integer ())(boolean ())))", "0500", "0 0 ? ?"},
      {"alternatives with children, present", "(choice (null ())(sequence ()(integer ())))",
       "3003 020105", "0 1 5"},
      {"an error in an alternative", "(choice (boolean ())(null ()))", "0100", "17"},
      {"in a choice", "(choice (null ())(choice (boolean ())(integer ())))", "020105", "0 1 1 ? 5"},
  });
}

TEST(Read, FailureTakesBackWhatItGave) {
  expect_rows({
      {"blocks before the fault",
       "(sequence ()(octet-string ())(bit-string ())(object-identifier ())(boolean ()))",
       "300e 0401aa 0302 00bb 06012a 0100 0500", "17"},
      {"a fault in a later list", "(octet-string ())(sequence ()(octet-string ())(null ()))",
       "0401aa 3003 0401bb", "10"},
  });
}

// The list that a wrapper holds ends with the wrapper, however the wrapper ends.
TEST(Read, AnyIsTheListInsideItsWrapper) {
  for (const char *input : {"a106 020105 020106 0500", "a180 020105 020106 0000 0500"}) {
    const Octets octets = unhex(input);
    SshAsn1Work work = SshAsn1Work::for_input(octets.size());
    SshAsn1Node root, inside;
    int has[2] = {};
    SshAsn1Node either[2];
    ASSERT_EQ(ssh_asn1_decode_in_place(octets, &work, &root), SSH_ASN1_OK);
    ASSERT_EQ(ssh_asn1_read_node(root, "(optional (any (e 1)))(optional (any (ei 1)))"_asn1,
                                 &has[0], &either[0], &has[1], &either[1]),
              SSH_ASN1_OK);
    inside = either[has[1]];
    EXPECT_EQ(has[0] + has[1], 1) << input;
    EXPECT_EQ(hex(inside.list()), "020105020106") << input;
  }
}

// The typed front: every kind of output at once, from a tree.
TEST(Read, TypedOutputs) {
  const SshAsn1ContextOwner context(ssh_asn1_init());
  const Octets octets = unhex(
      "302f 0101ff 020105 020106 0a0107 0302 01fe 0401aa 0500 06022a03"
      "170d 3031303332323134303330395a 8000 a103 020108");
  SshAsn1Tree *tree = nullptr;
  ASSERT_EQ(ssh_asn1_decode(context.get(), octets, &tree), SSH_ASN1_OK);
  int flag = 0, has = 0;
  SshMpInt integer, wrapped;
  Bytes content, text;
  uint32_t word = 0;
  SshAsn1Bits bits;
  char *dotted = nullptr;
  SshBerTime time;
  SshAsn1Node node;
  ASSERT_EQ(
      ssh_asn1_read_tree(
          tree,
          "(sequence ()(boolean ())(integer ())(integer ())(enum-short ())(bit-string ())"
          "(octet-string ())(null ())(object-identifier ())(utc-time ())(optional(any (0)))"
          "(integer (e 1)))"_asn1,
          &flag, &integer, &content, &word, &bits, &text, &dotted, &time, &has, &node, &wrapped),
      SSH_ASN1_OK);
  EXPECT_EQ(flag, 1);
  EXPECT_TRUE(integer == SshMpInt(5));
  EXPECT_EQ(hex(content), "06");
  EXPECT_EQ(word, 7U);
  EXPECT_EQ(bits.bits, 7U);
  EXPECT_EQ(hex(text), "aa");
  EXPECT_STREQ(dotted, "1.2.3");
  EXPECT_EQ(time.day, 22U);
  EXPECT_EQ(has, 1);
  EXPECT_EQ(hex(node.der()), "8000");
  EXPECT_TRUE(wrapped == SshMpInt(8));
  ssh_xfree(dotted);

  uint8_t *block = nullptr;
  size_t size = 0;
  SshOid oid;
  ASSERT_EQ(ssh_asn1_read_tree(tree, "(sequence ()(octet-string ())(object-identifier ()))"_asn1,
                               &block, &size, &oid),
            SSH_ASN1_OK);
  EXPECT_EQ(hex({block, size}), "aa");
  EXPECT_EQ(hex(oid.octets), "2a03");
  ssh_xfree(block);
}

TEST(Decode, Statuses) {
  const struct {
    const char *why;
    std::string_view hex;
    SshAsn1Status status;
    std::string_view nodes;
  } rows[] = {
      {"nothing", "", SSH_ASN1_OK, ""},
      {"ends of contents alone", "00000000", SSH_ASN1_OK, ""},
      {"two elements", "0500 3000", SSH_ASN1_OK, "0500 3000 "},
      {"garbage behind one", "0500 05", SSH_ASN1_OK_GARBAGE, "0500 "},
      {"a header with five length octets behind one", "0500 0485", SSH_ASN1_OK_GARBAGE, "0500 "},
      {"broken inside a later one", "0500 3001 05", SSH_ASN1_BAD_GARBAGE, "0500 "},
      {"unclosed behind two", "0500 0101ff 3080", SSH_ASN1_BAD_GARBAGE, "0500 0101ff "},
      {"no element", "05", SSH_ASN1_BER_OPEN_FAILED, ""},
      {"broken inside the first", "3001 05 0500", SSH_ASN1_BER_OPEN_FAILED, ""},
      {"unclosed", "3080 0500", SSH_ASN1_BER_OPEN_FAILED, ""},
      {"indefinite with a sibling", "3080 0500 0000 0101ff", SSH_ASN1_OK, "308005000000 0101ff "},
  };
  const SshAsn1ContextOwner context(ssh_asn1_init());
  for (const auto &row : rows) {
    SCOPED_TRACE(row.why);
    Octets octets = unhex(row.hex);
    SshAsn1Tree *tree = nullptr;
    ASSERT_EQ(ssh_asn1_decode(context.get(), octets, &tree), row.status);
    SshAsn1Work work = SshAsn1Work::for_input(octets.size());
    SshAsn1Node in_place;
    const uint8_t *fault_at = nullptr;
    ASSERT_EQ(ssh_asn1_decode_in_place(octets, &work, &in_place, &fault_at), row.status);
    EXPECT_EQ(fault_at != nullptr, row.status != SSH_ASN1_OK);
    std::string nodes;
    for (SshAsn1Node at = in_place; at; at = ssh_asn1_node_next(at)) nodes += hex(at.der()) + " ";
    EXPECT_EQ(nodes, row.nodes);
    if (row.status == SSH_ASN1_BER_OPEN_FAILED) {
      EXPECT_EQ(tree, nullptr);
      continue;
    }
    std::fill(octets.begin(), octets.end(), uint8_t{0xEE});
    nodes.clear();
    for (SshAsn1Node at = ssh_asn1_get_current(tree); at; at = ssh_asn1_node_next(at)) {
      nodes += hex(at.der()) + " ";
    }
    EXPECT_EQ(nodes, row.nodes) << "the tree is a copy";
    EXPECT_EQ(tree->data.size(), octets.size());
  }
}

TEST(Decode, InputsAboveTheArenaLimit) {
  const int64_t blocks = ssh_mem_blocks();
  {
    const SshAsn1ContextOwner context(ssh_asn1_init());
    SshAsn1Tree *tree = nullptr;
    Octets octets(5 * 1024 * 1024, 0x55);
    const uint8_t header[] = {0x04, 0x83, 0x4F, 0xFF, 0xFB};
    std::copy(std::begin(header), std::end(header), octets.begin());
    ASSERT_EQ(ssh_asn1_decode(context.get(), octets, &tree), SSH_ASN1_OK);
    Bytes content;
    ASSERT_EQ(ssh_asn1_read_tree(tree, "(octet-string ())"_asn1, &content), SSH_ASN1_OK);
    EXPECT_EQ(content.size(), octets.size() - 5);
    EXPECT_EQ(content.back(), 0x55);
    octets.assign(SSH_BER_INPUT_MAX + 2, 0);
    EXPECT_EQ(ssh_asn1_decode(context.get(), octets, &tree), SSH_ASN1_BER_OPEN_FAILED);
  }
  EXPECT_EQ(ssh_mem_blocks(), blocks);
}

// 500,000 levels, walked down and read on a small stack. A walk down ends early when it would cost
// too much.
TEST(Decode, DepthCostsNoStack) {
  Octets octets(2000000, 0);
  for (size_t i = 0; i < 500000; ++i) octets[2 * i] = 0x30, octets[2 * i + 1] = 0x80;
  size_t depth = 0;
  uint64_t left = 1;
  SshAsn1Status status = SSH_ASN1_FAILED;
  std::string shallow;
  run_on_small_stack([&] {
    const SshAsn1ContextOwner context(ssh_asn1_init());
    SshAsn1Tree *tree = nullptr;
    status = ssh_asn1_decode(context.get(), octets, &tree);
    if (!tree) return;
    SshAsn1Node node;
    (void)ssh_asn1_read_tree(tree, "(sequence (i)(sequence (i)(any ())))"_asn1, &node);
    shallow = hex(node.der().first(2));
    for (node = tree->root; node; node = ssh_asn1_node_child(node)) ++depth;
    left = tree->work.left;
  });
  EXPECT_EQ(status, SSH_ASN1_OK);
  EXPECT_EQ(shallow, "3080");
  EXPECT_GT(depth, 50U);
  EXPECT_EQ(left, 0U) << "the budget ends the walk";
}

// nulls_before builds so many NULLs and an [0] of the content 5 after them.
Octets nulls_before(size_t count) {
  Octets octets(count * 2, 0);
  for (size_t i = 0; i < octets.size(); i += 2) octets[i] = 0x05;
  const uint8_t last[] = {0x80, 0x01, 0x05};
  octets.insert(octets.end(), std::begin(last), std::end(last));
  return octets;
}

TEST(Work, ManyElementsBeforeTheOneWanted) {
  const Octets octets = nulls_before(500000);
  SshAsn1Work work = SshAsn1Work::for_input(octets.size());
  const uint64_t before = work.left;
  SshAsn1Node node;
  ASSERT_EQ(ssh_asn1_decode_in_place(octets, &work, &node), SSH_ASN1_OK);
  EXPECT_EQ(read("(integer (0))", node, false), "0 5");
  EXPECT_LE(before - work.left, octets.size()) << "one look at each element";
}

// Searching a list over and over meets the budget, and the read says so rather than "not found".
TEST(Work, EndsWithItsOwnStatus) {
  const Octets octets = nulls_before(5000);
  SshAsn1Work work = SshAsn1Work::for_input(octets.size());
  SshAsn1Node node;
  ASSERT_EQ(ssh_asn1_decode_in_place(octets, &work, &node), SSH_ASN1_OK);
  size_t reads = 0;
  while (reads < 1000 && read("(optional (boolean (1)))", node, false) == "0 0 ?") ++reads;
  EXPECT_GT(reads, 64U);
  EXPECT_LT(reads, 256U);
  for (const char *text : {"(optional (boolean (1)))", "(any ())", "(optional (any (e * 1)))",
                           "(choice (null ()))", "(set (*)(any ()))"}) {
    EXPECT_EQ(read(text, node, false), "15") << text;
  }
  EXPECT_FALSE(ssh_asn1_node_open(node).constructed) << "a node in hand stays readable";
}

TEST(Work, NestedIndefiniteLengthsMeetTheBudget) {
  constexpr size_t kLevels = 20000;
  Octets octets(kLevels * 4, 0);
  for (size_t i = 0; i < kLevels; ++i) octets[2 * i] = 0xA0, octets[2 * i + 1] = 0x80;
  SshAsn1Work work = SshAsn1Work::for_input(octets.size());
  SshAsn1Node node;
  ASSERT_EQ(ssh_asn1_decode_in_place(octets, &work, &node), SSH_ASN1_OK);
  size_t reads = 0;
  SshAsn1Status status = SSH_ASN1_OK;
  for (; status == SSH_ASN1_OK && reads < kLevels; ++reads) {
    status = ssh_asn1_read_node(node, "(any (ei 0))"_asn1, &node);
  }
  EXPECT_EQ(status, SSH_ASN1_BER_STEP_FAILED);
  EXPECT_GT(reads, 30U);
  EXPECT_LT(reads, 200U);
}

// Whatever decodes can be walked over and read with a handful of templates, and nothing is left
// behind.
TEST(Read, SurvivesMutations) {
  const char *const templates[] = {
      "(sequence ()(optional (integer (e 0)))(choice (any (1))(octet-string ()))(set ()(any ())))",
      "(sequence (*)(boolean ())(optional (bit-string ()))(optional (object-identifier ())))",
      "(any ())(optional (sequence (i)(utc-time ())(any ())))",
  };
  const Octets seeds[] = {
      unhex("3014 a003 020105 0403 aabbcc 3106 0101ff 020101 0500"),
      unhex("3080 0101ff 0302 00aa 06022a03 0000 3080 170d 3031303332323134303330395a 0500 0000"),
  };
  std::mt19937 random(4);
  size_t decoded = 0, fine = 0;
  for (int i = 0; i < 30000; ++i) {
    Octets octets = seeds[i % 2];
    for (unsigned change = 0; change < 1 + random() % 2; ++change) {
      octets[random() % octets.size()] =
          static_cast<uint8_t>(random() % 2 ? random() : random() % 4 * 0x10);
    }
    SshAsn1Work work = SshAsn1Work::for_input(octets.size());
    SshAsn1Node root;
    const SshAsn1Status status = ssh_asn1_decode_in_place(octets, &work, &root);
    if (status != SSH_ASN1_OK) continue;
    ++decoded;
    for (const char *text : templates) {
      const std::string views = read(text, root, false);
      EXPECT_EQ(views, read(text, root, true)) << hex(octets);
      fine += views[0] == '0';
    }
    std::vector<SshAsn1Node> open = {root};
    while (!open.empty()) {
      const SshAsn1Node at = open.back();
      open.pop_back();
      if (!at) continue;
      ASSERT_LE(at.next, at.end);
      open.push_back(ssh_asn1_node_next(at));
      open.push_back(ssh_asn1_node_child(at));
    }
    EXPECT_GT(work.left, 0U);
  }
  EXPECT_GT(decoded, 5000U);
  EXPECT_GT(fine, 3000U);
}

}  // namespace
