#include <malloc.h>
#include <sys/mman.h>

#include <cstdint>

#include "util/mem.h"

size_t ssh_mem_block_size(void *block) { return malloc_usable_size(block); }

void ssh_mem_prefer_large_pages([[maybe_unused]] void *block, [[maybe_unused]] size_t size) {
#ifdef MADV_HUGEPAGE
  // Only large pages that lie wholly inside: what stands beside the block is somebody else's.
  constexpr uintptr_t kLargePage = 0x200000;
  const auto at = reinterpret_cast<uintptr_t>(block);
  const uintptr_t begin = (at + kLargePage - 1) & ~(kLargePage - 1);
  const uintptr_t end = (at + size) & ~(kLargePage - 1);
  if (begin < end) madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE);
#endif
}
