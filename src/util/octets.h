// SshOctets: bytes that are collected one after the other, in a block that grows.
//
//   SshOctets text;
//   text.append("CN=");
//   text.push('x');
//   char *made = reinterpret_cast<char *>(text.take());  // null if it became too large
//
// It differs from SshBuffer, the queue of messages, in that nothing is consumed from its front and
// that growing too large is no end of the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "util/bytes.h"
#include "util/mem.h"

// SshOctets collects bytes in a block that doubles as it fills. What would not fit into the
// largest block turns it bad for good instead of ending the process: how much there is depends on
// input.
class SshOctets {
 public:
  ~SshOctets() { ssh_xfree_wiped(data_); }
  SshOctets() = default;
  SshOctets(const SshOctets &) = delete;
  SshOctets &operator=(const SshOctets &) = delete;

  [[nodiscard]] bool good() const { return good_; }
  [[nodiscard]] Bytes bytes() const { return {data_, size_}; }
  void shrink(size_t size) { size_ = size; }

  void push(uint8_t octet) {
    if (uint8_t *at = extend(1)) *at = octet;
  }
  void append(Bytes octets) {
    uint8_t *at = extend(octets.size());
    if (at && !octets.empty()) std::memcpy(at, octets.data(), octets.size());
  }
  void append(std::string_view text) { append(ssh_text_bytes(text)); }

  // extend returns room for `n` bytes at the end, or null when there can be none.
  [[nodiscard]] uint8_t *extend(size_t n) {
    if (n > capacity_ - size_ && !grow(n)) return nullptr;
    size_ += n;
    return data_ + size_ - n;
  }

  // take hands the block over (ssh_xfree); null when bad.
  [[nodiscard]] uint8_t *take();

 private:
  [[nodiscard]] bool grow(size_t n);

  uint8_t *data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
  bool good_ = true;
};
