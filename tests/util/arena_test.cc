#include "util/arena.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "support/fatal.h"
#include "util/owner.h"

namespace {

constexpr size_t kWord = sizeof(void *);
using Arena = Owner<SshCmallocContext, ssh_cmalloc_release>;

// Each row is a series of requests, (octets, alignment), and the number of blocks taken after each.
TEST(Arena, ClassesAndRetirement) {
  const struct {
    const char *why;
    std::vector<std::tuple<size_t, size_t, int64_t>> steps;
  } rows[] = {
      {"the first request leaves room for a whole class", {{1000, 1, 1}, {1024, 1, 1}, {1, 1, 2}}},
      {"class 1 begins at 1025", {{1025, 1, 1}, {1025, 1, 1}, {1024, 1, 2}, {1026, 1, 3}}},
      {"what does not fit retires the head, although a smaller one would fit",
       {{8, kWord, 1}, {1000, kWord, 1}, {32, kWord, 2}, {1024, kWord, 2}, {8, 1, 3}}},
      {"a misaligned head is retired at a word request whatever its room",
       {{3, 1, 1}, {kWord, kWord, 2}, {3, 1, 2}, {kWord, kWord, 3}, {1, 1, 3}}},
      {"octets never misalign, and a head aligned by chance serves words",
       {{3, 1, 1}, {kWord - 3, 1, 1}, {kWord, kWord, 1}}},
      {"the largest class", {{0x80001, 1, 1}, {0x100000, 1, 1}, {0x80000, 1, 2}, {1, 1, 3}}},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.why);
    const int64_t before = ssh_mem_blocks();
    Arena arena(ssh_cmalloc_init());
    for (const auto &[size, alignment, blocks] : row.steps) {
      void *at = std::memset(ssh_cmalloc_alloc(arena.get(), size, alignment), 0xA5, size);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(at) % alignment, 0U);
      EXPECT_EQ(ssh_mem_blocks() - before, 1 + blocks) << size << " at " << alignment;
    }
    arena.reset();
    EXPECT_EQ(ssh_mem_blocks(), before) << "something was not released";
  }
}

TEST(Arena, FatalTexts) {
  const Arena arena(ssh_cmalloc_init());
  EXPECT_FATAL((void)ssh_cmalloc_bytes(arena.get(), 0),
               "ssh_cmalloc: tried to allocate zero (0) bytes.");
  EXPECT_FATAL((void)ssh_cmalloc_words(arena.get(), SSH_CMALLOC_MAX + 1),
               "ssh_cmalloc: tried to allocate too much (1048577 bytes).");
}

}  // namespace
