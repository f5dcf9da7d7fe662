// SshBuffer: a byte queue that grows at its end and is consumed from its front. Requests and
// replies are written into one.
//
//   SshBuffer buffer;
//   ssh_buffer_append(buffer, octets);
//   Bytes held = ssh_buffer_bytes(buffer);   // until the next append
//
// It holds one block, which is wiped before it is freed, since messages may carry secrets. How
// values are written as bytes is told in util/wire.h; a further format belongs there.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"
#include "util/mem.h"

// A block grows by what is asked for and one page more. So SSH_BUFFER_ALLOC_MAX, which bounds the
// block and what is asked for together, lies one page below the largest block there is.
constexpr uint32_t SSH_BUFFER_PAGE = 4096;
constexpr uint32_t SSH_BUFFER_ALLOC_MAX = SSH_XMALLOC_MAX - SSH_BUFFER_PAGE;

// SSH_BUFFER_FRESH_MAX is how many bytes fit into a buffer that holds none yet. Its first block, of
// one page, counts against the bound.
constexpr uint32_t SSH_BUFFER_FRESH_MAX = SSH_BUFFER_ALLOC_MAX - SSH_BUFFER_PAGE;

struct SshBuffer;

// ssh_buffer_init gives the buffer a fresh zeroed block of 4096 bytes and nothing held; what it
// held before is wiped and freed. Declaring a buffer does this by itself.
void ssh_buffer_init(SshBuffer &buffer);

// ssh_buffer_uninit wipes the whole block and frees it. The end of a buffer's scope does this by
// itself; a buffer that is used again afterwards grows from nothing.
void ssh_buffer_uninit(SshBuffer &buffer);

// SshBuffer holds buf[offset .. end); the block keeps at least one spare byte, so that
// offset <= end < alloc. Its members are read and changed by the functions below alone.
struct SshBuffer {
  SshBuffer() { ssh_buffer_init(*this); }
  ~SshBuffer() { ssh_buffer_uninit(*this); }
  SshBuffer(const SshBuffer &) = delete;
  SshBuffer &operator=(const SshBuffer &) = delete;

  uint8_t *buf = nullptr;
  uint32_t alloc = 0;   // bytes in the block
  uint32_t offset = 0;  // the first byte not yet consumed
  uint32_t end = 0;     // one past the last byte written
  uint32_t spare = 0;   // for the buffer's owner; unused here
};

// ssh_buffer_append_space reserves `n` bytes at the end, stores their address in `out` (may be
// null) and returns it. The address holds until the next append. Growing too large is fatal.
uint8_t *ssh_buffer_append_space(SshBuffer &buffer, uint8_t **out, size_t n);

// ssh_buffer_reserve makes sure that the next `n` bytes are appended without growing. A buffer
// that holds nothing yet takes up to SSH_BUFFER_FRESH_MAX bytes; growing too large is fatal.
void ssh_buffer_reserve(SshBuffer &buffer, size_t n);

// ssh_buffer_append appends a copy of `data`, which must not lie in the buffer itself.
void ssh_buffer_append(SshBuffer &buffer, Bytes data);

// ssh_buffer_len counts the bytes held; ssh_buffer_ptr points to the first of them until the next
// append; ssh_buffer_bytes is both.
[[nodiscard]] uint32_t ssh_buffer_len(const SshBuffer &buffer);
[[nodiscard]] uint8_t *ssh_buffer_ptr(const SshBuffer &buffer);
[[nodiscard]] Bytes ssh_buffer_bytes(const SshBuffer &buffer);

// ssh_buffer_consume drops `n` bytes from the front; more than there are is fatal.
void ssh_buffer_consume(SshBuffer &buffer, size_t n);
