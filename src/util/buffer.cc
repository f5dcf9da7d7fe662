#include "util/buffer.h"

#include "util/fatal.h"
#include "util/mem.h"

namespace {

constexpr const char *kTag = "data for ssh_buffer";

// grow adds `n` bytes and one page to the block. A caller may ask for any `n`, so the sum is made
// in 64 bits, where it cannot overflow.
void grow(SshBuffer &buffer, uint64_t n) {
  if (n > SSH_BUFFER_ALLOC_MAX || buffer.alloc + n > SSH_BUFFER_ALLOC_MAX) {
    ssh_fatal("ssh_buffer_append_space: buffer grows too large!");
  }
  // The old block is wiped as well: the heap's own way of growing would leave its bytes behind.
  const uint32_t alloc = buffer.alloc + static_cast<uint32_t>(n) + SSH_BUFFER_PAGE;
  auto *buf = static_cast<uint8_t *>(ssh_xmalloc(alloc, kTag));
  if (buffer.buf) {
    std::memcpy(buf, buffer.buf, buffer.end);
    ssh_wipe(buffer.buf, buffer.alloc);
    ssh_xfree(buffer.buf, kTag);
  }
  buffer.alloc = alloc;
  buffer.buf = buf;
}

}  // namespace

void ssh_buffer_init(SshBuffer &buffer) {
  ssh_buffer_uninit(buffer);
  buffer.buf = static_cast<uint8_t *>(ssh_xmalloc(SSH_BUFFER_PAGE, kTag));
  std::memset(buffer.buf, 0, SSH_BUFFER_PAGE);
  buffer.alloc = SSH_BUFFER_PAGE;
}

void ssh_buffer_uninit(SshBuffer &buffer) {
  if (buffer.buf) ssh_wipe(buffer.buf, buffer.alloc);
  ssh_xfree(buffer.buf, kTag);
  buffer.buf = nullptr;
  buffer.alloc = buffer.offset = buffer.end = buffer.spare = 0;
}

void ssh_buffer_reserve(SshBuffer &buffer, size_t n) {
  if (buffer.offset == buffer.end) buffer.offset = buffer.end = 0;
  // One byte of the block always stays spare. Where more than half of the block was consumed, what
  // is left moves to the front, which is cheaper than a larger block.
  while (n >= buffer.alloc - buffer.end) {
    if (buffer.offset > buffer.alloc / 2) {
      buffer.end -= buffer.offset;
      std::memmove(buffer.buf, buffer.buf + buffer.offset, buffer.end);
      buffer.offset = 0;
      continue;
    }
    grow(buffer, n);
  }
}

uint8_t *ssh_buffer_append_space(SshBuffer &buffer, uint8_t **out, size_t n) {
  ssh_buffer_reserve(buffer, n);
  uint8_t *space = buffer.buf + buffer.end;
  buffer.end += static_cast<uint32_t>(n);
  if (out) *out = space;
  return space;
}

void ssh_buffer_append(SshBuffer &buffer, Bytes data) {
  uint8_t *space = ssh_buffer_append_space(buffer, nullptr, data.size());
  if (!data.empty()) std::memcpy(space, data.data(), data.size());
}

uint32_t ssh_buffer_len(const SshBuffer &buffer) { return buffer.end - buffer.offset; }

uint8_t *ssh_buffer_ptr(const SshBuffer &buffer) { return buffer.buf + buffer.offset; }

Bytes ssh_buffer_bytes(const SshBuffer &buffer) {
  return {ssh_buffer_ptr(buffer), ssh_buffer_len(buffer)};
}

void ssh_buffer_consume(SshBuffer &buffer, size_t n) {
  if (n > ssh_buffer_len(buffer)) {
    ssh_fatal("buffer_get trying to get more bytes than in buffer");
  }
  buffer.offset += static_cast<uint32_t>(n);
}
