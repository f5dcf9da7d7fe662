// Reading certificate files: the bytes of a file as they are, or those that its armour encodes, the
// base64 text between two lines of dashes.
//
//   uint8_t *der;
//   size_t length;
//   if (ssh_read_file_base64("cert.pem", &der, &length)) ...  // then ssh_xfree(der)
//
// Results are new blocks that the caller frees with ssh_xfree. After a failure there is nothing to
// free. What the lines of dashes say is not looked at: whether a file holds a certificate or a CRL
// is for its decoder to find out.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SshBinaryInput makes standard input give its bytes unchanged for as long as the object lives, and
// then restores the mode that it had. Only Windows changes bytes (files_win32.cc).
class SshBinaryInput {
 public:
  SshBinaryInput();
  ~SshBinaryInput();
  SshBinaryInput(const SshBinaryInput &) = delete;
  SshBinaryInput &operator=(const SshBinaryInput &) = delete;
};

// ssh_read_file reads a whole file; null or "-" means standard input, which stays open. False if it
// cannot be opened or read, is a directory, or is larger than SSH_XMALLOC_MAX.
[[nodiscard]] bool ssh_read_file(const char *name, uint8_t **data, size_t *length);

// ssh_read_file_base64 reads a file and decodes its last armoured block. False also if it has none.
[[nodiscard]] bool ssh_read_file_base64(const char *name, uint8_t **data, size_t *length);

// ssh_base64_remove_whitespace returns the base64 characters of `text`, "=" included, as new
// null-terminated text; all others are left out. A length of 0 means all of `text`.
[[nodiscard]] char *ssh_base64_remove_whitespace(const char *text, size_t length);

// ssh_base64_to_buf decodes null-terminated base64 text into a new block and stores how many bytes
// it holds.
[[nodiscard]] uint8_t *ssh_base64_to_buf(const char *text, size_t *length);

// ssh_base64_decode decodes base64 text into `out`, which must have room for
// ssh_base64_decoded_max(size) bytes, and returns how many it wrote. It passes over characters that
// are no base64.
constexpr size_t ssh_base64_decoded_max(size_t characters) { return (characters * 6 + 7) / 8; }
size_t ssh_base64_decode(Bytes text, uint8_t *out);

// ssh_armour_find gives a view of the text of the last armoured block in `file`; empty, with a null
// pointer, if there is none.
[[nodiscard]] Bytes ssh_armour_find(Bytes file);
