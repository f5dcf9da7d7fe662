#include "util/mem.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>

#include "util/fatal.h"

namespace {

#ifdef KWPKI_MEM_HOOKS
std::atomic<uint64_t> requests_until_failure{0};
std::atomic<bool> stays_exhausted{false};
std::atomic<int64_t> blocks_in_use{0};

// heap_refuses counts one heap request against the failure that a test has asked for.
bool heap_refuses() {
  const uint64_t left = requests_until_failure.load(std::memory_order_relaxed);
  if (left == 0) return false;
  if (left == 1 && stays_exhausted.load(std::memory_order_relaxed)) return true;
  return requests_until_failure.fetch_sub(1, std::memory_order_relaxed) == 1;
}

void count(int64_t blocks) { blocks_in_use.fetch_add(blocks, std::memory_order_relaxed); }
#else
constexpr bool heap_refuses() { return false; }
constexpr void count(int64_t) {}
#endif

void *counted(void *block) {
  if (block) count(1);
  return block;
}

// printable gives a size the type of the "%ld" that the messages have always used.
long printable(size_t size) { return static_cast<long>(size); }

// take gives a block of at least one byte, however large.
void *take(size_t size) {
  size = std::max<size_t>(size, 1);
  void *block = heap_refuses() ? nullptr : counted(std::malloc(size));
  if (!block) ssh_fatal("ssh_xmalloc: out of memory (allocating %ld bytes)", printable(size));
  return block;
}

}  // namespace

void *ssh_xmalloc(size_t size, const char *) {
  if (size > SSH_XMALLOC_MAX) {
    ssh_fatal("ssh_xmalloc: allocation too large (allocating %ld bytes)", printable(size));
  }
  return take(size);
}

void *ssh_xcalloc(size_t count, size_t size) {
  count = std::max<size_t>(count, 1);
  size = std::max<size_t>(size, 1);
  // The limit looks at the low 32 bits of the product and the two messages name the factors in
  // opposite orders: both are deliberate, hosts that log these texts know them so.
  if (static_cast<uint32_t>(count * size) > SSH_XMALLOC_MAX) {
    ssh_fatal("ssh_xcalloc: allocation too large (allocating %ld*%ld bytes)", printable(size),
              printable(count));
  }
  // A product that passed the limit only by wrapping around counts as refused by the heap: the
  // block would be short.
  const bool wrapped = size > SSH_XMALLOC_MAX / count;
  void *block = wrapped || heap_refuses() ? nullptr : counted(std::calloc(count, size));
  if (!block) {
    ssh_fatal("ssh_xcalloc: out of memory (allocating %ld*%ld bytes)", printable(count),
              printable(size));
  }
  return block;
}

void *ssh_xrealloc(void *block, size_t size, const char *) {
  if (!block) return ssh_xmalloc(size);
  if (size > SSH_XMALLOC_MAX) {
    ssh_fatal("ssh_xrealloc: allocation too large (allocating %ld bytes)", printable(size));
  }
  size = std::max<size_t>(size, 1);
  void *resized = heap_refuses() ? nullptr : std::realloc(block, size);
  if (!resized) ssh_fatal("ssh_xrealloc: out of memory (new_size %ld bytes)", printable(size));
  return resized;
}

void ssh_xfree(void *block, const char *) {
  if (!block) return;
  count(-1);
  std::free(block);
}

void ssh_xfree_wiped(void *block) {
  if (!block) return;
  ssh_wipe(block, ssh_mem_block_size(block));
  ssh_xfree(block);
}

char *ssh_xstrdup(const char *text) {
  const size_t size = std::strlen(text) + 1;
  return static_cast<char *>(std::memcpy(ssh_xmalloc(size), text, size));
}

void *ssh_xmemdup(const void *data, size_t length) {
  if (length > SSH_XMALLOC_MAX) {
    ssh_fatal("ssh_xmemdup: allocation too large (allocating %ld bytes)", printable(length));
  }
  auto *block = static_cast<uint8_t *>(take(length + 1));  // the limit is that of what is copied
  if (length > 0) std::memcpy(block, data, length);
  block[length] = 0;
  return block;
}

void ssh_wipe(void *data, size_t length) {
  // The optimiser cannot know what a volatile pointer calls, so the stores stay even when the block
  // dies next.
  static void *(*const volatile fill)(void *, int, size_t) = std::memset;
  if (length > 0) fill(data, 0, length);
}

#ifdef KWPKI_MEM_HOOKS
void ssh_mem_fail_at(uint64_t n, bool onwards) {
  stays_exhausted.store(onwards, std::memory_order_relaxed);
  requests_until_failure.store(n, std::memory_order_relaxed);
}

int64_t ssh_mem_blocks() { return blocks_in_use.load(std::memory_order_relaxed); }
#endif
