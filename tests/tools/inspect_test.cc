// The program as a whole, called as main() calls it, with files for its standard streams.
#include "kwpki/show/inspect.h"

#include <ctime>
#include <filesystem>

#include "kwpki/values/issuers.h"
#include "kwpki/values/tree.h"
#include "tools/inspect_samples.h"

namespace {

using namespace inspect_samples;
using nlohmann::json;
using testing::HasSubstr;

const Der kA = name(19, "A");
const Der kKeyUsage = sample::extension("2.5.29.15", unhex("03020780"), true);
const Der kUnknown = sample::extension("1.2.3.4", unhex("0400"), true);
constexpr const char *kSerial = "Serial        1234567890\n";

TEST(Inspect, Escapes) {
  const struct {
    const char *why;
    std::string text, expected;
  } rows[] = {
      {"plain text, backslashes included", "a\\, b\"é漢😀", "a\\, b\"é漢😀"},
      {"C0 and DEL", std::string("\x1b[31m\n\t\0\x7f", 9), "\\x1b[31m\\x0a\\x09\\x00\\x7f"},
      {"C1", "\xc2\x9b", "\\u{009b}"},
      {"embedding, override, isolate, marks", "\u202a\u202e\u2066\u2069\u200e\u200f\u061c",
       "\\u{202a}\\u{202e}\\u{2066}\\u{2069}\\u{200e}\\u{200f}\\u{061c}"},
      {"zero width, soft hyphen, tag", "\u200b\ufeff\u00ad\U000e0041",
       "\\u{200b}\\u{feff}\\u{00ad}\\u{e0041}"},
      {"a stray octet, a cut character", "\x80x\xe2\x82", "\\x80x\\xe2\\x82"},
  };
  for (const auto &row : rows) EXPECT_EQ(kwpki::escape(row.text), row.expected) << row.why;
}

TEST(Inspect, ExitCodesAndWords) {
  const Directory directory;
  const std::string plain = certificate(kA, {}), null = octets(der::null());
  const std::string good = directory.add("good.der", plain);
  const std::string bad = directory.add("bad.der", certificate(kA, {kUnknown}));
  const std::string empty = directory.add("empty", "");
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
       {{"--profile", "classic", "--json", good}, 0, "\"hex\":\"1234567890\""},
       {{}, 3, "", "standard input: holds nothing"},
       {{"inspect", "--color", "blue", good}, 2, "", "--color"},
       {{"inspect", "--html", good, missing}, 3, "missing: No such file", "missing: No such file"},
       {{"inspect", "--html", "--json", good}, 2, "", "--html: shows everything; no other view"},
       {{"inspect", "--entries", "-1", good}, 2, "", "--entries"},
       {{"inspect", "--profile", "old", good}, 2, "", "--profile"},
       {{"inspect", other}, 1, "", "line 1: block 1 (PRIVATE KEY) passed over"},
       {{other, good}, 1, kSerial, "key.pem: it holds a private key"},
       {{"inspect", nothing}, 1, "", "no certificate or CRL: the directory is empty"},
       {{"--find", "1", good}, 1, "", "it holds a certificate"},
       {{"inspect", bad, missing, good}, 3, kSerial, "missing: No such file"},
       {{"inspect", empty, good}, 3, kSerial, "empty: holds nothing"},
       // Modern unless told otherwise, before the command or behind it, and told for one run.
       {{"--profile", "classic", "inspect", today}, 1},
       {{"--profile=classic", "inspect", "--profile=modern", today}, 0},
       {{"inspect", today}, 0},
       // An algorithm that is not known is no reason to refuse; it has its name.
       {{}, 0, "  Signed with   SM2 with SM3\n", "", sm2},
       {{"--full"}, 0, "Signature: SM2 with SM3 (1.2.156.10197.1.501)\n", "", sm2},
       // What stands around the one element is said.
       {{"inspect"}, 1, "certificate\n  2 bytes in front of the certificate\n", "", null + plain},
       {{"inspect"}, 1, "certificate\n  1 byte behind the certificate\n", "", plain + "x"},
       {{"inspect"},
        1,
        "certificate\n  2 bytes in front of the certificate, 4 bytes behind the certificate\n",
        "",
        null + plain + null + null}});
}

