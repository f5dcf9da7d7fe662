// Checked allocation. Every block of the library comes from here and is released by ssh_xfree.
//
// No call returns failure: a request that is above the limit, or that the heap refuses, ends the
// process (ssh_fatal). Callers therefore need no branches for exhausted memory. Where input decides
// how much is asked for, the caller checks against SSH_XMALLOC_MAX first and answers with an error.
//
// Tags name what a block is for; they are there for the reader and otherwise ignored.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SSH_XMALLOC_MAX is the largest block that one request may ask for: 100 MiB.
constexpr size_t SSH_XMALLOC_MAX = 0x6400000;

// ssh_xmalloc returns a block of `size` bytes (0 is taken as 1).
[[nodiscard]] void *ssh_xmalloc(size_t size, const char *tag = nullptr);

// ssh_xcalloc returns a zeroed block of `count` times `size` bytes (each 0 is taken as 1).
[[nodiscard]] void *ssh_xcalloc(size_t count, size_t size);

// ssh_xrealloc resizes `block` (null: allocates) to `size` bytes (0 is taken as 1), keeping its
// contents.
[[nodiscard]] void *ssh_xrealloc(void *block, size_t size, const char *tag = nullptr);

// ssh_xfree releases a block; null is ignored.
void ssh_xfree(void *block, const char *tag = nullptr);

// ssh_xfree_wiped wipes the whole block, however long it is, and releases it; null is ignored. What
// carried requests, replies, names or keys goes this way.
void ssh_xfree_wiped(void *block);

// ssh_mem_block_size tells how many bytes of a block may be written to: at least those asked for.
[[nodiscard]] size_t ssh_mem_block_size(void *block);

// ssh_mem_prefer_large_pages tells the system that the whole block will be filled soon. Where it
// has large pages it can give those, instead of 4 KiB at a time. Nothing depends on it.
void ssh_mem_prefer_large_pages(void *block, size_t size);

// ssh_mem_heap_size bounds what a block of `size` bytes takes of the heap: heaps keep up to two
// words beside a block and round to 16 bytes.
[[nodiscard]] constexpr size_t ssh_mem_heap_size(size_t size) {
  return (size + 2 * sizeof(void *) + 15) & ~size_t{15};
}

// ssh_xstrdup returns a copy of the text with its terminator.
[[nodiscard]] char *ssh_xstrdup(const char *text);

// ssh_xmemdup returns a copy of `length` bytes followed by one zero byte that the length does not
// count.
[[nodiscard]] void *ssh_xmemdup(const void *data, size_t length);

// ssh_wipe overwrites `length` bytes with zeros in a way that no optimiser removes.
void ssh_wipe(void *data, size_t length);

// ssh_mem_fail_at makes the n-th heap request from now (1: the next) fail as if the heap were
// exhausted, and with `onwards` all that follow; 0 turns the failure off. ssh_mem_blocks counts the
// blocks handed out and not yet released. Both are there where tests or fuzzers are built.
void ssh_mem_fail_at(uint64_t n, bool onwards = false);
[[nodiscard]] int64_t ssh_mem_blocks();
