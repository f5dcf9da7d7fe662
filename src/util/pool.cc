#include "util/pool.h"

#include <algorithm>
#include <utility>

#include "util/mem.h"

namespace {

constexpr size_t kSmallestBlock = 512;
// The largest block that is made for several pieces: 4 MiB in a process of 32 bits, whose free
// memory may have no larger gap, and 8 MiB in others. A piece that needs more gets its own block.
constexpr size_t kLargestBlock = 0x100000 * sizeof(void *);
// A block is as large as all before it together, so one of this size is likely to be filled: a list
// of thousands is being read.
constexpr size_t kFilledSoon = 0x200000;

}  // namespace

void SshPool::reserve(size_t size) {
  if (size <= left_) return;
  const bool borrows = lender_ && !settled_ && !blocks_ && lender_->fits(size);
  if (!borrows) return add_block(room_for(size));
  free_ = static_cast<uint8_t *>(lender_->alloc(size, alignof(void *)));
  left_ = borrowed_ = size;
  lent_ = free_;
}

void SshPool::give_back(const void *piece, size_t size) {
  if (!piece || static_cast<const uint8_t *>(piece) + size != free_) return;
  free_ -= size;
  left_ += size;
}

void SshPool::begin_in(std::span<uint8_t> room) {
  free_ = lent_ = room.data();
  left_ = borrowed_ = room.size();
  settled_ = true;  // none of it goes back
}

void SshPool::settle() {
  if (!std::exchange(settled_, true) && borrowed_ != 0 && !blocks_) {
    lender_->give_back(free_, left_);
    left_ = 0;
  }
}

// room_for tells how large a fresh block for `size` bytes is: as large as all blocks before it
// together, so that there are never many, but not above kLargestBlock or what the limit leaves.
size_t SshPool::room_for(size_t size) const {
  return std::max(size, std::min({held() + borrowed_, kLargestBlock, below_limit()}));
}

// below_limit tells how large a fresh block may be. What the heap adds to a block counts as well.
size_t SshPool::below_limit() const {
  if (!work_) return SIZE_MAX;
  const size_t taken = held() + borrowed_ + ssh_mem_heap_size(sizeof(Block));
  return taken < most_ ? std::min((most_ - taken) & ~size_t{15}, kLargestBlock) : 0;
}

bool SshPool::fits(size_t size) const {
  return size <= below_limit() || (!spill_ && size + alignof(std::max_align_t) <= left_);
}

// add_block makes a fresh block the current one; what the old one had left is given up.
void SshPool::add_block(size_t room) {
  // With the head of the block, a room of SSH_XMALLOC_MAX or more is above the limit of one
  // request, and ssh_xmalloc refuses it. Adding to a larger room could overflow.
  room = std::min(room, SSH_XMALLOC_MAX);
  auto *block = static_cast<Block *>(ssh_xmalloc(sizeof(Block) + room));
  if (room >= kFilledSoon) ssh_mem_prefer_large_pages(block, sizeof(Block) + room);
  *block = {blocks_, room};
  blocks_ = block;
  held_ += ssh_mem_heap_size(sizeof(Block) + room);
  use(*block);
}

void SshPool::use(Block &block) {
  free_ = reinterpret_cast<uint8_t *>(&block + 1);
  left_ = block.size;
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

// spend sets the work of the decode to 0, so that its next read fails. Until then the decode may
// ask for further pieces, and it never checks for null. It gets them from one last block, the
// spill, which is handed out again whenever it is used up: nobody reads what lies in it, since the
// record is refused.
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
  held_ = ssh_mem_heap_size(sizeof(Block) + newest->size);
  use(*newest);
}

void SshPool::release() {
  while (blocks_) {
    Block *next = blocks_->next;
    ssh_xfree(blocks_);
    blocks_ = next;
  }
  if (borrowed_ != 0 && !settled_) lender_->give_back(lent_, borrowed_);
  free_ = nullptr;
  left_ = borrowed_ = held_ = 0;
  spill_ = nullptr;
}
