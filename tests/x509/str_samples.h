// Strings of every charset, made from octets, digits and letters.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string_view>

#include "support/hex.h"
#include "util/mem.h"
#include "x509/str.h"

namespace strings {

// Strings fails a test that leaves a block behind.
class Strings : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(ssh_mem_blocks(), before_); }
  int64_t before_ = ssh_mem_blocks();
};

inline SshStrOwner make(int32_t charset, Bytes octets) {
  auto *data =
      octets.empty() ? nullptr : static_cast<uint8_t *>(ssh_xmemdup(octets.data(), octets.size()));
  return SshStrOwner(ssh_str_make(charset, data, octets.size()));
}
inline SshStrOwner make(int32_t charset, std::string_view text) {
  return make(charset, ssh_text_bytes(text));
}
inline SshStrOwner make_hex(int32_t charset, std::string_view digits) {
  return make(charset, Bytes(unhex(digits)));
}
inline SshStrOwner of_letters(int32_t charset, std::initializer_list<uint32_t> letters) {
  SshStrOwner str(ssh_str_allocate(charset, 0));
  for (const uint32_t letter : letters) ssh_str_append_letter(str.get(), letter);
  return str;
}

}  // namespace strings
