// SshPool: the memory of one record.
//
//   SshPool pool;
//   pool.reserve(estimate);                    // one block, if the estimate is right
//   Bytes own = pool.copy(der);
//   auto *entry = pool.make<SshX509Name>();
//
// A decoded certificate consists of its bytes and of some dozens of small structs. If each of them
// had a block of its own, allocating and freeing them would take longer than decoding. So the
// decoder estimates the size of all of them from the size of the input (ssh_x509_pool_size), takes
// one block, and hands out pieces of it by moving a pointer. If the estimate was too small, a
// further block follows, at least as large as all before it together, so that there are never many.
// Freeing the record frees its blocks. No destructor runs, so only trivially destructible types may
// live in a pool. The first room may also lie behind the record, in the record's own block.
//
// The records of a list go one step further: they borrow their first block from the list's own
// pool, one behind the other, and a list of a thousand certificates takes a few dozen heap calls.
// What a pool may take is bounded (`limit`), in proportion to the input: hostile input can ask for
// records that are many times larger than itself.
#pragma once

#include <cstddef>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

#include "util/bytes.h"

// SSH_POOL_SPILL is what a pool may take beyond its limit, in bytes.
constexpr size_t SSH_POOL_SPILL = 16384;

class SshPool {
 public:
  SshPool() = default;
  ~SshPool() { release(); }
  SshPool(const SshPool &) = delete;
  SshPool &operator=(const SshPool &) = delete;

  // borrow makes `lender` the pool of which reserve takes its room. The lender outlives this pool.
  void borrow(SshPool *lender) { lender_ = lender; }
  [[nodiscard]] SshPool *lender() const { return lender_; }

  // begin_in makes `room` the first room: bytes behind the pool's owner, which are freed with its
  // block. own_room gives that room.
  void begin_in(std::span<uint8_t> room);
  [[nodiscard]] std::span<uint8_t> own_room() const {
    return lender_ ? std::span<uint8_t>() : std::span(lent_, borrowed_);
  }

  // settle gives back to the lender what is left of the room. From then on the lender is not
  // touched: threads may use the records of one list, each its own, and nothing tells them that
  // they share a pool. `settled` is false while all of it may still go back.
  void settle();
  [[nodiscard]] bool settled() const { return settled_; }

  // reserve makes sure that the next `size` bytes come from one block.
  void reserve(size_t size);

  // give_back takes a piece back if it is the last that was given out; else nothing happens.
  void give_back(const void *piece, size_t size);

  // alloc returns `size` bytes aligned to `alignment` (a power of two, at most that of a pointer
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

  // held bounds what the pool's blocks take of the heap; what was borrowed is the lender's, and what
  // it began in the owner's.
  [[nodiscard]] size_t held() const { return held_; }

  // release frees every block and gives back what was borrowed and is not settled; the pool is
  // empty and usable again.
  void release();

  // limit keeps what the blocks take of the heap at `most` bytes; null: no limit. A piece that
  // does not fit sets `*work` to 0, so that a decode that draws on that work ends. Until it does,
  // it gets pieces from SSH_POOL_SPILL further bytes: those are given out again and again where
  // they do not suffice, as the record is refused and nobody will read it.
  void limit(size_t most, uint64_t *work) {
    most_ = most;
    work_ = work;
  }

  // fits is true if a piece of `size` bytes stays below the limit and below what one request for
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
  size_t held_ = 0;
  size_t most_ = 0;
  uint64_t *work_ = nullptr;
  SshPool *lender_ = nullptr;
  uint8_t *lent_ = nullptr;  // the room that was borrowed, or is behind the owner
  size_t borrowed_ = 0;
  bool settled_ = false;
  Block *spill_ = nullptr;  // one of the blocks, the last resort
};