TEST(Inspect, FitsEightyColumns) {
  const Directory directory;
  const Der host = der::text(0x82, "a-host.in-a-domain.example.com");
  const Der names = sample::extension("2.5.29.17", der::seq({host, host, host, host}));
  const std::string folder = "a-folder-of-a-name/", refused = folder + "r.der";
  const std::string good = directory.add(folder + "a.der", certificate(kA, {names}));
  directory.add(refused, certificate(kA, {kUnknown}));
  directory.add(folder + "b.der", pem("CERTIFICATE", octets(der::seq({der::null()}))));
  directory.add(folder + "m.der", crl(1) + "trailing");
  const auto expect_narrow = [](const std::string &text) {
    std::istringstream lines(text);
    size_t seen = 0;
    for (std::string line; std::getline(lines, line); ++seen) EXPECT_LE(line.size(), 80u) << line;
    EXPECT_GT(seen, 5u);
  };
  const std::string table = run({directory.at("")}).out;
  EXPECT_THAT(table, HasSubstr("not known, at "));
  expect_narrow(table);
  expect_narrow(run({good}).out.substr(good.size()));
  for (const char *command : {"inspect", "verify", "message", "search", "add", "error"})
    expect_narrow(run({command, "--help"}).out);
}

TEST(Inspect, FindsEveryBlockAndFile) {
  const Directory directory;
  const std::string one = certificate(name(19, "one"), {}), two = certificate(name(19, "two"), {});
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
  const struct {
    std::vector<std::string> limit;
    size_t shown, in_json;
  } rows[] = {{{}, 10, 25}, {{"--entries", "3"}, 3, 3}, {{"--entries", "all"}, 25, 25}};
  for (const auto &row : rows) {
    const auto view = [&](const char *option) {
      std::vector<std::string> words = {"inspect", option};
      words.insert(words.end(), row.limit.begin(), row.limit.end());
      return run(words, der);
    };
    const std::string text = view("--full").out, page = view("--html").out;
    EXPECT_EQ(count(text, ")  2002-03-04T05:06:07Z\n"), row.shown);
    EXPECT_THAT(text, HasSubstr("Revoked certificates: 25"));
    EXPECT_EQ(count(page, " 2002-03-04T05:06:07Z"), 2 * row.shown) << "fields and elements";
    EXPECT_EQ(count(page, "\n      … "), row.shown < 25 ? 1u : 0u) << "bytes left out";
    const json object = view("--json").objects().at(0);
    EXPECT_EQ(object["entry_count"], 25);
    EXPECT_EQ(object["entries"].size(), row.in_json);
  }
}

TEST(Inspect, WhoIssuedWhom) {
  const struct {
    const char *why;
    std::vector<kwpki::Issued> objects;  // issuer, the key it says, subject, its key
    const char *lines;                   // level and object
  } rows[] = {
      {"a chain in any order, with a CRL",
       {{"B", "", "C", ""}, {"A", "", "A", ""}, {"A", "", "B", ""}, {"B", "", "", ""}},
       "0:1 1:2 2:0 2:3 "},
      {"a key chooses among issuers of one name",
       {{"A", "1", "A", "1"}, {"A", "2", "A", "2"}, {"A", "2", "B", ""}},
       "0:0 0:1 1:2 "},
      {"a new key that the old one signed",
       {{"A", "1", "A", "2"}, {"A", "1", "A", "1"}},
       "0:1 1:0 "},
      {"a key of nobody", {{"A", "1", "A", "1"}, {"A", "9", "B", ""}}, "0:0 1:1 "},
      {"the same twice", {{"A", "", "A", ""}, {"A", "", "A", ""}}, "0:0 0:1 "},
      {"issuers that are not there",
       {{"X", "", "B", ""}, {"Y", "", "C", ""}, {"X", "", "D", ""}},
       "0:? 1:0 1:2 0:? 1:1 "},
      {"a circle", {{"B", "", "A", ""}, {"A", "", "B", ""}}, "0:0 1:1 "},
      {"nothing is known", {{}}, "0:0 "},
  };
  for (const auto &row : rows) {
    std::string lines;
    for (const kwpki::IssuedLine &line : kwpki::issued_lines(row.objects))
      lines += std::to_string(line.depth) + ":" +
               (line.object == kwpki::kNoObject ? "?" : std::to_string(line.object)) + " ";
    EXPECT_EQ(lines, row.lines) << row.why;
  }
}

