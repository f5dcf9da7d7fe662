// What the tables of ciphers and modes are made of; for cipher.cc and the files behind it alone.
// A further cipher declares three functions here: one makes the schedule of a key whose length has
// been checked, the others encrypt and decrypt a block.
#pragma once

#include <string_view>

#include "crypto/cipher.h"

// SshCipherMode is one way to take bytes through a block cipher.
struct SshCipherMode {
  std::string_view name;
  bool whole_blocks;  // takes no part of a block
  bool key_stream;    // encrypts blocks in both directions
  SshCipherRun *encrypt, *decrypt;
};

// ssh_cipher_mode finds a mode by its name; null if there is none.
[[nodiscard]] const SshCipherMode *ssh_cipher_mode(std::string_view name);

// ssh_block_left and ssh_block_right are the halves of a block, ssh_block the block of two halves.
constexpr uint32_t ssh_block_left(uint64_t block) { return static_cast<uint32_t>(block >> 32); }
constexpr uint32_t ssh_block_right(uint64_t block) { return static_cast<uint32_t>(block); }
constexpr uint64_t ssh_block(uint32_t left, uint32_t right) { return uint64_t{left} << 32 | right; }

void ssh_des_schedule(uint32_t *schedule, Bytes key);
SshCipherBlock ssh_des_encrypt, ssh_des_decrypt;

void ssh_des3_schedule(uint32_t *schedule, Bytes key);
SshCipherBlock ssh_des3_encrypt, ssh_des3_decrypt;

void ssh_blowfish_schedule(uint32_t *schedule, Bytes key);
SshCipherBlock ssh_blowfish_encrypt, ssh_blowfish_decrypt;

void ssh_cast128_schedule(uint32_t *schedule, Bytes key);
SshCipherBlock ssh_cast128_encrypt, ssh_cast128_decrypt;

// SSH_BLOWFISH_START is Blowfish's schedule before a key goes in: the 18 words of P and the four
// boxes, which are the first 33344 bits of pi's fraction.
extern const uint32_t SSH_BLOWFISH_START[SSH_CIPHER_SCHEDULE_MAX];

// SSH_CAST128_BOXES are S1 to S8 of RFC 2144, appendix A.
extern const uint32_t SSH_CAST128_BOXES[8][256];
