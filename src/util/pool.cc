#include "util/pool.h"

#include <algorithm>

#include "util/mem.h"

namespace {

constexpr size_t kSmallestBlock = 512;

}  // namespace

void SshPool::reserve(size_t size) {
  if (size <= left_) return;
  add_block(size);
}

// add_block makes a fresh block of at least `size` octets the current one; what the old one had
// left is given up. Each block is at least as large as all before it, so their number grows with
// the logarithm of what they hold.
void SshPool::add_block(size_t size) {
  constexpr size_t largest = SSH_XMALLOC_MAX - sizeof(Block);
  const size_t before = held();
  // A size beyond the limit stays beyond it, so that ssh_xmalloc refuses it.
  const size_t room = std::max(std::min(size, SSH_XMALLOC_MAX), std::min(before, largest));
  if (work_ && before + room > most_) *work_ = 0;
  auto *block = static_cast<Block *>(ssh_xmalloc(sizeof(Block) + room));
  *block = {blocks_, room};
  blocks_ = block;
  free_ = reinterpret_cast<uint8_t *>(block + 1);
  left_ = room;
}

size_t SshPool::held() const {
  size_t octets = 0;
  for (const Block *block = blocks_; block; block = block->next) octets += block->size;
  return octets;
}

void *SshPool::alloc_in_new_block(size_t size) {
  add_block(blocks_ ? size : std::max(size, kSmallestBlock));
  uint8_t *at = free_;
  free_ += size;
  left_ -= size;
  return at;
}

Bytes SshPool::copy(Bytes bytes) {
  if (bytes.empty()) return {};
  return {
      static_cast<const uint8_t *>(std::memcpy(alloc(bytes.size(), 1), bytes.data(), bytes.size())),
      bytes.size()};
}

void SshPool::rewind() {
  if (!blocks_) return;
  Block *newest = blocks_;
  blocks_ = newest->next;
  release();
  newest->next = nullptr;
  blocks_ = newest;
  free_ = reinterpret_cast<uint8_t *>(newest + 1);
  left_ = newest->size;
}

void SshPool::release() {
  while (blocks_) {
    Block *next = blocks_->next;
    ssh_xfree(blocks_);
    blocks_ = next;
  }
  free_ = nullptr;
  left_ = 0;
}
