// Files to read: a folder of the test's own, what is written into it, and random contents.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "asn1/files.h"
#include "support/folder.h"
#include "util/owner.h"

namespace files {

struct Random : std::mt19937 {
  using std::mt19937::mt19937;
  uint32_t operator()() { return static_cast<uint32_t>(std::mt19937::operator()()); }
  std::string text(size_t length, std::string_view alphabet) {
    std::string text(length, 0);
    for (char &c : text) c = alphabet[(*this)() % alphabet.size()];
    return text;
  }
};

using Reader = bool (*)(const char *, uint8_t **, size_t *);

// read gives a file's contents, or nothing; it checks that a failure stores and keeps nothing.
inline std::optional<std::string> read(Reader reader, const char *name) {
  const int64_t before = ssh_mem_blocks();
  uint8_t *data = nullptr;
  size_t length = 12345;
  if (!reader(name, &data, &length)) {
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(length, 12345u);
    EXPECT_EQ(ssh_mem_blocks(), before);
    return {};
  }
  EXPECT_EQ(ssh_mem_blocks(), before + 1);
  const SshBlock block(data);
  return std::string(reinterpret_cast<char *>(data), length);
}

class Files : public testing::Test {
 protected:
  [[nodiscard]] std::string path(const char *name) const { return folder_.at(name); }

  std::string write(const std::string &content) {
    std::ofstream(path("file"), std::ios::binary) << content;
    return path("file");
  }

  std::optional<std::string> armoured(const std::string &content) {
    return read(ssh_read_file_base64, write(content).c_str());
  }

  Folder folder_;
};

}  // namespace files
