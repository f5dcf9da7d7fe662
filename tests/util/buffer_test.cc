#include "util/buffer.h"

#include "support/test.h"

namespace {

// Each row is a series of appends (positive) and consumptions (negative), and the size of the
// block, the offset and the end that they leave. What was appended comes out in order.
TEST(Buffer, GrowsCompactsAndKeepsTheOrder) {
  const std::tuple<const char *, std::vector<int>, std::vector<uint32_t>> rows[] = {
      {"one more octet after 4095", {4095, 1}, {8193, 0, 4096}},
      {"what is empty starts again", {1000, -1000, 500}, {4096, 0, 500}},
      {"half consumed is not enough to compact", {4095, -2048, 1}, {8193, 2048, 4096}},
      {"more than half is compacted instead of growth", {4095, -2049, 1}, {4096, 0, 2047}},
      {"compaction alone may not do", {4095, -2049, 2050}, {10242, 0, 4096}},
  };
  for (const auto &[why, steps, left] : rows) {
    SshBuffer buffer;
    std::string model;
    for (const int step : steps) {
      const auto size = static_cast<size_t>(std::abs(step));
      std::string data(size, '\0');
      std::generate(data.begin(), data.end(), [i = step]() mutable { return char(i++ % 251); });
      step < 0 ? ssh_buffer_consume(buffer, size) : ssh_buffer_append(buffer, ssh_text_bytes(data));
      step < 0 ? model.erase(0, size) : model += data;
    }
    EXPECT_EQ(std::vector({buffer.alloc, buffer.offset, buffer.end}), left) << why;
    EXPECT_TRUE(ssh_bytes_text(ssh_buffer_bytes(buffer)) == model) << why;
    uint8_t *out = nullptr;
    EXPECT_EQ(ssh_buffer_append_space(buffer, &out, 4), out);
    EXPECT_EQ(out + 4, ssh_buffer_ptr(buffer) + ssh_buffer_len(buffer));
  }
}

TEST(Buffer, Fatal) {
  SshBuffer buffer;
  ssh_buffer_append(buffer, ssh_text_bytes("four"));
  EXPECT_FATAL(ssh_buffer_consume(buffer, 5), "buffer_get trying to get more bytes than in buffer");
  for (const size_t n : {size_t{0x63FF000 - 4096 + 1}, SIZE_MAX - 3}) {
    EXPECT_FATAL(ssh_buffer_append_space(buffer, nullptr, n),
                 "ssh_buffer_append_space: buffer grows too large!");
  }
  ssh_buffer_append_space(buffer, nullptr, 0x63FF000 - 4096);
  EXPECT_EQ(buffer.alloc, SSH_XMALLOC_MAX) << "the largest growth reaches the allocation limit";
}

}  // namespace
