// The chunk arena: many small allocations that are served from large blocks and freed all at once.
// Each size class of 1024 << c bytes keeps its own chain of blocks, newest first. ASN.1 contexts
// use it, which cannot know beforehand how much they will write. Code that does know uses SshPool
// (util/pool.h) instead.
#pragma once

#include <cstddef>

struct SshCmallocContext;

// SSH_CMALLOC_MAX is the largest request that the arena serves: 1 MiB.
constexpr size_t SSH_CMALLOC_MAX = 0x100000;

// ssh_cmalloc_init returns an empty arena; ssh_cmalloc_release frees every block of it and the
// arena itself.
[[nodiscard]] SshCmallocContext *ssh_cmalloc_init();
void ssh_cmalloc_release(SshCmallocContext *context);

// ssh_cmalloc_alloc returns `size` bytes aligned to `alignment` (1, or the size of a machine
// word). A size of 0 or above SSH_CMALLOC_MAX is fatal. What it returns lives until the arena is
// released.
[[nodiscard]] void *ssh_cmalloc_alloc(SshCmallocContext *context, size_t size, size_t alignment);

// ssh_cmalloc_bytes and ssh_cmalloc_words allocate with alignment 1 and with that of a machine
// word.
[[nodiscard]] void *ssh_cmalloc_bytes(SshCmallocContext *context, size_t size);
[[nodiscard]] void *ssh_cmalloc_words(SshCmallocContext *context, size_t size);
