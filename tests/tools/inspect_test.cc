// The program as a whole, called as main() calls it, with files for its standard streams.
#include "kwpki/show/inspect.h"

#include <ctime>
#include <filesystem>
#include <regex>

#include "kwpki/values/issuers.h"
#include "kwpki/values/tree.h"
#include "tools/inspect_samples.h"

namespace {

using namespace inspect_samples;
using namespace std::string_literals;
using nlohmann::json;
using testing::HasSubstr;

const Der kA = der::common_name("A");
const Der kKeyUsage = sample::extension("2.5.29.15", unhex("03020780"), true);
const Der kUnknown = sample::extension("1.2.3.4", unhex("0400"), true);
constexpr const char *kSerial = "Serial        1234567890\n";

TEST(Inspect, Escapes) {
  const std::pair<std::string, const char *> rows[] = {
      {"a\\, b\"é漢😀", "a\\, b\"é漢😀"},
      {std::string("\x1b[31m\n\0\x7f\xc2\x9b", 10), "\\x1b[31m\\x0a\\x00\\x7f\\u{009b}"},
      // What turns the direction of text, and what is not seen.
      {"\u202a\u202e\u2066\u2069\u200f\u061c",
       "\\u{202a}\\u{202e}\\u{2066}\\u{2069}\\u{200f}\\u{061c}"},
      {"\u200b\ufeff\u00ad\U000e0041", "\\u{200b}\\u{feff}\\u{00ad}\\u{e0041}"},
      {"\x80x\xe2\x82", "\\x80x\\xe2\\x82"},
  };
  for (const auto &[text, expected] : rows) EXPECT_EQ(kwpki::escape(text), expected);
}

TEST(Inspect, ExitCodesAndWords) {
  const Folder directory;
  const std::string plain = certificate(kA, {}), null = octets(der::null());
  const std::string good = directory.add("good.der", plain);
  const std::string bad = directory.add("bad.der", certificate(kA, {kUnknown}));
  const std::string other = directory.add("key.pem", pem("PRIVATE KEY", "x"));
  const std::string missing = directory.at("missing"), nothing = directory.at("nothing");
  const std::string today = KWPKI_SOURCE_DIR "/examples/refused-sha256.der";
  std::filesystem::create_directory(nothing);
  sample::CertParts unknown;
  unknown.use_algorithm("1.2.156.10197.1.501");
  const std::string sm2 = octets(unknown.build());
  expect_told(
      {},
      {{{"--version"}, 0, KWPKI_VERSION},
       {{"inspec"}, 2, "", "\"inspec\" is neither a command nor a file; did you mean inspect?"},
       {{good}, 0, kSerial},
       {{}, 3, "", "standard input: holds nothing"},
       {{"inspect", "--color", "blue", good}, 2, "", "--color"},
       {{"inspect", "--html", "--json", good}, 2, "", "--html: shows everything; no other view"},
       {{"inspect", "--entries", "-1", good}, 2, "", "--entries"},
       {{other, good}, 1, kSerial, "key.pem: it holds a private key"},
       {{"inspect", nothing}, 1, "", "no certificate or CRL: the directory is empty"},
       {{"--find", "1", good}, 1, "", "it holds a certificate"},
       {{"inspect", "--html", bad, missing, good}, 3, "missing: No such", "missing: No such file"},
       // Modern unless told otherwise, before the command or behind it, and told for one run.
       {{"--profile", "classic", "inspect", today}, 1},
       {{"--profile=classic", "inspect", "--profile=modern", today}, 0},
       {{"inspect", today}, 0},
       // An algorithm that is not known is no reason to refuse; it has its name.
       {{}, 0, "  Signed with   SM2 with SM3\n", "", sm2},
       // What stands around the one element is said.
       {{}, 1, "2 bytes in front of the certificate, 1 byte behind the", "", null + plain + "x"}});
}

TEST(Inspect, FindsEveryBlockAndFile) {
  const Folder directory;
  const std::string one = certificate(der::common_name("one"), {}),
                    two = certificate(der::common_name("two"), {});
  const std::string dos = replaced(pem("X509 CERTIFICATE", two), "\n", "\r\n");
  std::string open = pem("X509 CRL", crl(1));
  open.resize(open.find("-----END"));
  std::string headed = pem("CERTIFICATE", one);
  headed.insert(headed.find('\n') + 1, "Comment: QUJD\n\n");
  const std::string bundle = "text before\n" + pem("TRUSTED CERTIFICATE", one + "aux") +
                             pem("RSA PRIVATE KEY", one) + dos + "-----BEGIN nothing\n" + open +
                             headed;
  directory.add("b/bundle.pem", bundle);
  directory.add("a/deep/x.der", two + "trailing");
  directory.add("a/notes.txt", "0 no certificate");
  std::error_code ignored;  // not every system makes them
  std::filesystem::create_directory_symlink(directory.at("a"), directory.at("a/loop"), ignored);

  const Result all = run({"inspect", "--json", directory.at("a"), directory.at("b")});
  EXPECT_EQ(all.code, 1) << all.err;  // bytes behind a certificate are a finding
  std::vector<std::string> seen;
  for (const json &object : all.objects()) {
    seen.push_back(object["kind"] == "crl" ? "crl" : object["subject"]["text"].get<std::string>());
    seen.back() += object.value("format", "") + std::to_string(object.value("block", 0)) + ":" +
                   std::to_string(object.value("trailing_bytes", 0));
  }
  EXPECT_THAT(seen, testing::ElementsAre("CN=twoder0:8", "CN=onepem1:3", "CN=twopem3:0",
                                         "crlpem4:0", "CN=onepem5:0"));
  for (const char *said : {"notes.txt: neither", "(RSA PRIVATE KEY) passed over", "no END line"})
    EXPECT_THAT(all.err, HasSubstr(said));
}

TEST(Inspect, LimitsEntriesButCountsAll) {
  const std::string der = crl(25);
  const std::string text = run({"--full"}, der).out;
  EXPECT_EQ(count(text, ")  2002-03-04T05:06:07Z\n"), 10u);
  EXPECT_THAT(text, HasSubstr("Revoked certificates: 25"));
  EXPECT_EQ(run({"--json"}, der).objects().at(0)["entries"].size(), 25u);
  for (const auto &[limit, shown] : {std::pair{"3", 3u}, {"all", 25u}}) {
    const std::string page = run({"inspect", "--html", "--entries", limit}, der).out;
    EXPECT_EQ(count(page, " 2002-03-04T05:06:07Z"), 2 * shown) << "fields and elements";
    EXPECT_EQ(count(page, "\n      … "), shown < 25 ? 1u : 0u) << "bytes left out";
    const json object = run({"inspect", "--json", "--entries", limit}, der).objects().at(0);
    EXPECT_EQ(object["entry_count"], 25);
    EXPECT_EQ(object["entries"].size(), shown);
  }
}

// Objects have an issuer, the key it says, a subject and its key; lines, their level and object.
TEST(Inspect, WhoIssuedWhom) {
  const std::pair<std::vector<kwpki::Issued>, const char *> rows[] = {
      // A chain in any order, with a CRL.
      {{{"B", "", "C", ""}, {"A", "", "A", ""}, {"A", "", "B", ""}, {"B", "", "", ""}},
       "0:1 1:2 2:0 2:3 "},
      // A key chooses among issuers of one name, unless it is nobody's.
      {{{"A", "1", "A", "1"}, {"A", "2", "A", "2"}, {"A", "2", "B", ""}}, "0:0 0:1 1:2 "},
      {{{"A", "1", "A", "1"}, {"A", "9", "B", ""}}, "0:0 1:1 "},
      // The old key signed the new one.
      {{{"A", "1", "A", "2"}, {"A", "1", "A", "1"}}, "0:1 1:0 "},
      // Issuers that are not there, and a circle.
      {{{"X", "", "B", ""}, {"Y", "", "C", ""}, {"X", "", "D", ""}}, "0:? 1:0 1:2 0:? 1:1 "},
      {{{"B", "", "A", ""}, {"A", "", "B", ""}}, "0:0 1:1 "},
  };
  for (const auto &[objects, expected] : rows) {
    std::string lines;
    for (const kwpki::IssuedLine &line : kwpki::issued_lines(objects))
      lines += std::to_string(line.depth) + ":" +
               (line.object == kwpki::kNoObject ? "?" : std::to_string(line.object)) + " ";
    EXPECT_EQ(lines, expected);
  }
}

// What is refused is shown as far as it can be read, whatever the view, with the rule.
TEST(Inspect, ShowsTheStepThatRefused) {
  const std::string bad = certificate(kA, {kKeyUsage, kUnknown});
  const size_t offset = bad.find(octets(kUnknown));
  const std::string rule = "critical extension 1.2.3.4 is not known, at " + std::to_string(offset);
  const Result text = run({"inspect", "--full", "--tree-lines", "5"}, bad);
  expect_told({}, {{{}, 1, "  Subject       CN=A\n", "", bad},
                   {{}, 1, "refused as a certificate: " + rule, "", bad}});
  for (const std::string &line :
       {rule, "key usage, critical: digital signature\n"s, "more elements (--tree-lines all"s})
    EXPECT_THAT(text.out, HasSubstr(line));
  EXPECT_EQ(count(text.out, "<-- refused here"), 1u) << "it is shown whatever the limit";

  const json object = run({"inspect", "--json"}, bad).objects().at(0);
  EXPECT_EQ(object["accepted"], false);
  EXPECT_EQ(object["refusal"]["offset"], offset);
  EXPECT_EQ(object["refusal"]["oid"], "1.2.3.4");

  sample::CertParts parts;  // what cannot be read is not made up
  parts.version = der::wrap(0, der::integer(8));
  parts.subject = der::null();
  const std::string other = octets(parts.build());
  expect_told({}, {{{}, 1, "  Subject       cannot be read\n", "", other}});
  const json shown = run({"inspect", "--json"}, other).objects().at(0);
  EXPECT_EQ(shown["refusal"]["found"], "8");
  EXPECT_FALSE(shown.contains("subject") || shown.contains("version"));
}

// What a file is that holds something else; and the forms that a certificate has as text.
TEST(Inspect, TellsWhatAFileIs) {
  const Der oid = der::oid("1.2.3"), algorithm = der::seq({oid, der::null()}),
            one = der::integer(1);
  const Der key = der::seq({algorithm, der::bits({1, 2})}), blob = der::octets(Der{1, 2});
  const Der data = der::seq({der::oid("1.2.840.113549.1.7.1"), der::wrap(0, blob)});
  const auto bundle = [](const Der &content) {
    return der::seq({der::oid("1.2.840.113549.1.7.2"), der::wrap(0, der::tlv(0x30, content))});
  };
  const std::pair<std::string, const char *> rows[] = {
      {"no certificate", "text"},
      {octets(bundle({})), "pkcs7"},
      {octets(der::seq({der::integer(3), data})), "pkcs12"},
      {octets(der::seq({der::integer(0), algorithm, blob})), "private_key"},
      {octets(der::seq({algorithm, blob})), "private_key"},
      {octets(der::seq({one, one, one, one, one, one, one, one, one})), "private_key"},
      {octets(der::seq({one, blob, der::wrap(0, oid)})), "private_key"},
      {octets(key), "public_key"},
      {octets(der::seq({one, one})), "public_key"},
      {octets(der::seq({unhex("0A0100"), der::wrap(0, data)})), "ocsp_response"},
      {octets(der::seq({der::null()})), "unknown"}};
  for (const auto &[file, kind] : rows) {
    const Result result = run({"inspect", "--json"}, file);
    EXPECT_EQ(result.code, 1) << kind;
    EXPECT_EQ(result.objects().at(0)["kind"], kind);
    EXPECT_THAT(result.err, HasSubstr("no certificate or CRL in standard input: it holds "))
        << kind;
  }
  const std::string plain = certificate(kA, {}), armour = pem("CERTIFICATE", plain);
  std::string wide, base64;
  for (const char c : armour) wide += {c, '\0'};
  kwpki::append_base64(base64, ssh_text_bytes(plain));
  const std::string list = crl(1);
  const Der inside =
      der::join({one, der::set({}), data, der::tlv(0xA0, Der(plain.begin(), plain.end())),
                 der::tlv(0xA1, Der(list.begin(), list.end()))});
  const std::pair<std::string, const char *> forms[] = {
      {wide, "pem"},
      {"\xFF\xFE" + wide, "pem"},
      {base64 + "\n", "base64"},
      {kwpki::hex(ssh_text_bytes(plain)), "hexadecimal"},
      {pem("PKCS7", octets(bundle(inside))), "pem"},
      {octets(bundle(inside)), "der"}};
  for (const auto &[file, format] : forms) {
    const Result result = run({"inspect", "--json"}, file);
    EXPECT_EQ(result.code, 0) << format << result.err;
    EXPECT_EQ(result.objects().at(0)["format"], format);
    EXPECT_EQ(result.objects().at(0)["subject"]["text"], "CN=A");
  }
  EXPECT_EQ(run({"inspect", "--json"}, octets(bundle(inside))).objects().at(1)["kind"], "crl");
  // What the library's own reader, or another one, may read otherwise.
  for (const auto &[line, said] :
       {std::pair{"M*I", "stray characters in the armour, in line 2"},
        {"Comment: x\n\nMI", "KwPkiReadFile reads this armour otherwise"}})
    EXPECT_THAT(run({}, replaced(armour, "-----\nMI", "-----\n"s + line)).err, HasSubstr(said));
}

// ending gives a certificate that expires so many days from now.
std::string ending(int days) {
  char text[16];
  const std::time_t at = std::time(nullptr) + days * 86400;
  std::strftime(text, sizeof text, "%Y%m%d%H%M%SZ", std::gmtime(&at));
  sample::CertParts parts;
  parts.subject = parts.issuer = kA;
  parts.validity = der::seq({der::text(0x18, "20010203040506Z"), der::text(0x18, text)});
  return octets(parts.build());
}

TEST(Inspect, TellsFirstWhatPeopleWantToKnow) {
  const std::string made = ending(12), old = ending(-3);
  const Result one = run({}, made);
  EXPECT_EQ(one.code, 0) << one.err;
  for (const char *line : {"  Subject       CN=A\n  Issuer        the same\n",
                           "UTC, expires in 12 days\n  Key           RSA, 264 bits, weak\n",
                           "  Signed with   RSA with SHA-1\n", "  Authority     no\n"})
    EXPECT_THAT(one.out, HasSubstr(line));
  const std::string red = "\x1b[1;31mEXPIRED 3 days ago\x1b[0m\n";
  expect_told({}, {{{"--color", "always", "inspect"}, 0, " UTC, " + red, "", old},
                   {{"--full"}, 0, "\n  EXPIRED 3 days ago, weak key\n", "", old},
                   {{"--expires", "11"}, 0, "", "", made}});

  const Folder directory;
  const std::string soon = directory.add("soon.der", made);
  const std::string late = directory.add("late.der", ending(3000));
  const Result table = run({"--expires", "13", soon, late, soon, late});
  EXPECT_EQ(table.code, 1);
  EXPECT_THAT(table.out, HasSubstr("  ! 12 days   RSA 264 weak   A  "));
  EXPECT_THAT(table.out, HasSubstr("    8 years   RSA 264 weak   A  "));
  EXPECT_EQ(run({"--expires", "13", "--pem", soon, late}).out, pem("CERTIFICATE", made));
}

TEST(Inspect, FindsASerialNumberInCrls) {
  for (const char *given : {"3", "0x3", "00:03", "0X03"})
    expect_told({"--find", given}, {{{}, 0, "is revoked\n", "", crl(5)}});
  const json shown = run({"--find", "3", "--json"}, crl(5)).objects().at(0);
  EXPECT_TRUE(shown["revoked"].get<bool>() && shown["entry"]["serial"]["decimal"] == "3");
  EXPECT_EQ(run({"--find", "77777"}, crl(5)).code, 1);
  for (const char *wrong : {"", "0x", "1g", "-1"})
    EXPECT_EQ(run({"inspect", "--find", wrong}, crl(5)).code, 2) << wrong;
}

// A tree covers its input without a gap: each element begins where the one before it, or its
// header, ended.
TEST(Inspect, TreeCoversBrokenInput) {
  const std::string der = certificate(kA, {kKeyUsage}) + octets(unhex("30800201010000"));
  for (const std::string &input : broken(der)) {
    kwpki::TreeWalk walk(ssh_text_bytes(input), input.size() / 2);
    size_t expected = 0, marked = 0, faults = 0;
    for (kwpki::TreeLine line; walk.next(line, true); line = {}) {
      ASSERT_EQ(line.offset, expected) << kwpki::hex(ssh_text_bytes(input));
      const bool entered = line.element.constructed || line.encapsulates;
      expected += line.element.header_length + (entered ? 0 : line.element.content_length);
      if (line.encapsulates && line.element.tag == 3) ++expected;  // the count of unused bits
      marked += line.marked;
      faults += !line.fault.empty();
    }
    EXPECT_EQ(expected, input.size());
    EXPECT_EQ(marked, 1u);
    EXPECT_TRUE(faults > 0 || input.size() >= der.size() - 7);
  }
}

TEST(Inspect, DeepInput) {
  constexpr size_t kLevels = 200000;
  std::string levels;
  for (size_t i = 0; i < kLevels; ++i) levels += "\x30\x80";
  const Result open = run({"inspect", "--full"}, levels);
  EXPECT_EQ(open.code, 1);
  EXPECT_LT(open.out.size(), 200000u) << "a tree is cut by itself";
  levels += std::string(kLevels * 2, '\0');
  const Result all = run({"inspect", "--tree", "--tree-lines", "all"}, levels);
  EXPECT_EQ(all.code, 1);
  EXPECT_EQ(count(all.out, "\n"), 2 * kLevels + 2);
  EXPECT_LT(all.out.size(), 2 * kLevels * 160);
}

TEST(Inspect, ColoursChangeNothingElse) {
  const std::string der = certificate(kA, {kKeyUsage});
  for (const std::string &input : {der, der.substr(0, 90), crl(3)}) {
    const std::string plain = run({"inspect", "--full", "--color", "never"}, input).out;
    const std::string painted = run({"inspect", "--full", "--color", "always"}, input).out;
    EXPECT_THAT(painted, HasSubstr("\x1b[1m"));
    EXPECT_EQ(std::regex_replace(painted, std::regex("\x1b\\[[0-9;]*m"), ""), plain);
    EXPECT_EQ(run({"inspect", "--full"}, input).out, plain) << "a file is no terminal";
  }
}

}  // namespace
