// Reading files: sizes around the block bounds, things that are no files, armour and base64.
#include "asn1/files.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>

#include "asn1/files_fixture.h"
#include "support/peer.h"

using namespace files;

namespace {

// find_by_flags is the armour rule in its plainest form: one pass with three flags.
std::string find_by_flags(const std::string &file) {
  bool dash_run = false, dash_line = false, inside = false;
  size_t start = 0, end = 0;
  for (size_t i = 0; i < file.size(); ++i) {
    if (file[i] == '\r' || file[i] == '\n') {
      dash_run = false;
      if (dash_line && inside) start = i + 1;
      dash_line = false;
    } else if (file[i] == '-' && !dash_run) {
      if (inside) end = i - 1;
      inside = !inside;
      dash_run = dash_line = true;
    }
  }
  return start < end ? file.substr(start, end - start) : "";
}

// decode_by_groups is base64 in its plainest form: clean the text, then take groups of four.
std::string decode_by_groups(const std::string &text) {
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";
  std::string clean, out;
  for (const char c : text) {
    if (kAlphabet.find(c) != std::string_view::npos) clean += c;
  }
  for (size_t at = 0; at + 4 <= clean.size(); at += 4) {
    if (clean[at] == '=' || clean[at + 1] == '=') break;
    size_t bits = 0;
    for (size_t i = 0; i < 4; ++i) bits = bits * 64 + kAlphabet.find(clean[at + i]) % 64;
    const size_t count = clean[at + 2] == '=' ? 1 : clean[at + 3] == '=' ? 2 : 3;
    for (size_t i = 0; i < count; ++i) out += static_cast<char>(bits >> (16 - 8 * i));
  }
  return out;
}

std::string decoded(const std::string &text) {
  size_t length;
  const SshBlock block(ssh_base64_to_buf(text.c_str(), &length));
  return {reinterpret_cast<char *>(block.get()), length};
}

}  // namespace

TEST_F(Files, ContentsByNameAndByStandardInput) {
  Random random(1);
  for (const size_t size : {0u, 1u, 1023u, 1024u, 1025u, 2047u, 2048u, 4096u, 100001u, 1000000u}) {
    SCOPED_TRACE(size);
    const std::string content = random.text(size, std::string_view("a-\r\n\0\xFF", 6));
    const std::string name = write(content);
    EXPECT_TRUE(read(ssh_read_file, name.c_str()) == content);
    for (const char *standard : {"-", static_cast<const char *>(nullptr)}) {
      ASSERT_NE(std::freopen(name.c_str(), "rb", stdin), nullptr);
      EXPECT_TRUE(read(ssh_read_file, standard) == content);
      EXPECT_NE(std::fseek(stdin, 0, SEEK_SET), -1) << "standard input was closed";
    }
  }
  ASSERT_NE(std::freopen(write("headbody").c_str(), "rb", stdin), nullptr);
  EXPECT_EQ(std::fseek(stdin, 4, SEEK_SET), 0);
  EXPECT_EQ(read(ssh_read_file, "-"), "body");
}

TEST_F(Files, WhatCannotBeReadIsRefused) {
  EXPECT_FALSE(read(ssh_read_file, path("missing").c_str()));
  EXPECT_FALSE(read(ssh_read_file, path("").c_str()));
  EXPECT_FALSE(read(ssh_read_file, ""));
  EXPECT_FALSE(read(ssh_read_file_base64, path("missing").c_str()));
  EXPECT_FALSE(read(ssh_read_file_base64, path("").c_str()));
  const std::string large = write("x");
  std::filesystem::resize_file(large, SSH_XMALLOC_MAX + 1);
  EXPECT_FALSE(read(ssh_read_file, large.c_str()));
  std::filesystem::resize_file(large, SSH_XMALLOC_MAX);
  EXPECT_EQ(read(ssh_read_file, large.c_str()).value_or("").size(), SSH_XMALLOC_MAX);
}

TEST_F(Files, Armour) {
  const struct {
    const char *file;
    std::optional<std::string> content;
  } cases[] = {
      {"-----BEGIN X-----\nQUJD\n-----END X-----\n", "ABC"},
      {"-----BEGIN X-----\r\nQU\r\nJD\r\n-----END X-----\r\n", "ABC"},
      {"text before\n-\nQUJD\n-", "ABC"},
      {"-\nQUJD\n-\n-\nWFla\n-\n", "XYZ"},
      {"-\nQUJD\n-\n-\nWFla\n", {}},  // the unclosed one hides the other
      {"-\nType: 1234\n\nQUJD\n-\n",
       "\x4F\x2A\x5E\xD7\x6D\xF8"
       "ABC"},
      {"-\nQQ==\n-", "A"},
      {"-\nQUI=\n-", "AB"},
      {"-\nQUI=QUJD\n-", "ABABC"},
      {"-\nQUJDQQ==QUJD\n-", "ABCAABC"},
      {"-\nQUJDQ===QUJD\n-", "ABC"},
      {"-\nQUJD=QUJDQUJD\n-", "ABC"},
      {"-\nQUJDQ=\n-", "ABC"},
      {"-\nQUJD-", ""},  // a dash in a line of text takes the octet before it along
      {"-\n!\n-", ""},
      {"-\n\n-", {}},
      {"-\n-", {}},
      {"-", {}},
      {"QUJD\n", {}},
      {"", {}},
  };
  for (const auto &c : cases) EXPECT_EQ(armoured(c.file), c.content) << c.file;
}

TEST_F(Files, ArmourAndBase64FollowTheirPlainestForms) {
  Random random(2);
  size_t found = 0, filled = 0;
  for (int i = 0; i < 100000; ++i) {
    const std::string file = random.text(random() % 24, i % 2 ? "-\r\nAb" : "-\nAbcdefghijkl");
    const Bytes block = ssh_armour_find(ssh_text_bytes(file));
    ASSERT_EQ(ssh_bytes_text(block), find_by_flags(file)) << file;
    ASSERT_EQ(block.data() == nullptr, block.empty());
    found += !block.empty();
    const std::string text = random.text(random() % 24, "ABCDz019+/+/=\n -\xFF");
    const std::string want = decode_by_groups(text);
    ASSERT_EQ(decoded(text), want) << text;
    const SshText clean(ssh_base64_remove_whitespace(text.c_str(), i % 2 ? text.size() : 0));
    ASSERT_EQ(std::string(clean.get()).find_first_of("\n -\xFF"), std::string::npos);
    ASSERT_EQ(decoded(clean.get()), want) << text;
    filled += want.size() > 6;
  }
  EXPECT_GT(found, 10000u);
  EXPECT_GT(filled, 10000u);
  const SshText part(ssh_base64_remove_whitespace("QU JDQUJD", 4));
  EXPECT_STREQ(part.get(), "QUJ");
}

TEST_F(Files, ArmourOfAnotherImplementationComesBack) {
  Random random(3);
  for (size_t size = 1; size < 400; ++size) {
    std::string octets(size, 0);
    for (char &c : octets) c = static_cast<char>(random());
    std::string text = peer_base64(octets);
    const size_t line = 1 + random() % 76;
    for (size_t at = line; at < text.size(); at += line + 2) text.insert(at, "\r\n");
    const std::string file = "-----BEGIN A-----\r\n" + text + "\r\n-----END A-----\r\n";
    EXPECT_TRUE(armoured(file) == octets) << size;
  }
}
