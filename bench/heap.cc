#include "heap.h"

#include <malloc.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

// The C library's allocator under its second names, so that replacing the first ones needs no
// dynamic look-up.
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *block);
}

namespace {

bool counting = false;
SshBenchHeap heap;
ptrdiff_t live = 0;  // may fall below the start when older blocks are released

void note(void *block, size_t asked) {
  ++heap.calls;
  heap.octets += asked;
  live += static_cast<ptrdiff_t>(malloc_usable_size(block));
  heap.peak = std::max(heap.peak, static_cast<size_t>(std::max<ptrdiff_t>(live, 0)));
}

void forget(void *block) { live -= static_cast<ptrdiff_t>(malloc_usable_size(block)); }

void *aligned(size_t alignment, size_t size) {
  void *block = __libc_memalign(alignment, size);
  if (counting) note(block, size);
  return block;
}

}  // namespace

extern "C" {

void *malloc(size_t size) noexcept {
  void *block = __libc_malloc(size);
  if (counting) note(block, size);
  return block;
}

void *calloc(size_t count, size_t size) noexcept {
  void *block = __libc_calloc(count, size);
  if (counting) note(block, count * size);
  return block;
}

void *realloc(void *block, size_t size) noexcept {
  if (counting) forget(block);
  void *resized = __libc_realloc(block, size);
  if (counting) note(resized, size);
  return resized;
}

void free(void *block) noexcept {
  if (counting) forget(block);
  __libc_free(block);
}

int posix_memalign(void **out, size_t alignment, size_t size) noexcept {
  *out = aligned(alignment, size);
  return *out ? 0 : ENOMEM;
}

void *aligned_alloc(size_t alignment, size_t size) noexcept { return aligned(alignment, size); }
void *memalign(size_t alignment, size_t size) noexcept { return aligned(alignment, size); }

}  // extern "C"

void ssh_bench_heap_start() {
  heap = {};
  live = 0;
  counting = true;
}

SshBenchHeap ssh_bench_heap_stop() {
  counting = false;
  return heap;
}
