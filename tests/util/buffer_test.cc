#include "util/buffer.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <vector>

#include "support/fatal.h"
#include "util/mem.h"

namespace {

// Each row is a series of appends (positive) and consumptions (negative) and what they leave.
TEST(Buffer, GrowthAndCompaction) {
  const struct {
    const char *why;
    std::vector<int> steps;
    uint32_t alloc, offset, end;
  } rows[] = {
      {"4095 fit", {4095}, 4096, 0, 4095},
      {"4096 do not: request and page are added", {4096}, 12288, 0, 4096},
      {"one more octet after 4095", {4095, 1}, 8193, 0, 4096},
      {"an empty append to a full block stays", {4095, 0}, 4096, 0, 4095},
      {"what is empty starts again", {1000, -1000, 500}, 4096, 0, 500},
      {"half consumed is not enough to compact", {4095, -2048, 1}, 8193, 2048, 4096},
      {"more than half is compacted instead of growth", {4095, -2049, 1}, 4096, 0, 2047},
      {"no compaction while there is room", {3000, -2500, 1000}, 4096, 2500, 4000},
      {"compaction alone may not do", {4095, -2049, 2050}, 10242, 0, 4096},
  };
  for (const auto &row : rows) {
    SshBuffer buffer;
    for (const int step : row.steps) {
      if (step < 0) {
        ssh_buffer_consume(buffer, static_cast<size_t>(-step));
        continue;
      }
      ssh_buffer_append(buffer, std::vector<uint8_t>(static_cast<size_t>(step), 0x11));
    }
    EXPECT_EQ(buffer.alloc, row.alloc) << row.why;
    EXPECT_EQ(buffer.offset, row.offset) << row.why;
    EXPECT_EQ(buffer.end, row.end) << row.why;
  }
}

TEST(Buffer, IsAQueue) {
  std::mt19937 random(4);
  SshBuffer buffer;
  std::deque<uint8_t> model;
  for (int i = 0; i < 3000; ++i) {
    if (random() % 5 < 2) {
      const size_t n = random() % (model.size() + 1);
      ssh_buffer_consume(buffer, n);
      model.erase(model.begin(), model.begin() + static_cast<std::ptrdiff_t>(n));
    } else {
      std::vector<uint8_t> data(random() % 3000);
      for (uint8_t &octet : data) octet = static_cast<uint8_t>(random());
      ssh_buffer_append(buffer, data);
      model.insert(model.end(), data.begin(), data.end());
    }
    ASSERT_LT(buffer.end, buffer.alloc);
    ASSERT_EQ(ssh_buffer_len(buffer), model.size());
    const Bytes held = ssh_buffer_bytes(buffer);
    ASSERT_TRUE(std::equal(held.begin(), held.end(), model.begin()));
  }
}

TEST(Buffer, SpaceIsWhereTheDataGoes) {
  SshBuffer buffer;
  ssh_buffer_append(buffer, ssh_text_bytes("head"));
  uint8_t *out = nullptr;
  uint8_t *space = ssh_buffer_append_space(buffer, &out, 4);
  EXPECT_EQ(space, out);
  std::memcpy(space, "tail", 4);
  EXPECT_EQ(ssh_bytes_text(ssh_buffer_bytes(buffer)), "headtail");
}

TEST(Buffer, InitAndUninitReleaseAndStartAfresh) {
  const int64_t before = ssh_mem_blocks();
  {
    SshBuffer buffer;
    buffer.spare = 9;
    ssh_buffer_append(buffer, std::vector<uint8_t>(5000, 0x22));
    ssh_buffer_init(buffer);
    EXPECT_EQ(ssh_mem_blocks(), before + 1);
    EXPECT_EQ(buffer.alloc, 4096U);
    EXPECT_EQ(ssh_buffer_len(buffer) + buffer.spare, 0U);
    EXPECT_EQ(std::count(buffer.buf, buffer.buf + 4096, 0), 4096);
    ssh_buffer_uninit(buffer);
    EXPECT_EQ(ssh_mem_blocks(), before);
    ssh_buffer_append(buffer, ssh_text_bytes("again"));
    EXPECT_EQ(ssh_bytes_text(ssh_buffer_bytes(buffer)), "again");
  }
  EXPECT_EQ(ssh_mem_blocks(), before);
}

TEST(Buffer, FatalTexts) {
  const char *const large = "ssh_buffer_append_space: buffer grows too large!";
  SshBuffer buffer;
  ssh_buffer_append(buffer, ssh_text_bytes("four"));
  EXPECT_FATAL(ssh_buffer_consume(buffer, 5), "buffer_get trying to get more bytes than in buffer");
  EXPECT_FATAL(ssh_buffer_append_space(buffer, nullptr, 0x63FF000 - 4096 + 1), large);
  EXPECT_FATAL(ssh_buffer_append_space(buffer, nullptr, 0xFFFFFFFF), large);
  EXPECT_FATAL(ssh_buffer_append_space(buffer, nullptr, SIZE_MAX - 3), large);
  ssh_buffer_append_space(buffer, nullptr, 0x63FF000 - 4096);
  EXPECT_EQ(buffer.alloc, SSH_XMALLOC_MAX) << "the largest growth reaches the allocation limit";
}

}  // namespace
