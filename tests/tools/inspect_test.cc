// The program as a whole, called as main() calls it, with files for its standard streams.
#include "kwpki/inspect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "kwpki/text.h"
#include "kwpki/tree.h"
#include "support/tool.h"
#include "tools/inspect_samples.h"

namespace {

namespace fs = std::filesystem;
using namespace inspect_samples;
using nlohmann::json;
using testing::HasSubstr;

TEST(Inspect, Escapes) {
  const struct {
    const char *why;
    std::string text, expected;
  } rows[] = {
      {"plain text, backslashes included", "a\\, b\"é漢😀", "a\\, b\"é漢😀"},
      {"C0 and DEL", std::string("\x1b[31m\n\t\0\x7f", 9), "\\x1b[31m\\x0a\\x09\\x00\\x7f"},
      {"C1",
       "\xc2\x9b"
       "31m",
       "\\u{009b}31m"},
      {"embedding, override, isolate, marks", "\u202a\u202e\u2066\u2069\u200e\u200f\u061c",
       "\\u{202a}\\u{202e}\\u{2066}\\u{2069}\\u{200e}\\u{200f}\\u{061c}"},
      {"zero width, soft hyphen, tag", "\u200b\ufeff\u00ad\U000e0041",
       "\\u{200b}\\u{feff}\\u{00ad}\\u{e0041}"},
      {"a stray octet, a cut character", "\x80x\xe2\x82", "\\x80x\\xe2\\x82"},
      {"overlong, surrogate, too large", "\xc0\x8a\xed\xa0\x80\xf4\x90\x80\x80",
       "\\xc0\\x8a\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80"},
  };
  for (const auto &row : rows) EXPECT_EQ(kwpki::escape(row.text), row.expected) << row.why;
}

TEST(Inspect, ExitCodes) {
  const Directory directory;
  const std::string good = directory.add("good.der", certificate(name(19, "A"), ""));
  const std::string bad =
      directory.add("bad.der", certificate(name(19, "A"), extension("2a0304", true, "")));
  const std::string empty = directory.add("empty", "");
  const std::string other = directory.add("key.pem", pem("PRIVATE KEY", "x"));
  const std::string missing = directory.at("missing");
  const struct {
    std::vector<std::string> arguments;
    int code;
    const char *out, *err;
  } rows[] = {
      {{"--version"}, 0, KWPKI_VERSION, ""},
      {{"inspect", "--help"}, 0, "Exit status", ""},
      {{}, 2, "", "subcommand"},
      {{"inspect", "--colour", "x"}, 2, "", "--colour"},
      {{"inspect", "--color", "blue", good}, 2, "", "--color"},
      {{"inspect", "--entries", "-1", good}, 2, "", "--entries"},
      {{"inspect", "--entries", "many", good}, 2, "", "--entries"},
      {{"inspect", "--profile", "old", good}, 2, "", "--profile"},
      {{"inspect", "--profile"}, 2, "", "--profile"},
      {{"inspect", good}, 0, "Serial: 2047 (0x7ff)", ""},
      {{"inspect", other}, 0, "", "line 1: block 1 (PRIVATE KEY) passed over"},
      {{"inspect", bad, good}, 1, "refused as a certificate", ""},
      {{"inspect", missing, good}, 3, "Serial: 2047", "missing: No such file"},
      {{"inspect", bad, missing}, 3, "refused", "missing: No such file"},
      {{"inspect", empty, good}, 3, "Serial: 2047", "empty: holds nothing"},
      {{"inspect"}, 3, "", "standard input: holds nothing"},
  };
  for (const auto &row : rows) {
    const Result result = run(row.arguments);
    EXPECT_EQ(result.code, row.code) << testing::PrintToString(row.arguments);
    EXPECT_THAT(result.out, HasSubstr(row.out));
    EXPECT_THAT(result.err, HasSubstr(row.err));
  }
}

// Modern unless told otherwise, before the command or behind it; and told once, told for one run.
TEST(Inspect, ReadsUnderAProfile) {
  const std::string today = KWPKI_SOURCE_DIR "/examples/refused-sha256.der";
  const struct {
    std::vector<std::string> arguments;
    int code;
  } rows[] = {
      {{"inspect", today}, 0},
      {{"--profile", "classic", "inspect", today}, 1},
      {{"inspect", "--profile", "classic", today}, 1},
      {{"inspect", today, "--profile=modern"}, 0},
      {{"--profile=classic", "inspect", "--profile=modern", today}, 0},
      {{"--profile=modern", "inspect", "--profile=classic", today}, 1},
      {{"inspect", today}, 0},
  };
  ASSERT_EQ(ssh_x509_profile(), SSH_X509_CLASSIC);
  for (const auto &row : rows)
    EXPECT_EQ(run(row.arguments).code, row.code) << testing::PrintToString(row.arguments);
  EXPECT_THAT(run(rows[1].arguments).out, HasSubstr("(sha256WithRSAEncryption)"));
}

TEST(Inspect, FindsEveryBlockAndFile) {
  const Directory directory;
  const std::string one = certificate(name(19, "one"), ""), two = certificate(name(19, "two"), "");
  const std::string dos = replaced(pem("X509 CERTIFICATE", two), "\n", "\r\n");
  std::string open = pem("X509 CRL", crl(1));
  open.resize(open.find("-----END"));
  std::string headed = pem("CERTIFICATE", one);
  headed.insert(headed.find('\n') + 1, "Comment: QUJD\n\n");
  const std::string bundle = "text before\n" + pem("TRUSTED CERTIFICATE", one + "aux") +
                             pem("RSA PRIVATE KEY", one) + dos + "-----BEGIN nothing\n" + open +
                             headed;
  const std::string path = directory.add("b/bundle.pem", bundle);
  directory.add("a/deep/x.der", two + "trailing");
  directory.add("a/notes.txt", "0 no certificate");
  std::error_code ignored;  // not every system makes them
  fs::create_directory_symlink(directory.at("a"), directory.at("a/loop"), ignored);

  const Result all = run({"inspect", "--json", directory.at("a"), directory.at("b")});
  EXPECT_EQ(all.code, 1) << all.err;  // octets behind a certificate are a finding
  std::vector<std::string> seen;
  for (const json &object : all.objects()) {
    seen.push_back(object["kind"] == "crl" ? "crl" : object["subject"]["text"].get<std::string>());
    seen.back() += object.value("format", "") + std::to_string(object.value("block", 0)) + ":" +
                   std::to_string(object.value("trailing_octets", 0));
  }
  EXPECT_THAT(seen, testing::ElementsAre("CN=twoder0:8", "CN=onepem1:3", "CN=twopem3:0",
                                         "crlpem4:0", "CN=onepem5:0"));
  EXPECT_THAT(all.err, HasSubstr("notes.txt: neither"));
  EXPECT_THAT(all.err, HasSubstr("(RSA PRIVATE KEY) passed over"));
  EXPECT_THAT(all.err, HasSubstr("no END line"));

  const Result piped = run({"inspect", "-"}, bundle), named = run({"inspect", path});
  EXPECT_EQ(replaced(named.out, path, "standard input"), piped.out);
}

TEST(Inspect, LimitsEntriesButCountsAll) {
  const std::string der = crl(25);
  const struct {
    std::vector<std::string> options;
    size_t shown;
  } rows[] = {
      {{}, 10}, {{"--entries", "3"}, 3}, {{"--entries", "0"}, 0}, {{"--entries", "all"}, 25}};
  for (const auto &row : rows) {
    std::vector<std::string> arguments = {"inspect"};
    arguments.insert(arguments.end(), row.options.begin(), row.options.end());
    const Result text = run(arguments, der);
    EXPECT_EQ(count(text.out, ")  2026-01-01T00:00:00Z\n"), row.shown);
    EXPECT_THAT(text.out, HasSubstr("Revoked certificates: 25"));
    arguments.emplace_back("--json");
    const json object = run(arguments, der).objects().at(0);
    EXPECT_EQ(object["entry_count"], 25);
    ASSERT_EQ(object["entries"].size(), row.options.empty() ? 25 : row.shown);
    for (size_t i = 0; i < object["entries"].size(); ++i) {
      EXPECT_EQ(object["entries"][i]["serial"]["decimal"], std::to_string(i + 1));
    }
  }
}

TEST(Inspect, ShowsTheStepThatRefused) {
  const std::string bad = certificate(name(19, "A"), extension("551d0f", true, bin("03020780")) +
                                                         extension("2a0304", true, bin("0400")));
  const size_t offset = bad.find(bin("06032a0304")) - 2;  // the header of the Extension
  const Result text = run({"inspect", "--tree-lines", "5"}, bad);
  EXPECT_EQ(text.code, 1);
  EXPECT_THAT(text.out, HasSubstr("at offset " + std::to_string(offset) + ", identifier 1.2.3.4"));
  EXPECT_EQ(count(text.out, "<-- refused here"), 1u)
      << "the refused element is shown whatever the limit";
  EXPECT_THAT(text.out, HasSubstr("more elements (--tree-lines all"));

  const json object = run({"inspect", "--json"}, bad).objects().at(0);
  EXPECT_EQ(object["accepted"], false);
  EXPECT_EQ(object["refusal"]["offset"], offset);
  EXPECT_EQ(object["refusal"]["identifier"]["oid"], "1.2.3.4");
  for (const json &line : object["tree"])
    EXPECT_EQ(line.contains("refused_here"), line["offset"] == offset);

  std::string list = crl(2);
  list[list.find(kNow, list.find(kNow) + 2 * kNow.size()) + 4] = 'x';  // the first entry's date
  EXPECT_THAT(run({"inspect"}, list).out, HasSubstr("refused as a CRL"));
}

// What is shown comes from one reading, the library's: what that passes over changes nothing else,
// and what stands around the one element is said.
TEST(Inspect, ShowsWhatWasRead) {
  const std::string extensions =
      extension("551d13", true, bin("30030101ff")) + extension("551d0f", false, bin("03020780"));
  const std::string subject = name(19, "A"), signed_fields = fields(subject, extensions);
  const std::string plain = wrapped(signed_fields), null = bin("0500");
  const std::string list = tlv(0x30, extensions),
                    freshest = extension("551d2e", false, bin("3000"));
  const std::string two_values =
      tlv(0x30, bin("0603551d0e") + tlv(4, bin("0401aa")) + tlv(4, bin("0401bb")));
  const struct {
    const char *why;
    std::string der;
    bool classic, modern;
    const char *around;
  } rows[] = {
      {"nothing unusual", plain, true, true, ""},
      {"octets in front", null + plain, true, true, "2 octets in front of the certificate\n"},
      {"one behind", plain + "x", true, true, "1 octet behind the certificate\n"},
      {"both", null + plain + null + null, true, true,
       "2 octets in front of the certificate, 4 octets behind the certificate\n"},
      {"NULL between the signed part and the algorithm", wrapped(signed_fields, null), true, false,
       ""},
      {"NULL between version and serial",
       wrapped(signed_fields.substr(0, 5) + null + signed_fields.substr(5)), true, false, ""},
      {"two lists of extensions, the last with another",
       wrapped(signed_fields + tlv(0xA3, tlv(0x30, freshest))), false, false, ""},
      {"the same twice", wrapped(signed_fields + tlv(0xA3, list)), false, false, ""},
      {"NULL beside the extensions", wrapped(fields(subject, "") + tlv(0xA3, null + list)), false,
       false, ""},
      {"two values", certificate(subject, extensions + two_values), false, false, ""},
  };
  const json expected = run({"inspect", "--json"}, plain).objects().at(0);
  for (const auto &row : rows) {
    for (const char *profile : {"classic", "modern"}) {
      const bool accepted = *profile == 'c' ? row.classic : row.modern;
      const Result text = run({"inspect", "--profile", profile}, row.der);
      const Result shown = run({"inspect", "--json", "--profile", profile}, row.der);
      EXPECT_EQ(text.code, accepted && !*row.around ? 0 : 1) << row.why << text.out;
      EXPECT_EQ(shown.code, text.code) << row.why;
      const json object = shown.objects().at(0);
      ASSERT_EQ(object["accepted"], accepted) << row.why << " " << profile;
      EXPECT_EQ(text.out.find("refused") == std::string::npos, accepted) << row.why << text.out;
      if (!accepted) continue;
      EXPECT_THAT(text.out, HasSubstr(std::string("certificate\n  ") + row.around)) << row.why;
      for (const char *member :
           {"serial", "signature", "issuer", "subject", "public_key", "extensions"})
        EXPECT_EQ(object[member], expected[member]) << row.why << " " << member;
      if (!*row.around) continue;
      EXPECT_EQ(object["fingerprints"], expected["fingerprints"]) << row.why;
      EXPECT_EQ(object["der"], expected["der"]) << row.why;
    }
  }
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
  const std::string der = certificate(name(19, "A"), extension("551d0f", true, bin("03020780"))) +
                          bin("30800201010000");
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

TEST(Inspect, DeepAndWideInput) {
  constexpr size_t kLevels = 500000;
  std::string indefinite, open, strings;
  for (size_t i = 0; i < kLevels; ++i) indefinite += "\x30\x80";
  open = indefinite;
  indefinite += std::string(kLevels * 2, '\0');
  for (size_t i = 0; i < 2000; ++i) strings = tlv(4, strings);
  const struct {
    const char *why;
    const std::string *input;
    size_t lines;
  } rows[] = {{"closed", &indefinite, 2 * kLevels}, {"octet strings", &strings, 2000}};
  for (const auto &row : rows) {
    const Result result = run({"inspect", "--tree", "--tree-lines", "all"}, *row.input);
    EXPECT_EQ(result.code, 1) << row.why;
    EXPECT_EQ(count(result.out, "\n"), row.lines + 2) << row.why;
    EXPECT_LT(result.out.size(), row.lines * 160) << row.why;
  }
  for (const std::string *input : {&indefinite, &open}) {
    const Result result = run({"inspect"}, *input);
    EXPECT_EQ(result.code, 1);
    EXPECT_LT(result.out.size(), 200000u) << "a tree is cut by itself";
  }
}

TEST(Inspect, ColoursChangeNothingElse) {
  const std::string der = certificate(name(19, "A"), extension("551d0f", true, bin("03020780")));
  for (const std::string &input : {der, der.substr(0, 90), crl(3)}) {
    const std::string plain = run({"inspect", "--color", "never"}, input).out;
    const std::string painted = run({"inspect", "--color", "always"}, input).out;
    EXPECT_THAT(painted, HasSubstr("\x1b[1m"));
    EXPECT_EQ(without_colours(painted), plain);
    EXPECT_EQ(run({"inspect"}, input).out, plain) << "a file is no terminal";
  }
}

}  // namespace
