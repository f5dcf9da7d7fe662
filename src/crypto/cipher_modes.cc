#include <algorithm>
#include <iterator>

#include "crypto/cipher_rows.h"

namespace {

// How the modes work on blocks (FIPS 81). ECB encrypts each block by itself. CBC adds the encrypted
// block before to each block, so that equal blocks differ. CFB and OFB make a key stream, which is
// added to the data byte by byte: the next eight bytes of the stream are the encryption of the last
// eight bytes of the encrypted data (CFB) or of the stream itself (OFB). "Adding" is XOR in all.
constexpr size_t kBlock = SSH_CIPHER_BLOCK;

uint64_t load(const uint8_t *p) { return ssh_block(ssh_load_be32(p), ssh_load_be32(p + 4)); }

void store(uint8_t *p, uint64_t block) {
  ssh_store_be32(p, ssh_block_left(block));
  ssh_store_be32(p + 4, ssh_block_right(block));
}

void ecb(SshCipher *cipher, Bytes in, uint8_t *out) {
  for (size_t i = 0; i < in.size(); i += kBlock) {
    store(out + i, cipher->block(cipher->schedule, load(&in[i])));
  }
}

void cbc_encrypt(SshCipher *cipher, Bytes in, uint8_t *out) {
  uint64_t chain = cipher->chain;
  for (size_t i = 0; i < in.size(); i += kBlock) {
    chain = cipher->block(cipher->schedule, load(&in[i]) ^ chain);
    store(out + i, chain);
  }
  cipher->chain = chain;
}

void cbc_decrypt(SshCipher *cipher, Bytes in, uint8_t *out) {
  uint64_t chain = cipher->chain;
  for (size_t i = 0; i < in.size(); i += kBlock) {
    const uint64_t block = load(&in[i]);
    store(out + i, cipher->block(cipher->schedule, block) ^ chain);
    chain = block;
  }
  cipher->chain = chain;
}

// A Feedback chooses what the next block of the key stream is made of: the stream itself, what
// comes in, or what goes out.
struct KeyStream {  // OFB
  static constexpr uint64_t of(uint64_t key, uint64_t, uint64_t) { return key; }
};
struct Incoming {  // CFB, decrypting
  static constexpr uint64_t of(uint64_t, uint64_t in, uint64_t) { return in; }
};
struct Outgoing {  // CFB, encrypting
  static constexpr uint64_t of(uint64_t, uint64_t, uint64_t out) { return out; }
};

// one_octet uses one byte of the key stream and puts the feedback into its place in `chain`. When
// all eight were used, `chain` holds the block of which the next eight are made.
template <class Feedback>
uint8_t one_octet(SshCipher *cipher, uint64_t in) {
  if (cipher->used == 0) cipher->chain = cipher->block(cipher->schedule, cipher->chain);
  const size_t shift = 8 * (kBlock - 1 - cipher->used);
  const uint64_t key = cipher->chain >> shift & 0xFF;
  cipher->chain ^= (key ^ Feedback::of(key, in, in ^ key)) << shift;
  cipher->used = (cipher->used + 1) % kBlock;
  return static_cast<uint8_t>(in ^ key);
}

// stream takes single bytes up to the end of a block that was begun, then whole blocks, and the
// rest byte by byte again.
template <class Feedback>
void stream(SshCipher *cipher, Bytes in, uint8_t *out) {
  size_t i = 0;
  for (; i < in.size() && cipher->used > 0; ++i) out[i] = one_octet<Feedback>(cipher, in[i]);
  for (; in.size() - i >= kBlock; i += kBlock) {
    const uint64_t key = cipher->block(cipher->schedule, cipher->chain);
    const uint64_t block = load(&in[i]);
    store(out + i, block ^ key);
    cipher->chain = Feedback::of(key, block, block ^ key);
  }
  for (; i < in.size(); ++i) out[i] = one_octet<Feedback>(cipher, in[i]);
}

constexpr SshCipherMode kModes[] = {
    {"ecb", true, false, ecb, ecb},
    {"cbc", true, false, cbc_encrypt, cbc_decrypt},
    {"cfb", false, true, stream<Outgoing>, stream<Incoming>},
    {"ofb", false, true, stream<KeyStream>, stream<KeyStream>},
};

}  // namespace

const SshCipherMode *ssh_cipher_mode(std::string_view name) {
  const auto *row = std::find_if(std::begin(kModes), std::end(kModes),
                                 [&](const SshCipherMode &mode) { return mode.name == name; });
  return row == std::end(kModes) ? nullptr : row;
}
