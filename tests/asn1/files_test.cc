// Reading files: sizes around the block bounds, things that are no files, armour and base64.
#include "asn1/files.h"

#include <filesystem>

#include "asn1/files_fixture.h"

namespace {

TEST_F(Files, ContentsByNameAndByStandardInput) {
  for (const std::string &content : contents()) {
    SCOPED_TRACE(content.size());
    const std::string name = folder_.add("file", content);
    EXPECT_TRUE(read(name.c_str(), ssh_read_file) == content);
    for (const char *standard : {"-", static_cast<const char *>(nullptr)}) {
      ASSERT_NE(std::freopen(name.c_str(), "rb", stdin), nullptr);
      EXPECT_TRUE(read(standard, ssh_read_file) == content);
      EXPECT_NE(std::fseek(stdin, 0, SEEK_SET), -1) << "standard input was closed";
    }
  }
  ASSERT_NE(std::freopen(folder_.add("file", "headbody").c_str(), "rb", stdin), nullptr);
  EXPECT_EQ(std::fseek(stdin, 4, SEEK_SET), 0);
  EXPECT_EQ(read("-", ssh_read_file), "body");
}

TEST_F(Files, WhatCannotBeReadIsRefused) {
  for (const std::string &name : {folder_.at("missing"), folder_.at(""), std::string()}) {
    EXPECT_FALSE(read(name.c_str(), ssh_read_file));
    EXPECT_FALSE(read(name.c_str(), ssh_read_file_base64));
  }
  const std::string large = folder_.add("large", "x");
  std::filesystem::resize_file(large, SSH_XMALLOC_MAX + 1);
  EXPECT_FALSE(read(large.c_str(), ssh_read_file));
  std::filesystem::resize_file(large, SSH_XMALLOC_MAX);
  EXPECT_EQ(read(large.c_str(), ssh_read_file).value_or("").size(), SSH_XMALLOC_MAX);
}

TEST_F(Files, Armour) {
  const std::pair<const char *, std::optional<std::string>> rows[] = {
      {"-----BEGIN X-----\r\nQU\r\nJD\r\n-----END X-----\r\n", "ABC"},
      {"text before\n-\nQUJD\n-", "ABC"},
      {"-\nQUJD\n-\n-\nWFla\n-\n", "XYZ"},
      {"-\nQUJD\n-\n-\nWFla\n", {}},  // the unclosed one hides the other
      {"-\rType: 1234\r\rQUJD\r-\r",
       "\x4F\x2A\x5E\xD7\x6D\xF8"
       "ABC"},
      {"-\nQUI=QUJD\n-", "ABABC"},
      {"-\nQUJD-", ""},  // a dash in a line of text takes the byte before it along
      {"-\n\n-", {}},
      {"", {}},
  };
  for (const auto &[text, content] : rows) {
    EXPECT_EQ(read(folder_.add("file", text).c_str(), ssh_read_file_base64), content) << text;
  }
  EXPECT_STREQ(SshText(ssh_base64_remove_whitespace("QU JDQUJD", 4)).get(), "QUJ");
}

}  // namespace
