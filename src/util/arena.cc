#include "util/arena.h"

#include <bit>
#include <cstdint>

#include "util/fatal.h"
#include "util/mem.h"

namespace {

constexpr size_t kClassUnit = 1024;
constexpr size_t kClassCount = 11;  // 1 KiB to 1 MiB

// Block stands at the front of a block; the room from which requests are served follows it.
struct Block {
  Block *next;
  uint8_t *free;
  size_t left;
};

size_t class_of(size_t size) {
  return size <= kClassUnit ? 0 : static_cast<size_t>(std::bit_width((size - 1) / kClassUnit));
}
static_assert(kClassUnit << (kClassCount - 1) == SSH_CMALLOC_MAX);

void *serve(Block *block, size_t size) {
  uint8_t *at = block->free;
  block->free += size;
  block->left -= size;
  return at;
}

Block *new_block(Block *next, size_t room) {
  auto *block = static_cast<Block *>(ssh_xmalloc(sizeof(Block) + room));
  *block = {next, reinterpret_cast<uint8_t *>(block + 1), room};
  return block;
}

}  // namespace

struct SshCmallocContext {
  Block *heads[kClassCount];
};

SshCmallocContext *ssh_cmalloc_init() {
  auto *context = static_cast<SshCmallocContext *>(ssh_xmalloc(sizeof(SshCmallocContext)));
  *context = {};
  return context;
}

void ssh_cmalloc_release(SshCmallocContext *context) {
  for (Block *head : context->heads) {
    while (head) {
      Block *next = head->next;
      ssh_xfree_wiped(head);
      head = next;
    }
  }
  ssh_xfree(context);
}

void *ssh_cmalloc_alloc(SshCmallocContext *context, size_t size, size_t alignment) {
  if (size == 0) ssh_fatal("ssh_cmalloc: tried to allocate zero (0) bytes.");
  if (size > SSH_CMALLOC_MAX) {
    ssh_fatal("ssh_cmalloc: tried to allocate too much (%d bytes).", static_cast<int>(size));
  }
  const size_t size_class = class_of(size);
  Block *&head = context->heads[size_class];
  if (head) {
    // Deliberately kept as it always was: a head that ends misaligned is retired with all its room,
    // never padded.
    const bool aligned = (reinterpret_cast<uintptr_t>(head->free) & (alignment - 1)) == 0;
    if (aligned && head->left >= size) return serve(head, size);
  }
  // The room beyond the class's own size makes the first request leave a whole class size for later
  // ones.
  head = new_block(head, (kClassUnit << size_class) + size);
  return serve(head, size);
}

void *ssh_cmalloc_bytes(SshCmallocContext *context, size_t size) {
  return ssh_cmalloc_alloc(context, size, 1);
}

void *ssh_cmalloc_words(SshCmallocContext *context, size_t size) {
  return ssh_cmalloc_alloc(context, size, sizeof(void *));
}
