// Strings of every charset, made from letters.
#pragma once

#include "support/test.h"
#include "x509/str.h"

namespace strings {

using Strings = Balanced;

inline SshStrOwner of_letters(int32_t charset, std::initializer_list<uint32_t> letters) {
  SshStrOwner str(ssh_str_allocate(charset, 0));
  for (const uint32_t letter : letters) ssh_str_append_letter(str.get(), letter);
  return str;
}

}  // namespace strings
