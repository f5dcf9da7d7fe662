// Multi-charset strings: text as letters of one of eleven character sets, converted between them,
// to and from the bytes of the ASN.1 string types, and to the canonical form that names are
// compared in. A new 8-bit set is one row of the tables in charset_tables.cc. No process locale is
// ever consulted.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"
#include "util/owner.h"

enum SshCharset : int32_t {
  SSH_CHARSET_PRINTABLE = 0,
  SSH_CHARSET_VISIBLE = 1,
  SSH_CHARSET_IA5 = 2,
  SSH_CHARSET_ISO_8859_1 = 3,
  SSH_CHARSET_ISO_8859_2 = 4,
  SSH_CHARSET_ISO_8859_3 = 5,
  SSH_CHARSET_ISO_8859_4 = 6,
  SSH_CHARSET_T61 = 7,
  SSH_CHARSET_BMP = 8,
  SSH_CHARSET_UNIVERSAL = 9,
  SSH_CHARSET_UTF8 = 10
};

// SshStr is a string; it owns its buffer. Only the buffer of the character set's width is used.
struct SshStr {
  int32_t charset = SSH_CHARSET_PRINTABLE;
  uint32_t length = 0;          // in letters
  uint8_t *bytes = nullptr;     // sets 0 to 7
  uint16_t *units16 = nullptr;  // BMP
  uint32_t *units32 = nullptr;  // universal, UTF-8
  uint32_t capacity = 0;        // in letters
};

// ssh_str_allocate returns an empty string with room for `capacity` letters; an unknown set is
// fatal.
[[nodiscard]] SshStr *ssh_str_allocate(int32_t charset, uint32_t capacity);

// ssh_str_free frees a string and its buffer; null is ignored.
void ssh_str_free(SshStr *str);

using SshStrOwner = Owner<SshStr, ssh_str_free>;

// ssh_str_realloc makes room for at least `letters` letters, with 1024 more whenever it grows.
void ssh_str_realloc(SshStr *str, uint32_t letters);

// ssh_str_append_letter adds one letter at the end.
void ssh_str_append_letter(SshStr *str, uint32_t letter);

// ssh_str_get_letter stores the letter at `index`, or returns false past the end.
[[nodiscard]] bool ssh_str_get_letter(const SshStr *str, uint32_t index, uint32_t *letter);

// ssh_str_make makes a string from wire bytes, taking over `data` (a block from ssh_xmalloc, or
// null with length 0) whether or not it succeeds. Null if the bytes do not form letters of the
// set, or `data` is null. A block with length 0 is a string without letters in sets 0 to 7, and
// refused in the others. Which bytes are UTF-8 is a decision of the profile.
[[nodiscard]] SshStr *ssh_str_make(int32_t charset, uint8_t *data, size_t length);

// ssh_str_get returns the wire bytes in a new block (ssh_xfree); sets 0 to 7 get an uncounted zero
// at the end. Null with length 0 for a null string or a letter that has no form on the wire.
[[nodiscard]] uint8_t *ssh_str_get(const SshStr *str, size_t *length);

// ssh_str_get_canonical returns the wire bytes of the canonical form: spaces trimmed and
// collapsed, and PrintableString letters in lower case (ssh_xfree).
[[nodiscard]] uint8_t *ssh_str_get_canonical(const SshStr *str, size_t *length);

// ssh_str_get_data shows the letters of a string in sets 0 to 7 without copying; other sets are
// fatal.
[[nodiscard]] const uint8_t *ssh_str_get_data(const SshStr *str, size_t *length);

// ssh_str_charset_test returns the same text in another set, or null if a letter does not exist
// there.
[[nodiscard]] SshStr *ssh_str_charset_test(const SshStr *str, int32_t charset);

// ssh_str_charset_choose converts to the first of printable, IA5, T.61, BMP and UTF-8 that holds
// every letter.
[[nodiscard]] SshStr *ssh_str_charset_choose(const SshStr *str);
