// Files to read: a folder of the test's own, and contents around the sizes of blocks.
#pragma once

#include "asn1/files.h"
#include "support/folder.h"
#include "support/test.h"

class Files : public testing::Test {
 protected:
  // read gives a file's contents, or nothing; a failure stores nothing and keeps nothing.
  static std::optional<std::string> read(const char *name, decltype(ssh_read_file) *reader) {
    const int64_t before = ssh_mem_blocks();
    uint8_t *data = nullptr;
    size_t length = 12345;
    const bool good = reader(name, &data, &length);
    EXPECT_EQ(ssh_mem_blocks(), before + good);
    const SshBlock block(data);
    if (good) return std::string(ssh_bytes_text({data, length}));
    EXPECT_TRUE(data == nullptr && length == 12345);
    return {};
  }

  static std::vector<std::string> contents() {
    std::mt19937 random(1);
    std::vector<std::string> all;
    for (const size_t size :
         {0U, 1U, 1023U, 1024U, 1025U, 2047U, 2048U, 4096U, 100001U, 1000000U}) {
      for (char &c : all.emplace_back(size, 0)) c = "a-\r\n\0\xFF"[random() % 6];
    }
    return all;
  }

  Folder folder_;
};