// What is refused is shown as far as it can be read, whatever the view, with the rule.
TEST(Inspect, ShowsTheStepThatRefused) {
  const std::string bad = certificate(kA, {kKeyUsage, kUnknown});
  const size_t offset = bad.find(octets(kUnknown));
  const std::string rule = "critical extension 1.2.3.4 is not known, at " + std::to_string(offset);
  const Result brief = run({}, bad), text = run({"inspect", "--full", "--tree-lines", "5"}, bad);
  for (const char *line :
       {"  Subject       CN=A\n", kSerial, "  Key           RSA, 264 bits, weak\n"})
    EXPECT_THAT(brief.out, HasSubstr(line));
  EXPECT_THAT(brief.out, HasSubstr("refused as a certificate: " + rule));
  EXPECT_EQ(text.code, 1);
  EXPECT_THAT(text.out, HasSubstr(rule));
  EXPECT_THAT(text.out, HasSubstr("key usage, critical: digital signature\n"));
  EXPECT_EQ(count(text.out, "<-- refused here"), 1u)
      << "the refused element is shown whatever the limit";
  EXPECT_THAT(text.out, HasSubstr("more elements (--tree-lines all"));

  const json object = run({"inspect", "--json"}, bad).objects().at(0);
  EXPECT_EQ(object["accepted"], false);
  EXPECT_EQ(object["refusal"]["offset"], offset);
  EXPECT_EQ(object["refusal"]["oid"], "1.2.3.4");
  EXPECT_EQ(object["subject"]["text"], "CN=A");

  sample::CertParts parts;  // what cannot be read is not made up
  parts.version = der::wrap(0, der::integer(8));
  parts.subject = der::null();
  const std::string other = octets(parts.build());
  expect_told({}, {{{}, 1, "version is 8; 0 to 2 are defined, at ", "", other},
                   {{}, 1, "  Subject       cannot be read\n", "", other}});
  const json shown = run({"inspect", "--json"}, other).objects().at(0);
  EXPECT_EQ(shown["refusal"]["found"], "8");
  EXPECT_FALSE(shown.contains("subject") || shown.contains("version"));
  const Result list = run({"inspect", "--json"}, replaced(crl(2), "\x02\x01\x01", "\x02\x01\x07"));
  EXPECT_EQ(list.objects().at(0)["entry_count"], 2);
}

// What a file is that holds something else; and the forms that a certificate has as text.
TEST(Inspect, TellsWhatAFileIs) {
  const Der oid = der::oid("1.2.3"), algorithm = der::seq({oid, der::null()}),
            one = der::integer(1);
  const Der key = der::seq({algorithm, der::bits({1, 2})}), blob = der::octets(Der{1, 2});
  const Der data = der::seq({der::oid("1.2.840.113549.1.7.1"), der::wrap(0, blob)});
  const Der id = der::seq({algorithm, blob, blob, one});
  const auto bundle = [](const Der &content) {
    return der::seq({der::oid("1.2.840.113549.1.7.2"), der::wrap(0, der::tlv(0x30, content))});
  };
  const std::pair<std::string, const char *> rows[] = {
      {"no certificate", "text"},
      {octets(data), "pkcs7"},
      {octets(bundle({})), "pkcs7"},
      {octets(der::seq({der::integer(3), data})), "pkcs12"},
      {octets(der::seq(
           {der::seq({der::integer(0), kA, key, der::wrap(0, {})}), algorithm, der::bits({1})})),
       "certification_request"},
      {octets(der::seq({der::integer(0), algorithm, blob})), "private_key"},
      {octets(der::seq({algorithm, blob})), "private_key"},
      {octets(der::seq({one, one, one, one, one, one, one, one, one})), "private_key"},
      {octets(der::seq({one, blob, der::wrap(0, oid)})), "private_key"},
      {octets(key), "public_key"},
      {octets(der::seq({one, one})), "public_key"},
      {octets(der::seq({der::seq({der::seq({der::seq({id})})})})), "ocsp_request"},
      {octets(der::seq({unhex("0A0100"), der::wrap(0, data)})), "ocsp_response"},
      {octets(der::seq({der::null()})), "unknown"},
      {std::string("\0\1\2", 3), "unknown"}};
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
  const std::string stray = replaced(armour, "-----\nMI", "-----\nM*I"),
                    headed = replaced(armour, "-----\nMI", "-----\nComment: x\n\nMI");
  EXPECT_THAT(run({}, stray).err, HasSubstr("stray characters in the armour, in line 2"));
  EXPECT_THAT(run({}, headed).err, HasSubstr("KwPkiReadFile reads this armour otherwise"));
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
  for (const char *line : {"  Subject       CN=A\n", "  Issuer        the same\n",
                           "UTC, expires in 12 days\n", "  Key           RSA, 264 bits, weak\n",
                           "  Signed with   RSA with SHA-1\n", "  Authority     no\n"})
    EXPECT_THAT(one.out, HasSubstr(line));
  EXPECT_LE(count(one.out, "\n"), 15u);
  expect_told({}, {{{}, 0, " UTC, EXPIRED 3 days ago\n", "", old},
                   {{"--color", "always", "inspect"},
                    0,
                    " UTC, \x1b[1;31mEXPIRED 3 days ago\x1b[0m\n",
                    "",
                    old},
                   {{"--full"}, 0, "\n  EXPIRED 3 days ago, weak key\n", "", old},
                   {{"--expires", "11"}, 0, "", "", made}});

  const Directory directory;
  const std::string soon = directory.add("soon.der", made);
  const std::string late = directory.add("late.der", ending(3000));
  const Result table = run({"--expires", "13", soon, late, soon, late});
  EXPECT_EQ(table.code, 1);
  EXPECT_EQ(count(table.out, "\n"), 5u);
  EXPECT_EQ(count(table.out, "  ! 12 days   RSA 264 weak   A  "), 2u);
  EXPECT_EQ(count(table.out, "    8 years   RSA 264 weak   A  "), 2u);
  EXPECT_EQ(run({"--expires", "13", "--pem", soon, late}).out, pem("CERTIFICATE", made));
}

