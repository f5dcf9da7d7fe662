// Owner<T, free>: a unique_ptr that releases through the module's own free function.
// Use it wherever a function holds an object for a while; hand over with release().
//
//   Owner<Thing, ssh_thing_free> thing(ssh_thing_allocate());
#pragma once

#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "util/mem.h"

// ssh_make makes an object in a block of its own (ssh_xmalloc). A type whose members have no
// initial values must be given them.
template <class T, class... Arguments>
[[nodiscard]] T *ssh_make(Arguments &&...arguments) {
  void *const block = ssh_xmalloc(sizeof(T));
  if constexpr (sizeof...(Arguments) == 0) {
    static_assert(!std::is_trivially_default_constructible_v<T>);
    return new (block) T;
  } else {
    return new (block) T{std::forward<Arguments>(arguments)...};
  }
}

// ssh_destroy ends such an object and frees its block; null is left alone.
template <class T>
void ssh_destroy(T *object) {
  if (!object) return;
  object->~T();
  ssh_xfree(object);
}

// SshFreeWith makes a deleter of a free function.
template <auto Free>
struct SshFreeWith {
  template <class T>
  void operator()(T *object) const {
    Free(object);
  }
};

template <class T, auto Free>
using Owner = std::unique_ptr<T, SshFreeWith<Free>>;

// SshText and SshBlock own text and bytes from ssh_xmalloc, and wipe them when they go.
struct SshBlockFree {
  void operator()(void *block) const { ssh_xfree_wiped(block); }
};
using SshText = std::unique_ptr<char, SshBlockFree>;
using SshBlock = std::unique_ptr<uint8_t, SshBlockFree>;

// ssh_make_block allocates bytes, which hold anything at first.
[[nodiscard]] inline SshBlock ssh_make_block(size_t length) {
  return SshBlock(static_cast<uint8_t *>(ssh_xmalloc(length)));
}

// SshArray owns values that need no construction, all zero at first, and wipes them when it goes.
template <class T>
using SshArray = std::unique_ptr<T[], SshBlockFree>;

// ssh_make_array allocates `count` values.
template <class T>
[[nodiscard]] SshArray<T> ssh_make_array(size_t count) {
  static_assert(std::is_trivially_copyable_v<T>);
  return SshArray<T>(static_cast<T *>(ssh_xcalloc(count, sizeof(T))));
}
