// Owner<T, free>: a unique_ptr that releases through the module's own free function.
// Use it wherever a function holds an object for a while; hand over with release().
#pragma once

#include <memory>

#include "util/mem.h"

template <auto Free>
struct SshFreeWith {
  template <class T>
  void operator()(T *object) const {
    Free(object);
  }
};

template <class T, auto Free>
using Owner = std::unique_ptr<T, SshFreeWith<Free>>;

// SshText and SshBlock own text and octets from ssh_xmalloc, and wipe them when they go.
struct SshBlockFree {
  void operator()(void *block) const { ssh_xfree_wiped(block); }
};
using SshText = std::unique_ptr<char, SshBlockFree>;
using SshBlock = std::unique_ptr<uint8_t, SshBlockFree>;
