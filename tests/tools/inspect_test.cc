// The program as a whole, called as main() calls it, with files for its standard streams.
#include "kwpki/inspect.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "kwpki/text.h"
#include "kwpki/tree.h"
#include "support/hex.h"
#include "support/tool.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;

std::string bin(std::string_view digits) {
  const auto octets = unhex(digits);
  return {octets.begin(), octets.end()};
}

std::string tlv(int tag, const std::string &content) {
  std::string out(1, static_cast<char>(tag));
  const size_t size = content.size();
  if (size < 0x80) return out + static_cast<char>(size) + content;
  out += '\x84';
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(size >> shift);
  return out + content;
}

const std::string kAlgorithm = tlv(0x30, bin("06092a864886f70d010105 0500"));  // SHA-1 with RSA
const std::string kSignature = tlv(3, bin("00 0102030405060708"));
const std::string kNow = tlv(0x17, "260101000000Z");

std::string name(int string_tag, const std::string &value) {
  return tlv(0x30, tlv(0x31, tlv(0x30, bin("0603550403") + tlv(string_tag, value))));
}

std::string extension(std::string_view oid, bool critical, const std::string &value) {
  return tlv(0x30, tlv(6, bin(oid)) + (critical ? bin("0101ff") : "") + tlv(4, value));
}

std::string certificate(const std::string &subject, const std::string &extensions) {
  const std::string key =
      tlv(0x30, tlv(2, bin("00c1") + std::string(63, '\x11')) + bin("0203010001"));
  const std::string info =
      tlv(0x30, tlv(0x30, bin("06092a864886f70d010101 0500")) + tlv(3, std::string(1, '\0') + key));
  const std::string tbs = bin("a003020102 020207ff") + kAlgorithm + name(19, "Issuer") +
                          tlv(0x30, kNow + kNow) + subject + info +
                          (extensions.empty() ? "" : tlv(0xA3, tlv(0x30, extensions)));
  return tlv(0x30, tlv(0x30, tbs) + kAlgorithm + kSignature);
}

std::string crl(size_t entries) {
  std::string list;
  for (size_t i = 0; i < entries; ++i)
    list += tlv(0x30, tlv(2, std::string(1, static_cast<char>(i + 1))) + kNow);
  const std::string tbs =
      bin("020101") + kAlgorithm + name(19, "Issuer") + kNow + kNow + tlv(0x30, list);
  return tlv(0x30, tlv(0x30, tbs) + kAlgorithm + kSignature);
}

std::string pem(const std::string &label, const std::string &der) {
  std::string text;
  kwpki::append_base64(text, ssh_text_bytes(der));
  for (size_t at = 64; at < text.size(); at += 65) text.insert(at, "\n");
  return "-----BEGIN " + label + "-----\n" + text + "\n-----END " + label + "-----\n";
}

std::string replaced(std::string text, const std::string &part, const std::string &with) {
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += with.size())
    text.replace(at, part.size(), with);
  return text;
}

std::string without_colours(std::string text) {
  for (size_t at = 0; (at = text.find("\x1b[", at)) != std::string::npos;)
    text.erase(at, text.find('m', at) + 1 - at);
  return text;
}

size_t count(const std::string &text, const std::string &part) {
  size_t found = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
  return found;
}

std::vector<uint8_t> unbase64(const std::string &text) {
  std::vector<uint8_t> octets(text.size() / 4 * 3 + 1);
  const int size = EVP_DecodeBlock(octets.data(), reinterpret_cast<const uint8_t *>(text.data()),
                                   static_cast<int>(text.size()));
  const auto padding = static_cast<size_t>(std::count(text.begin(), text.end(), '='));
  octets.resize(static_cast<size_t>(size) - padding);
  return octets;
}

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

