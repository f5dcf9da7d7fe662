// Reading certificate files: a file's bytes as they are, or the content of base64 armour between
// dashed lines. Results are blocks from ssh_xmalloc that the caller frees with ssh_xfree; on
// failure nothing is left behind.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SshBinaryInput gives standard input byte by byte for as long as it lives; afterwards it is read
// as it was before. What a system does about it is in files_posix.cc and files_win32.cc.
class SshBinaryInput {
 public:
  SshBinaryInput();
  ~SshBinaryInput();
  SshBinaryInput(const SshBinaryInput &) = delete;
  SshBinaryInput &operator=(const SshBinaryInput &) = delete;
};

// ssh_read_file reads a whole file (null or "-": standard input, which is left open). False if it
// cannot be opened or read, is a directory, or is larger than one allocation may be
// (SSH_XMALLOC_MAX).
[[nodiscard]] bool ssh_read_file(const char *name, uint8_t **data, size_t *length);

// ssh_read_file_base64 reads a file and decodes its last armoured block; false also when it has
// none.
[[nodiscard]] bool ssh_read_file_base64(const char *name, uint8_t **data, size_t *length);

// ssh_base64_remove_whitespace returns the base64 characters (and "=") of `text` as new
// null-terminated text. A length of 0 means up to the terminator.
[[nodiscard]] char *ssh_base64_remove_whitespace(const char *text, size_t length);

// ssh_base64_to_buf decodes null-terminated base64 text into a new block and stores how many bytes
// it holds.
[[nodiscard]] uint8_t *ssh_base64_to_buf(const char *text, size_t *length);

// ssh_base64_decode decodes base64 text into `out`, which has room for ssh_base64_decoded_max(size)
// bytes, and returns how many were written. Characters that are no base64 are passed over.
constexpr size_t ssh_base64_decoded_max(size_t characters) { return (characters * 6 + 7) / 8; }
size_t ssh_base64_decode(Bytes text, uint8_t *out);

// ssh_armour_find shows the last armoured block's text inside `file`; empty with a null pointer if
// there is none.
[[nodiscard]] Bytes ssh_armour_find(Bytes file);
