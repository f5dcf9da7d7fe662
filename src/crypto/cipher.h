// Block ciphers by name in the modes of FIPS 81, for what old peers send; data comes in pieces.
// A further cipher of 64-bit blocks is a row in cipher.cc, a further mode one in cipher_modes.cc.
// Table look-ups of these ciphers depend on the key. Do not use them where another program can
// observe the cache of the same processor.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SSH_CIPHER_BLOCK is the length of every cipher's block, and of an initial vector, in bytes.
constexpr size_t SSH_CIPHER_BLOCK = 8;

// SSH_CIPHER_SCHEDULE_MAX is the longest key schedule, Blowfish's, in 32-bit words.
constexpr size_t SSH_CIPHER_SCHEDULE_MAX = 18 + 4 * 256;

// SshCipherDirection tells what a computation does.
enum SshCipherDirection { SSH_CIPHER_ENCRYPT, SSH_CIPHER_DECRYPT };

// SshCipherKeyLengths is what lengths of keys a cipher takes, in bytes: `least`, and from there in
// steps of `step` up to `most`.
struct SshCipherKeyLengths {
  size_t least, most, step;
};

struct SshCipher;
struct SshCipherMode;

// SshCipherBlock encrypts (or decrypts) one block, the first byte being the highest of the number.
using SshCipherBlock = uint64_t(const uint32_t *schedule, uint64_t block);

// SshCipherRun takes bytes through a mode.
using SshCipherRun = void(SshCipher *cipher, Bytes in, uint8_t *out);

// SshCipher is one running computation. It holds no memory of its own; what it knows of the key and
// of the data is wiped when it ends.
struct SshCipher {
  SshCipher() = default;
  SshCipher(const SshCipher &) = delete;
  SshCipher &operator=(const SshCipher &) = delete;
  ~SshCipher();

  const SshCipherMode *mode = nullptr;  // null: no key yet
  SshCipherBlock *block = nullptr;
  SshCipherRun *run = nullptr;
  uint64_t chain = 0;  // the block before; in CFB and OFB the key stream, used bytes replaced
  size_t used = 0;     // bytes of that key stream
  uint32_t schedule[SSH_CIPHER_SCHEDULE_MAX] = {};
};

// ssh_cipher_key_lengths tells which lengths of keys the cipher of that name takes; false, and
// nothing stored, if there is none.
[[nodiscard]] bool ssh_cipher_key_lengths(const char *name, SshCipherKeyLengths *out);

// ssh_cipher_init starts a computation, with an initial vector of zeros. Ciphers are "des" (FIPS
// 46-3), "3des" (ANSI X9.52, encrypt-decrypt-encrypt; of two keys the first comes again as the
// third), "blowfish" and "cast128" (RFC 2144); modes "ecb", "cbc", "cfb" (feedback of whole blocks)
// and "ofb". The parity bits of a DES key are ignored, and its weak keys are taken as any other: a
// peer that chose one still wants to be understood. False if there is no such cipher or mode or the
// key does not have a length that the cipher takes; then the cipher is left without a key.
[[nodiscard]] bool ssh_cipher_init(SshCipher *cipher, const char *name, const char *mode, Bytes key,
                                   SshCipherDirection direction);

// ssh_cipher_set_iv begins a new message under the same key; false, and nothing changed, unless the
// vector has SSH_CIPHER_BLOCK bytes. ECB takes it and does not use it.
[[nodiscard]] bool ssh_cipher_set_iv(SshCipher *cipher, Bytes iv);

// ssh_cipher_transform encrypts or decrypts the next bytes of the message into `out`, which has as
// many, and which may be where `in` is but must not overlap it otherwise. ECB and CBC take whole
// blocks alone: padding is the caller's. CFB and OFB take any length, and any split gives the same
// bytes. False, and nothing written, if the cipher has no key or `in` ends inside a block that has
// to be whole.
[[nodiscard]] bool ssh_cipher_transform(SshCipher *cipher, Bytes in, uint8_t *out);
