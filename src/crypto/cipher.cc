#include "crypto/cipher.h"

#include <algorithm>
#include <iterator>

#include "crypto/cipher_rows.h"
#include "util/mem.h"

namespace {

struct CipherRow {
  std::string_view name;
  SshCipherKeyLengths key;
  void (*schedule)(uint32_t *schedule, Bytes key);
  SshCipherBlock *encrypt, *decrypt;

  [[nodiscard]] constexpr bool takes(size_t length) const {
    return length >= key.least && length <= key.most && (length - key.least) % key.step == 0;
  }
};

constexpr CipherRow kCiphers[] = {
    {"des", {8, 8, 8}, ssh_des_schedule, ssh_des_encrypt, ssh_des_decrypt},
    {"3des", {16, 24, 8}, ssh_des3_schedule, ssh_des3_encrypt, ssh_des3_decrypt},
    {"blowfish", {1, 56, 1}, ssh_blowfish_schedule, ssh_blowfish_encrypt, ssh_blowfish_decrypt},
    {"cast128", {5, 16, 1}, ssh_cast128_schedule, ssh_cast128_encrypt, ssh_cast128_decrypt},
};

const CipherRow *find(std::string_view name) {
  const auto *row =
      std::find_if(std::begin(kCiphers), std::end(kCiphers),
                   [&](const CipherRow &candidate) { return candidate.name == name; });
  return row == std::end(kCiphers) ? nullptr : row;
}

void forget(SshCipher *cipher) {
  cipher->mode = nullptr;
  cipher->used = 0;
  ssh_wipe(&cipher->chain, sizeof cipher->chain);
  ssh_wipe(cipher->schedule, sizeof cipher->schedule);
}

}  // namespace

SshCipher::~SshCipher() { forget(this); }

bool ssh_cipher_key_lengths(const char *name, SshCipherKeyLengths *out) {
  const CipherRow *row = find(name);
  if (!row) return false;
  *out = row->key;
  return true;
}

bool ssh_cipher_init(SshCipher *cipher, const char *name, const char *mode, Bytes key,
                     SshCipherDirection direction) {
  forget(cipher);
  const CipherRow *row = find(name);
  const SshCipherMode *found = ssh_cipher_mode(mode);
  if (!row || !found || !row->takes(key.size())) return false;
  const bool encrypt = direction == SSH_CIPHER_ENCRYPT;
  row->schedule(cipher->schedule, key);
  cipher->mode = found;
  cipher->block = encrypt || found->key_stream ? row->encrypt : row->decrypt;
  cipher->run = encrypt ? found->encrypt : found->decrypt;
  return true;
}

bool ssh_cipher_set_iv(SshCipher *cipher, Bytes iv) {
  if (iv.size() != SSH_CIPHER_BLOCK) return false;
  cipher->chain = ssh_block(ssh_load_be32(&iv[0]), ssh_load_be32(&iv[4]));
  cipher->used = 0;
  return true;
}

bool ssh_cipher_transform(SshCipher *cipher, Bytes in, uint8_t *out) {
  if (!cipher->mode) return false;
  if (cipher->mode->whole_blocks && in.size() % SSH_CIPHER_BLOCK != 0) return false;
  cipher->run(cipher, in, out);
  return true;
}
