#include "util/arena.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/fatal.h"
#include "util/owner.h"

namespace {

constexpr size_t kWord = sizeof(void *);
using Arena = Owner<SshCmallocContext, ssh_cmalloc_release>;

TEST(Arena, FatalTexts) {
  const Arena arena(ssh_cmalloc_init());
  EXPECT_FATAL((void)ssh_cmalloc_bytes(arena.get(), 0),
               "ssh_cmalloc: tried to allocate zero (0) bytes.");
  EXPECT_FATAL((void)ssh_cmalloc_words(arena.get(), 0x100001),
               "ssh_cmalloc: tried to allocate too much (1048577 bytes).");
  EXPECT_FATAL((ssh_mem_fail_at(1), (void)ssh_cmalloc_init()),
               "ssh_xmalloc: out of memory (allocating " + std::to_string(11 * kWord) + " bytes)");
}

// Each row is a series of requests, (octets, alignment), and the number of blocks taken after each.
TEST(Arena, ClassesAndRetirement) {
  struct Step {
    size_t size, alignment;
    int64_t blocks;
  };
  const struct {
    const char *why;
    std::vector<Step> steps;
  } rows[] = {
      {"a fresh class 0 block has room for its class besides the request",
       {{1000, 1, 1}, {1024, 1, 1}, {1, 1, 2}}},
      {"class 1 begins at 1025 and leaves 2048",
       {{1025, 1, 1}, {1025, 1, 1}, {1024, 1, 2}, {1026, 1, 3}}},
      {"a request beyond what is left retires the head, although a smaller one would fit",
       {{8, kWord, 1},
        {1000, kWord, 1},
        {32, kWord, 2},
        {16, kWord, 2},
        {1008, kWord, 2},
        {8, 1, 3}}},
      {"a misaligned head is retired at a word request whatever its room",
       {{3, 1, 1}, {kWord, kWord, 2}, {3, 1, 2}, {kWord, kWord, 3}, {1, 1, 3}}},
      {"octets never misalign, and a head aligned by chance serves words",
       {{3, 1, 1}, {kWord - 3, 1, 1}, {kWord, kWord, 1}}},
      {"the largest class", {{0x80001, 1, 1}, {0x100000, 1, 1}, {0x80000, 1, 2}, {1, 1, 3}}},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.why);
    const Arena arena(ssh_cmalloc_init());
    const int64_t before = ssh_mem_blocks();
    for (const Step &step : row.steps) {
      auto *at = static_cast<uint8_t *>(ssh_cmalloc_alloc(arena.get(), step.size, step.alignment));
      std::memset(at, 0xA5, step.size);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(at) % step.alignment, 0U);
      EXPECT_EQ(ssh_mem_blocks() - before, step.blocks) << step.size << " at " << step.alignment;
    }
  }
}

TEST(Arena, ReleaseFreesEveryClass) {
  const int64_t before = ssh_mem_blocks();
  {
    const Arena arena(ssh_cmalloc_init());
    for (size_t size = 1; size <= SSH_CMALLOC_MAX; size *= 2) {
      for (int i = 0; i < 5; ++i) (void)ssh_cmalloc_words(arena.get(), size);
    }
    EXPECT_GT(ssh_mem_blocks(), before + 11);
  }
  EXPECT_EQ(ssh_mem_blocks(), before);
}

}  // namespace
