#include "util/pool.h"

#include <algorithm>

#include "util/mem.h"

namespace {

constexpr size_t kSmallestBlock = 512;
constexpr size_t kLargestBlock = SSH_XMALLOC_MAX - 64;  // with its header within one request

}  // namespace

void SshPool::reserve(size_t size) {
  if (size > left_) add_block(room_for(size));
}

// room_for tells how large a fresh block for `size` octets is. Each is at least as large as all
// before it, so their number grows with the logarithm of what they hold; only the last one below
// the limit has to be content with what is left.
size_t SshPool::room_for(size_t size) const {
  return std::max(size, std::min({held(), kLargestBlock, below_limit()}));
}

// below_limit tells how large a fresh block may be. What the heap rounds up is taken off.
size_t SshPool::below_limit() const {
  if (!work_) return SIZE_MAX;
  const size_t taken = held() + ssh_mem_heap_size(sizeof(Block));
  return taken < most_ ? std::min((most_ - taken) & ~size_t{15}, kLargestBlock) : 0;
}

bool SshPool::fits(size_t size) const {
  return size <= below_limit() || (!spill_ && size + alignof(std::max_align_t) <= left_);
}

// add_block makes a fresh block the current one; what the old one had left is given up.
void SshPool::add_block(size_t room) {
  // A size beyond what one request may ask for stays beyond it, so that ssh_xmalloc refuses it.
  room = std::min(room, SSH_XMALLOC_MAX);
  auto *block = static_cast<Block *>(ssh_xmalloc(sizeof(Block) + room));
  *block = {blocks_, room};
  blocks_ = block;
  use(*block);
}

void SshPool::use(Block &block) {
  free_ = reinterpret_cast<uint8_t *>(&block + 1);
  left_ = block.size;
}

size_t SshPool::held() const {
  size_t octets = 0;
  for (const Block *block = blocks_; block; block = block->next) {
    octets += ssh_mem_heap_size(sizeof(Block) + block->size);
  }
  return octets;
}

void *SshPool::alloc_in_new_block(size_t size) {
  if (size > below_limit()) {
    spend(size);
  } else {
    add_block(room_for(blocks_ ? size : std::max(size, kSmallestBlock)));
  }
  uint8_t *at = free_;
  free_ += size;
  left_ -= size;
  return at;
}

// spend ends the decode. Lists that are made without any read go on for all that, so the pieces of
// the spill are given out again where they do not suffice.
void SshPool::spend(size_t size) {
  *work_ = 0;
  if (spill_ && size <= SSH_POOL_SPILL) return use(*spill_);
  add_block(std::max(size, SSH_POOL_SPILL));
  if (size <= SSH_POOL_SPILL) spill_ = blocks_;
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
  use(*newest);
}

void SshPool::release() {
  while (blocks_) {
    Block *next = blocks_->next;
    ssh_xfree(blocks_);
    blocks_ = next;
  }
  free_ = nullptr;
  left_ = 0;
  spill_ = nullptr;
}