TEST(Inspect, FindsASerialNumberInCrls) {
  for (const char *given : {"3", "0x3", "00:03", "0X03"}) {
    const Result found = run({"--find", given}, crl(5));
    EXPECT_EQ(found.code, 0) << given;
    EXPECT_THAT(found.out, testing::AllOf(HasSubstr("is revoked\n"), HasSubstr("2002-03-04")));
  }
  const json shown = run({"--find", "3", "--json"}, crl(5)).objects().at(0);
  EXPECT_TRUE(shown["revoked"].get<bool>() && shown["entry"]["serial"]["decimal"] == "3");
  EXPECT_EQ(run({"--find", "77777"}, crl(5)).code, 1);
  for (const char *wrong : {"", "0x", "1g", "-1"})
    EXPECT_EQ(run({"inspect", "--find", wrong}, crl(5)).code, 2) << wrong;
}

TEST(Inspect, WhatGoesWrongWithOneInputIsSaid) {
  EXPECT_EQ(kwpki::fault_of([] {}), "");
  EXPECT_EQ(kwpki::fault_of([] { throw std::runtime_error("no room"); }), "no room");
  EXPECT_EQ(kwpki::fault_of([] { throw std::bad_alloc(); }), "out of memory");
  EXPECT_THROW((void)kwpki::fault_of([] { throw kwpki::OutputClosed{1}; }), kwpki::OutputClosed);
}

// A tree covers its input without a gap: each element begins where the one before it, or its
// header, ended.
TEST(Inspect, TreeCoversBrokenInput) {
  const std::string der = certificate(kA, {kKeyUsage}) + octets(unhex("30800201010000"));
  std::vector<std::string> inputs;
  for (size_t size = 1; size <= der.size(); ++size) inputs.push_back(der.substr(0, size));
  for (size_t at = 0; at < der.size(); ++at) {
    for (const int change : {0x01, 0x20, 0x80, 0xFF}) {
      inputs.push_back(der);
      inputs.back()[at] = static_cast<char>(inputs.back()[at] ^ change);
    }
  }
  for (const std::string &input : inputs) {
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
  constexpr size_t kLevels = 500000;
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
    std::string painted = run({"inspect", "--full", "--color", "always"}, input).out;
    EXPECT_THAT(painted, HasSubstr("\x1b[1m"));
    for (size_t at = 0; (at = painted.find("\x1b[", at)) != std::string::npos;)
      painted.erase(at, painted.find('m', at) + 1 - at);
    EXPECT_EQ(painted, plain);
    EXPECT_EQ(run({"inspect", "--full"}, input).out, plain) << "a file is no terminal";
  }
}

}  // namespace
