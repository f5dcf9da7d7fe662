// Strings in one of eleven character sets: made of the content bytes of the ASN.1 string types,
// converted from one set into another, and brought into the canonical form in which names are
// compared.
//
//   const SshStrOwner text(ssh_str_make(SSH_CHARSET_UTF8, data, length));  // takes over `data`
//   const SshStrOwner latin(ssh_str_charset_test(text.get(), SSH_CHARSET_ISO_8859_1));
//
// A string keeps the letters as its set numbers them, one, two or four bytes for each; conversion
// goes through the code points of charset_tables.cc. The locale of the process is never used. A new
// 8-bit set is a table and a row in charset_tables.cc.
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

// SshStr is a string. It has one of the three buffers, that of its character set's width, and owns
// it.
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

// ssh_str_make makes a string of content bytes. It takes over `data` (a block from ssh_xmalloc, or
// null with length 0), also if it fails. Null if the bytes are no letters of the set, or `data` is
// null. A block of length 0 is a string without letters in sets 0 to 7, and a failure in the
// others. Which bytes are UTF-8 is a decision of the profile.
[[nodiscard]] SshStr *ssh_str_make(int32_t charset, uint8_t *data, size_t length);

// ssh_str_get returns the content bytes of a string in a new block (ssh_xfree). In sets 0 to 7 a
// zero byte follows that the length does not count. Null with length 0 for a null string, and if a
// letter cannot be encoded.
[[nodiscard]] uint8_t *ssh_str_get(const SshStr *str, size_t *length);

// ssh_str_get_canonical returns the content bytes of the canonical form (ssh_xfree): without spaces
// at the beginning and the end, with one space for several in between and, in PrintableString, with
// letters in lower case. Two values of names are equal if these bytes are.
[[nodiscard]] uint8_t *ssh_str_get_canonical(const SshStr *str, size_t *length);

// ssh_str_get_data gives the letters of a string in sets 0 to 7, without a copy; other sets are
// fatal.
[[nodiscard]] const uint8_t *ssh_str_get_data(const SshStr *str, size_t *length);

// ssh_str_charset_test returns the same text in another set, or null if a letter does not exist
// there.
[[nodiscard]] SshStr *ssh_str_charset_test(const SshStr *str, int32_t charset);

// ssh_str_charset_choose converts to the first of printable, IA5, T.61, BMP and UTF-8 that holds
// every letter.
[[nodiscard]] SshStr *ssh_str_charset_choose(const SshStr *str);
