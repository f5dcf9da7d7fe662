// Key blobs, the portable form in which the library hands out a public key: a magic number, the
// length of the blob, the key's name, and the key data as its type writes it. docs/pages has the
// layout. This header is for the files of the key object alone; others call
// ssh_public_key_export and ssh_public_key_import. A further type adds its two functions here.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "crypto/key_object.h"
#include "util/bytes.h"

// SshKeyWriter writes bytes, or only counts them while it has no place to write to: a blob is
// measured and then written in a single block of its exact size.
class SshKeyWriter {
 public:
  explicit SshKeyWriter(uint8_t *at = nullptr) : at_(at) {}

  [[nodiscard]] uint64_t count() const { return count_; }

  void octets(Bytes octets) {
    if (at_ && !octets.empty()) at_ = std::copy(octets.begin(), octets.end(), at_);
    count_ += octets.size();
  }
  void text(std::string_view text) { octets(ssh_text_bytes(text)); }
  void uint32(uint64_t value) {
    uint8_t octets_of_value[4];
    ssh_store_be32(octets_of_value, static_cast<uint32_t>(value));
    octets(octets_of_value);
  }
  void integer(const SshMpInt &value) {
    uint32(value.bits());
    octets(value.magnitude());
  }

  // string writes what `write` writes behind its length.
  template <class F>
  void string(F write) {
    uint8_t *const length_at = at_;
    uint32(0);
    const uint64_t before = count_;
    write();
    if (length_at) ssh_store_be32(length_at, static_cast<uint32_t>(count_ - before));
  }

 private:
  uint8_t *at_;
  uint64_t count_ = 0;
};

// The key data of the types: what stands in a blob behind the name. Import fails on bytes that are
// no such data, and leaves the key to be freed.
bool ssh_key_import_rsa(SshPublicKey &key, Bytes data);
void ssh_key_export_rsa(const SshPublicKey &key, SshKeyWriter &out);
bool ssh_key_import_dl(SshPublicKey &key, Bytes data);
void ssh_key_export_dl(const SshPublicKey &key, SshKeyWriter &out);
