// Strings of every charset, made from bytes, digits and letters.
#pragma once

#include "support/test.h"
#include "x509/str.h"

namespace strings {

using Strings = Balanced;

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
