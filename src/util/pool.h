// SshPool: the memory of one record, in one heap block if `reserve` was told the right size.
// Further blocks follow when that is not enough; freeing the record frees its blocks.
// Only trivially destructible things may live in a pool: nothing in it is destroyed one by one.
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

#include "util/bytes.h"

// SSH_POOL_SPILL is what a pool may take beyond its limit, in octets.
constexpr size_t SSH_POOL_SPILL = 16384;

class SshPool {
 public:
  SshPool() = default;
  ~SshPool() { release(); }
  SshPool(const SshPool &) = delete;
  SshPool &operator=(const SshPool &) = delete;

  // reserve makes sure that the next `size` octets come from one block.
  void reserve(size_t size);

  // alloc returns `size` octets aligned to `alignment` (a power of two, at most that of a pointer
  // or a double). They live until release.
  [[nodiscard]] void *alloc(size_t size, size_t alignment) {
    const size_t skip = (0 - reinterpret_cast<uintptr_t>(free_)) & (alignment - 1);
    if (skip > left_ || size > left_ - skip) return alloc_in_new_block(size);
    uint8_t *at = free_ + skip;
    free_ = at + size;
    left_ -= skip + size;
    return at;
  }

  // make constructs a T in the pool.
  template <class T, class... Args>
  [[nodiscard]] T *make(Args &&...args) {
    static_assert(std::is_trivially_destructible_v<T>);
    return new (alloc(sizeof(T), alignof(T))) T{std::forward<Args>(args)...};
  }

  // copy returns a view of the pool's own copy of `bytes`.
  [[nodiscard]] Bytes copy(Bytes bytes);

  // held bounds what the pool's blocks take of the heap.
  [[nodiscard]] size_t held() const;

  // release frees every block; the pool is empty and usable again.
  void release();

  // limit keeps what the blocks take of the heap at `most` octets; null: no limit. A piece that
  // does not fit sets `*work` to 0, so that a decode that draws on that work ends. Until it does,
  // it gets pieces from SSH_POOL_SPILL further octets: those are given out again and again where
  // they do not suffice, as the record is refused and nobody will read it.
  void limit(size_t most, uint64_t *work) {
    most_ = most;
    work_ = work;
  }

  // fits is true if a piece of `size` octets stays below the limit and below what one request for
  // memory may ask for. Pieces that can be larger than SSH_POOL_SPILL must be asked for first:
  // above the limit they take a block of their own.
  [[nodiscard]] bool fits(size_t size) const;

  // rewind forgets what was allocated but keeps the newest block for the next use.
  void rewind();

 private:
  struct Block {
    Block *next;
    size_t size;
  };
  void *alloc_in_new_block(size_t size);
  void add_block(size_t room);
  void use(Block &block);
  void spend(size_t size);
  [[nodiscard]] size_t room_for(size_t size) const;
  [[nodiscard]] size_t below_limit() const;

  Block *blocks_ = nullptr;
  uint8_t *free_ = nullptr;
  size_t left_ = 0;
  size_t most_ = 0;
  uint64_t *work_ = nullptr;
  Block *spill_ = nullptr;  // one of the blocks, the last resort
};
