
#include "support/template.h"
#include "support/test.h"

namespace {

// show gives what an element stored.
std::string show(const TemplateOutput &out, const SshAsn1Op &op) {
  SshMpInt value = out.integer;
  switch (op.type) {
    case SSH_ASN1_INTEGER:
      if (op.second_form) value.set_twos_complement(out.bytes);
      return SshText(value.to_decimal()).get();
    case SSH_ASN1_SHORT:
      return std::to_string(out.word);
    case SSH_ASN1_BITS: {
      const size_t bits = op.second_form ? out.size : out.bits.bits;
      const uint8_t *const octets = op.second_form ? out.block : out.bits.octets.data();
      return hex({octets, (bits + 7) / 8}) + "/" + std::to_string(bits);
    }
    case SSH_ASN1_OCTETS:
      return "'" + hex(op.second_form ? Bytes(out.block, out.size) : out.bytes);
    case SSH_ASN1_OID:
      return op.second_form ? out.text : SshText(ssh_ber_oid_text(out.oid)).get();
    case SSH_ASN1_UTC_TIME:
    case SSH_ASN1_GENERALIZED_TIME:
      return SshText(ssh_ber_time_to_string(&out.time)).get();
    case SSH_ASN1_ANY:
      return out.node ? hex(out.node.list()) : "null";
    default:
      return std::to_string(out.number);
  }
}

// read gives the status of reading with a template, followed by what each element stored: "?" where
// nothing was written.
std::string read(std::string_view text, SshAsn1Node node, bool owned,
                 SshAsn1Mode mode = SshAsn1Mode::kSearch) {
  SshAsn1Program program = SshAsn1Parser(text.data(), text.size()).run();
  const TemplateReading reading(program, mode, node, owned);
  EXPECT_EQ(program.fault, SSH_ASN1_TEMPLATE_OK) << text;
  std::string result = std::to_string(reading.status);
  for (const uint32_t i : reading.told) {
    if (reading.status != SSH_ASN1_OK) break;
    const std::string shown = show(reading.outputs[i], program.ops[i]);
    result += shown == show(TemplateOutput(), program.ops[i]) ? " ?" : " " + shown;
  }
  return result;
}

// expect reads each input, "octets = what reading gives", with a template, as views and as blocks.
template <class... Inputs>
void expect(std::string_view text, Inputs... inputs) {
  for (const std::string_view input : {std::string_view(inputs)...}) {
    const size_t middle = input.find('=');
    const std::vector<uint8_t> octets = unhex(input.substr(0, middle));
    SshAsn1Work work = SshAsn1Work::for_input(octets.size());
    SshAsn1Node node;
    ASSERT_EQ(ssh_asn1_decode_in_place(octets, &work, &node), SSH_ASN1_OK) << input;
    for (const bool owned : {false, true})
      EXPECT_EQ(read(text, node, owned), input.substr(middle + 2)) << text << " of " << input;
  }
}

using Read = Balanced;

TEST_F(Read, Primitives) {
  expect("(boolean ())", "010102 = 0 1", "010100 = 0 0", "0100 = 17", "01020001 = 17");
  expect("(integer ())", "020180 = 0 -128", "0203ffff80 = 0 -128", "0200 = 0 0",
         "0209010000000000000000 = 0 18446744073709551616");
  expect("(enum ())", "0a0107 = 0 7");
  // Only the low 32 bits count.
  expect("(integer-short ())", "02050180000001 = 0 2147483649", "0201ff = 0 4294967295");
  expect("(bit-string ())", "030307aa80 = 0 aa80/9", "030100 = 0 /0", "0300 = 17", "030209aa = 17",
         "030101 = 17", "030308aabb = 0 aa/8");
  expect("(octet-string ())", "0403010203 = 0 '010203", "0400 = 0 '");
  expect("(null ())", "0500 = 0", "050100 = 17");
  expect("(empty ())", "008100 = 0");
  expect("(object-identifier ())", "06032a0304 = 0 1.2.3.4", "06022a81 = 17", "0600 = 17");
  expect("(utc-time ())", "170d3439313233313233353935395a = 0 2049 Dec 31st, 23:59:59 GMT",
         "170131 = 17");
  expect("(generalized-time ())",
         "180f32303031303130313030303030305a = 0 2001 Jan  1st, 00:00:00 GMT", "1800 = 17");
  expect("(bmp-string ())", "1e02ab00 = 0 'ab00", "0202ab00 = 21");
}

TEST_F(Read, MatchesTagsAndLengthForms) {
  expect("(integer (1))", "810105 = 0 5", "020105 = 21");
  expect("(integer (a 3))", "430105 = 0 5", "830105 = 21");
  // A wrapper counts by its first child alone, which must have the type's own tag.
  expect("(integer (e 1))", "a103020105 = 0 5", "a103040105 = 21", "a103820105 = 21",
         "a1050500020105 = 21", "a100 = 21", "8103020105 = 21", "a1800201050000 = 21");
  expect("(integer (ei 1))", "a1800201050000 = 0 5");
  expect("(any (1))", "810105 = 0 810105", "a18005000000 = 21");
  // The list that a wrapper holds ends with the wrapper, however the wrapper ends.
  expect("(any (e 1))", "a1060201050201060500 = 0 020105020106");
  expect("(any ())", "df1f0105 = 0 df1f0105", "308005000000 = 0 308005000000");
  expect("(sequence (i)(null ()))", "308005000000 = 0", "30020500 = 21");
  // Stars take any tag and form, but only at the cursor.
  expect("(integer (*))", "810105 = 0 5");
  expect("(sequence (*)(null ()))", "a08005000000 = 0", " = 10", "0500 = 4");
  expect("(null ())(boolean (*))", "05000201000101ff = 0 0");
  // The tag, and if it hides what is inside, the keyword tell whether it is a set.
  expect("(set (1)(boolean ())(integer ()))", "a1060201050101ff = 0 1 5");
  expect("(sequence (*)(boolean ())(integer ()))", "31060201050101ff = 0 1 5");
  expect("(set (*)(boolean ())(integer ()))", "30060201050101ff = 10");
}

TEST_F(Read, TemplatesTextMayLookLikeThis) {
  expect(" \t\n\v\f\r", "0500 = 0");
  expect("(integer (p e007))", "e703020105 = 0 5");
  expect("(integer (cap))", "c00105 = 0 5");  // the last class counts
  expect("(set ( * i e a 4294967295 )(null ()))", "a10430020500 = 0", "0500 = 21");
  expect("(boolean (1)(null ()))", "a1020500 = 0");
}

TEST_F(Read, SearchesByTheListsRules) {
  // Untagged ones from the cursor on.
  expect("(sequence ()(boolean ())(integer ()))", "300a05000101ff0500020105 = 0 1 5",
         "3006020105 0101ff = 10", "3008 020105 0101ff 0500 = 21");
  // Tagged ones in any order.
  expect("(sequence ()(boolean (1))(integer (0)))", "30068001058101ff = 0 1 5");
  expect("(any ())(boolean (1))", "8101ff = 0 8101ff 1");
  // A set has no order and gives the same element twice, but any stands at the cursor.
  expect("(set ()(integer ())(boolean ())(null ()))", "310805000101ff020105 = 0 5 1");
  expect("(set ()(null ())(any ()))", "310505000101ff = 0 0101ff");
  // Nothing left, or something that does not match.
  expect("(sequence ()(choice (integer ())))", "3000 = 21");
  expect("(sequence ()(any ()))", "3000 = 0 null");
  expect("(sequence ()(null ())(any ()))", "30020500 = 0 null",
         "300b0000 0500 0000 0101ff 0000 = 0 0101ff0000");
  // A primitive type in another form is passed over.
  expect("(octet-string ())(null ())", "24030401000500 = 0 ?");
  expect("(octet-string ()(integer ()))", "2403020105 = 0 5");
  // A failure takes back what it gave.
  expect("(octet-string ())(bit-string ())(object-identifier ())(boolean ())",
         "0401aa 030200bb 06012a 0100 0500 = 17");
  expect("(octet-string ())(sequence ()(octet-string ())(null ()))", "0401aa30030401bb = 10");
}

TEST_F(Read, Optional) {
  expect("(optional (integer ()))", "020105 = 0 1 5", "0500 = 0 0 ?");
  expect("(optional (octet-string ()))", " = 0 0 ?", "2403040100 = 0 0 ?");
  expect("(sequence ()(optional (any (e 0))))", "3003020105 = 0 0 ?");
  // An absent one does not move the cursor, but an untagged one is found further on.
  expect("(optional (boolean ()))(integer ())", "020105 = 0 0 ? 5");
  expect("(optional (octet-string ()))(any ())", "2400 = 0 0 ? 2400");
  expect("(optional (sequence ()(integer ())(octet-string ())))", "0500 = 0 0 ? ?", "30020500 = 21",
         "1000 = 4", "3080 020105 0400 0000 = 0 0 ? ?");
  expect("(optional (choice (null ())(integer ())))", "020105 = 0 1 1 5", "0101ff = 0 0 -1 ?");
}

TEST_F(Read, Choice) {
  expect("(choice (integer ())(boolean ()))", "020105 = 0 0 5 ?", "0101ff = 0 1 ? 1", "0500 = 21",
         "0500020105 = 21");
  expect("(choice (integer ())(any ()))", " = 21", "020105 = 22");
  // Only at the cursor, also in a set or when tagged.
  expect("(set ()(choice (integer ())))", "31050500020105 = 21");
  expect("(choice (integer ())(null ()))(choice (integer ())(null ()))", "0500020105 = 0 1 ? 0 5");
  expect("(choice(any (0)) (any (e 1)))", "a103020105 = 0 1 ? 020105");
  expect("(choice (null ())(choice (boolean ())(integer ())))", "020105 = 0 1 1 ? 5");
}

// What a template does not read where it stands is passed over, refused where it carries a tag of
// the template's, or refused whatever it is.
TEST_F(Read, Modes) {
  constexpr std::string_view kPair = "(sequence ()(optional(boolean ()))(optional(integer ())))";
  constexpr std::string_view kTagged = "(sequence ()(optional(any (e 0)))(optional(integer (1))))";
  constexpr std::string_view rows[][5] = {
      {kPair, "3006 020105 0101ff", "0 1 1 0 ?", "0 1 1 0 ?", "21"},
      {kPair, "3008 0101ff 0500 020105", "0 1 1 1 5", "0 1 1 1 5", "21"},
      {kPair, "3008 0101ff 0000 020105", "0 1 1 1 5", "0 1 1 1 5", "0 1 1 1 5"},
      {kPair, "3008 2103 0101ff 020105", "0 0 ? 1 5", "17", "17"},
      {kTagged, "3007 8101058002 0500", "0 0 ? 1 5", "21", "21"},
      {kTagged, "3005 a000 810105", "0 0 ? 1 5", "0 0 ? 1 5", "21"},
      {kTagged, "3008 a002 0500 a002 0500", "0 1 0500 0 ?", "21", "21"},
      {kTagged, "3006 a004 0500 0000", "0 1 05000000 0 ?", "0 1 05000000 0 ?", "0 1 05000000 0 ?"},
      {kTagged, "3005 a103 020105", "0 0 ? 0 ?", "17", "17"},
      {kTagged, "3003 820105", "0 0 ? 0 ?", "0 0 ? 0 ?", "21"},
      {"(sequence ()(optional(octet-string (0))))", "3005 0101ff 8000", "0 1 '", "0 1 '", "21"},
      {"(sequence ()(null ())(any ()))", "3006 0500 0500 0500", "0 05000500", "0 05000500", "21"},
      {"(set ()(boolean ())(integer ()))", "3106 020105 0101ff", "0 1 5", "0 1 5", "21"},
      // A list of any is all of the list; at the top it is what stands there.
      {"(sequence ()(any ()))", "3004 0500 0500", "0 05000500", "0 05000500", "0 05000500"},
      {"(null ())", "0500 0500", "0", "0", "21"},
  };
  for (const auto &[text, digits, searching, known, whole] : rows) {
    const std::vector<uint8_t> octets = unhex(digits);
    SshAsn1Work work = SshAsn1Work::for_input(octets.size());
    SshAsn1Node node;
    (void)ssh_asn1_decode_in_place(octets, &work, &node);
    EXPECT_EQ(read(text, node, false), searching) << text << digits;
    EXPECT_EQ(read(text, node, false, SshAsn1Mode::kKnown), known) << text << digits;
    EXPECT_EQ(read(text, node, false, SshAsn1Mode::kWhole), whole) << text << digits;
  }
}

// Searching a list over and over meets the budget, and the read says so rather than "not found".
TEST_F(Read, WorkIsALookAtEachElementAndEnds) {
  std::string text;
  for (size_t i = 0; i < 5000; ++i) text += "0500";
  const std::vector<uint8_t> octets = unhex(text + "800105");
  SshAsn1Work work = SshAsn1Work::for_input(octets.size());
  const uint64_t before = work.left;
  SshAsn1Node node;
  ASSERT_EQ(ssh_asn1_decode_in_place(octets, &work, &node), SSH_ASN1_OK);
  EXPECT_EQ(read("(integer (0))", node, false), "0 5");
  EXPECT_LE(before - work.left, octets.size());
  size_t reads = 0;
  while (reads < 1000 && read("(optional (boolean (1)))", node, false) == "0 0 ?") ++reads;
  EXPECT_GT(reads, 64U);
  EXPECT_LT(reads, 256U);
  for (const char *spent : {"(optional (boolean (1)))", "(any ())", "(optional (any (e * 1)))",
                            "(choice (null ()))", "(set (*)(any ()))"}) {
    EXPECT_EQ(read(spent, node, false), "15") << spent;
  }
  EXPECT_FALSE(ssh_asn1_node_open(node).constructed) << "a node in hand stays readable";
}

}  // namespace
