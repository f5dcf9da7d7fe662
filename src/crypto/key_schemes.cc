// What a key object does: each operation is that of a scheme row.
#include "crypto/hash_rows.h"
#include "crypto/key_types.h"

namespace {

// find_verify finds the scheme of a signature: the one that is named, or the key's own.
SshKeyStatus find_verify(const SshPublicKey &key, const char *name, const SshKeyScheme **scheme) {
  *scheme = key.schemes[SSH_KEY_SIGN];
  if (name) {
    const SshKeySchemeFound found = ssh_key_signature_scheme(key, name);
    if (found.scheme && !found.fits) return SSH_KEY_REFUSED;
    *scheme = found.scheme;
  }
  return *scheme ? SSH_KEY_OK : SSH_KEY_NO_SCHEME;
}

}  // namespace

SshKeyStatus ssh_public_key_verify_digest(const SshPublicKey *key, const char *scheme, Bytes digest,
                                          Bytes signature) {
  const SshKeyScheme *row = nullptr;
  if (const SshKeyStatus status = find_verify(*key, scheme, &row)) return status;
  // No data has a digest of another length, so no signature is one over it.
  if (row->hash && digest.size() != row->hash->digest_length) return SSH_KEY_BAD_SIGNATURE;
  return row->verify(key->values, row->hash, digest, signature);
}

SshKeyStatus ssh_public_key_verify(const SshPublicKey *key, const char *scheme, Bytes data,
                                   Bytes signature) {
  const SshKeyScheme *row = nullptr;
  if (const SshKeyStatus status = find_verify(*key, scheme, &row)) return status;
  if (!row->hash) return row->verify(key->values, nullptr, data, signature);
  SshHash hash;
  uint8_t digest[SSH_HASH_DIGEST_MAX];
  ssh_hash_start(&hash, *row->hash);
  ssh_hash_update(&hash, data);
  ssh_hash_final(&hash, digest);
  return row->verify(key->values, row->hash, {digest, row->hash->digest_length}, signature);
}

SshKeyStatus ssh_public_key_encrypt(const SshPublicKey *key, Bytes data, SshNoise *noise,
                                    SshBlock *out, size_t *length) {
  const SshKeyScheme *row = key->schemes[SSH_KEY_ENCRYPT];
  return row ? row->encrypt(key->values, data, noise, out, length) : SSH_KEY_NO_SCHEME;
}

SshKeyStatus ssh_public_key_dh_agree(const SshPublicKey *key, Bytes secret_exponent, SshBlock *out,
                                     size_t *length) {
  const SshKeyScheme *row = key->schemes[SSH_KEY_DH];
  return row ? row->agree(key->values, secret_exponent, out, length) : SSH_KEY_NO_SCHEME;
}
