#include "util/arena.h"

#include "support/test.h"

namespace {

constexpr size_t kWord = sizeof(void *);
using Arena = Owner<SshCmallocContext, ssh_cmalloc_release>;

// A request takes a new block of its class where the newest has no room, or is not aligned for it.
TEST(Arena, Blocks) {
  const std::tuple<size_t, size_t, int64_t> steps[] = {
      {3, 1, 1},    {kWord - 3, 1, 1}, {kWord, kWord, 1}, {1, 1, 1},        {kWord, kWord, 2},
      {1025, 1, 3}, {1024, 1, 3},      {0x80001, 1, 4},   {0x100000, 1, 4}, {1, 1, 5}};
  const int64_t before = ssh_mem_blocks();
  Arena arena(ssh_cmalloc_init());
  for (const auto &[size, alignment, blocks] : steps) {
    void *at = std::memset(ssh_cmalloc_alloc(arena.get(), size, alignment), 0xA5, size);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(at) % alignment, 0U);
    EXPECT_EQ(ssh_mem_blocks() - before, 1 + blocks) << size << " at " << alignment;
  }
  arena.reset();
  EXPECT_EQ(ssh_mem_blocks(), before) << "something was not released";
}

}  // namespace
