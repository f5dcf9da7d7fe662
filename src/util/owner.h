// Owner<T, free>: a unique_ptr that releases through the module's own free function.
// Use it wherever a function holds an object for a while; hand over with release().
#pragma once

#include <memory>

#include "util/bytes.h"
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

// SshBlockFree releases a plain block; SshText and SshBlock own text and octets from ssh_xmalloc.
struct SshBlockFree {
  void operator()(void *block) const { ssh_xfree(block); }
};
using SshText = std::unique_ptr<char, SshBlockFree>;
using SshBlock = std::unique_ptr<uint8_t, SshBlockFree>;

// SshSecretBlock owns a block of a known length and wipes it before it is freed.
struct SshSecretBlock {
  SshSecretBlock() = default;
  SshSecretBlock(const SshSecretBlock &) = delete;
  SshSecretBlock &operator=(const SshSecretBlock &) = delete;
  ~SshSecretBlock() {
    if (data) ssh_wipe(data, length);
    ssh_xfree(data);
  }
  [[nodiscard]] Bytes bytes() const { return {data, length}; }

  uint8_t *data = nullptr;
  uint32_t length = 0;
};
