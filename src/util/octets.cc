#include "util/octets.h"

#include <algorithm>
#include <utility>

namespace {

constexpr size_t kOctetsAtFirst = 256;  // of the first block, which most names and texts fit into

}  // namespace

bool SshOctets::grow(size_t n) {
  if (n > SSH_XMALLOC_MAX - size_) good_ = false;
  if (!good_) return false;
  const size_t doubled = std::max(capacity_ * 2, kOctetsAtFirst);
  capacity_ = std::min(std::max(doubled, size_ + n), SSH_XMALLOC_MAX);
  auto *grown = static_cast<uint8_t *>(ssh_xmalloc(capacity_));
  if (size_ > 0) std::memcpy(grown, data_, size_);
  ssh_xfree_wiped(std::exchange(data_, grown));
  return true;
}

uint8_t *SshOctets::take() {
  if (!good_) return nullptr;
  uint8_t *data = data_;
  data_ = nullptr;
  size_ = capacity_ = 0;
  return data;
}