TEST(Inspect, NothingFromDataActsOnTheTerminal) {
  const std::string hostile = "\x1b]0;x\x07\u202e\u2066\xc2\x9b\u200b\xff\r\n\x7f";
  const Directory directory;
  const std::string names =
      tlv(0x30, tlv(0x82, hostile) + tlv(0x86, hostile) + tlv(0x87, hostile) + tlv(0x81, ""));
  const std::string der =
      certificate(name(12, hostile),
                  extension("551d11", false, names) + extension("2a0304", false, tlv(12, hostile)));
  const std::string path = directory.add("a\x1b[31m\u202e\n.der", der);
  const std::string other =
      directory.add("b.pem", "-----BEGIN \x1b[2J\u202e-----\n" + pem("CERTIFICATE", der));
  const std::string cut = directory.add("c\x1b.der", der.substr(0, der.size() / 2));
  for (const auto &options :
       std::vector<std::vector<std::string>>{{}, {"--json"}, {"--tree"}, {"--json", "--tree"}}) {
    std::vector<std::string> arguments = {"inspect", path, other, cut,
                                          directory.at("\x1b missing")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Result result = run(arguments);
    EXPECT_EQ(result.code, kwpki::kExitUnreadable);
    for (const std::string *text : {&result.out, &result.err}) {
      std::istringstream lines(*text);
      for (std::string line; std::getline(lines, line);) EXPECT_EQ(kwpki::escape(line), line);
    }
    if (options.empty() || options[0] != "--json") continue;
    const auto objects = result.objects();
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(objects[0]["file"], path);  // lossless: what was escaped for JSON comes back
    EXPECT_EQ(unbase64(objects[0]["der"]), std::vector<uint8_t>(der.begin(), der.end()));
    const json &dns = objects[0]["extensions"][0]["contents"][0];
    EXPECT_EQ(dns["text_hex"], kwpki::hex(ssh_text_bytes(hostile)));
  }
}

TEST(Inspect, ExitCodes) {
  const Directory directory;
  const std::string good = directory.add("good.der", certificate(name(19, "A"), ""));
  const std::string bad =
      directory.add("bad.der", certificate(name(19, "A"), extension("2a0304", true, "")));
  const std::string empty = directory.add("empty", "");
  const std::string other = directory.add("key.pem", pem("PRIVATE KEY", "x"));
  const std::string missing = directory.at("missing"), fifo = directory.at("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
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
      {{"inspect", good}, 0, "Serial: 2047 (0x7ff)", ""},
      {{"inspect", other}, 0, "", "line 1: block 1 (PRIVATE KEY) passed over"},
      {{"inspect", bad, good}, 1, "refused as a certificate", ""},
      {{"inspect", missing, good}, 3, "Serial: 2047", "missing: No such file"},
      {{"inspect", bad, missing}, 3, "refused", "missing: No such file"},
      {{"inspect", empty, good}, 3, "Serial: 2047", "empty: holds nothing"},
      {{"inspect", fifo, good}, 3, "Serial: 2047", "named pipe"},
      {{"inspect"}, 3, "", "standard input: holds nothing"},
  };
  for (const auto &row : rows) {
    const Result result = run(row.arguments);
    EXPECT_EQ(result.code, row.code) << testing::PrintToString(row.arguments);
    EXPECT_THAT(result.out, HasSubstr(row.out));
    EXPECT_THAT(result.err, HasSubstr(row.err));
  }
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
  fs::create_directory_symlink(directory.at("a"), directory.at("a/loop"));

  const Result all = run({"inspect", "--json", directory.at("a"), directory.at("b")});
  EXPECT_EQ(all.code, 0) << all.err;
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

TEST(Inspect, OutputThatCannotBeWritten) {
  std::signal(SIGPIPE, SIG_IGN);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  const Directory directory;
  const std::string path = directory.add("c.der", certificate(name(19, "A"), ""));
  const char *argv[] = {"kwpki", "inspect", path.c_str()};
  const struct {
    std::FILE *out;
    int code;
    const char *err;
  } rows[] = {{fdopen(ends[1], "w"), 0, ""}, {std::fopen("/dev/full", "w"), 3, "cannot write"}};
  for (const auto &row : rows) {
    const File out(row.out), err(std::tmpfile());
    ASSERT_TRUE(out);
    EXPECT_EQ(kwpki::run_command_line(3, argv, {stdin, out.get(), err.get()}), row.code);
    const std::string said = contents(err.get());
    EXPECT_EQ(said.empty(), *row.err == '\0');
    EXPECT_THAT(said, HasSubstr(row.err));
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

// What OpenSSL reads from the same octets.
std::string iso(const ASN1_TIME *time) {
  std::tm tm = {};
  char text[80];
  if (!time || !ASN1_TIME_to_tm(time, &tm)) return "";
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", tm.tm_year + 1900,
                tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
  return text;
}

std::string decimal(const ASN1_INTEGER *integer) {
  BIGNUM *number = ASN1_INTEGER_to_BN(integer, nullptr);
  char *text = BN_bn2dec(number);
  std::string out(text);
  OPENSSL_free(text);
  BN_free(number);
  return out;
}

void expect_extensions(const json &shown, const STACK_OF(X509_EXTENSION) * list) {
  ASSERT_EQ(shown.size(), static_cast<size_t>(std::max(0, X509v3_get_ext_count(list))));
  for (size_t i = 0; i < shown.size(); ++i) {
    X509_EXTENSION *extension = X509v3_get_ext(list, static_cast<int>(i));
    char oid[128];
    OBJ_obj2txt(oid, sizeof oid, X509_EXTENSION_get_object(extension), 1);
    EXPECT_EQ(shown[i]["oid"], oid);
    EXPECT_EQ(shown[i]["critical"], X509_EXTENSION_get_critical(extension) != 0);
    const ASN1_OCTET_STRING *value = X509_EXTENSION_get_data(extension);
    EXPECT_EQ(shown[i]["der"], kwpki::hex({value->data, static_cast<size_t>(value->length)}));
  }
}

std::string digest(const std::vector<uint8_t> &octets, const EVP_MD *md) {
  uint8_t out[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  EVP_Digest(octets.data(), octets.size(), out, &length, md, nullptr);
  return kwpki::hex({out, length});
}

void expect_certificate(const json &shown, X509 *x509) {
  EXPECT_EQ(shown["version"], X509_get_version(x509) + 1);
  EXPECT_EQ(shown["serial"]["decimal"], decimal(X509_get0_serialNumber(x509)));
  EXPECT_EQ(shown["validity"]["not_before"], iso(X509_get0_notBefore(x509)));
  EXPECT_EQ(shown["validity"]["not_after"], iso(X509_get0_notAfter(x509)));
  EXPECT_EQ(shown["subject"]["attributes"].empty(),
            X509_NAME_entry_count(X509_get_subject_name(x509)) == 0);
  expect_extensions(shown["extensions"], X509_get0_extensions(x509));
  EVP_PKEY *key = X509_get0_pubkey(x509);
  BIGNUM *number = nullptr;
  const char *const pairs[][2] = {
      {"n", "modulus"}, {"e", "public_exponent"}, {"p", "p"}, {"q", "q"}, {"g", "g"}, {"pub", "y"}};
  for (const auto &pair : pairs) {
    if (!key || !shown["public_key"].contains(pair[1])) continue;
    ASSERT_TRUE(EVP_PKEY_get_bn_param(key, pair[0], &number)) << pair[0];
    std::vector<uint8_t> octets(static_cast<size_t>(BN_num_bytes(number)));
    BN_bn2bin(number, octets.data());
    EXPECT_EQ(shown["public_key"][pair[1]]["hex"], kwpki::hex(octets));
  }
  BN_free(number);
}

void expect_crl(const json &shown, X509_CRL *list) {
  EXPECT_EQ(shown["this_update"], iso(X509_CRL_get0_lastUpdate(list)));
  expect_extensions(shown["extensions"], X509_CRL_get0_extensions(list));
  const auto *revoked = X509_CRL_get_REVOKED(list);
  ASSERT_EQ(shown["entries"].size(),
            static_cast<size_t>(std::max(0, sk_X509_REVOKED_num(revoked))));
  for (size_t i = 0; i < shown["entries"].size(); ++i) {
    const X509_REVOKED *entry = sk_X509_REVOKED_value(revoked, static_cast<int>(i));
    EXPECT_EQ(shown["entries"][i]["serial"]["decimal"],
              decimal(X509_REVOKED_get0_serialNumber(entry)));
    EXPECT_EQ(shown["entries"][i]["date"], iso(X509_REVOKED_get0_revocationDate(entry)));
    expect_extensions(shown["entries"][i]["extensions"], X509_REVOKED_get0_extensions(entry));
  }
}

TEST(Inspect, AgreesWithOpenSsl) {
  std::vector<std::string> arguments = {"inspect", "--json", KWPKI_SOURCE_DIR "/examples"};
  if (fs::exists(KWPKI_CORPUS_DIR))
    arguments.insert(arguments.end(), {KWPKI_CORPUS_DIR "/der", KWPKI_CORPUS_DIR "/pem"});
  const Result result = run(arguments);
  EXPECT_TRUE(std::all_of(result.out.begin(), result.out.end(),
                          [](char c) { return c == '\n' || (c >= 32 && c < 127); }));
  size_t certificates = 0, lists = 0;
  for (const json &shown : result.objects()) {
    SCOPED_TRACE(shown["file"]);
    const auto der = unbase64(shown["der"]);
    if (!shown["accepted"]) {
      EXPECT_TRUE(shown["refusal"]["structure"].is_string());
      EXPECT_LE(shown["refusal"]["offset"], der.size());
      continue;
    }
    EXPECT_EQ(shown["fingerprints"]["sha1"], digest(der, EVP_sha1()));
    EXPECT_EQ(shown["fingerprints"]["sha256"], digest(der, EVP_sha256()));
    const uint8_t *at = der.data();
    if (shown["kind"] == "certificate") {
      const std::unique_ptr<X509, decltype(&X509_free)> x509(
          d2i_X509(nullptr, &at, static_cast<long>(der.size())), X509_free);
      if (x509) expect_certificate(shown, x509.get());
      certificates += x509 != nullptr;
    } else {
      const std::unique_ptr<X509_CRL, decltype(&X509_CRL_free)> list(
          d2i_X509_CRL(nullptr, &at, static_cast<long>(der.size())), X509_CRL_free);
      if (list) expect_crl(shown, list.get());
      lists += list != nullptr;
    }
  }
  EXPECT_GE(certificates, 8u);
  EXPECT_GE(lists, 3u);
}

}  // namespace
