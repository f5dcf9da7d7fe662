// Public-key objects: key type, chosen schemes and key data; the exported key blob both ways; what
// schemes do with a key. A key type is one row of the table in key_types.cc, a scheme one of its
// action's; the named groups of "dl-modp" are rows in key_groups.cc. Keys of certificates are
// defined here, handed to callers as blobs and hashed into public-key search keys.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "util/bytes.h"
#include "util/mp_int.h"
#include "util/owner.h"

// clang-format off
enum [[nodiscard]] SshKeyStatus : uint32_t {
  SSH_KEY_OK = 0,
  SSH_KEY_FAILED = 6,        // key data could not be made, exported or imported
  SSH_KEY_BAD_TAG = 7,       // a tag that is not allowed here
  SSH_KEY_UNKNOWN_NAME = 8,  // an unknown action or scheme name
  SSH_KEY_BAD_FORMAT = 10,   // not a key blob, or a key name that does not parse
  SSH_KEY_REFUSED = 13,      // a value, slot or scheme that the key type refuses
  // What the operations of schemes answer; these never come from definition, export or import.
  SSH_KEY_BAD_SIGNATURE = 32,   // the signature does not fit
  SSH_KEY_NO_SCHEME = 33,       // the key has no scheme for this, or there is none of that name
  SSH_KEY_ABSURD = 34,          // numbers with which no key works or a computation would not end
  SSH_KEY_BAD_PEER_VALUE = 35,  // a Diffie-Hellman value that is not in the group
  SSH_KEY_TOO_LONG = 36,        // the data does not fit a key of this size
  SSH_KEY_NO_NOISE = 37         // the operating system has no random bytes to give
};
// clang-format on

// SshKeyTag names what a definition or a question is about. 16 and 17 are RSA's, the next four
// DSA's and DH's; the last three choose a scheme by name.
enum SshKeyTag : uint32_t {
  SSH_KEY_TAG_END = 0,
  SSH_KEY_TAG_SIGN = 7,
  SSH_KEY_TAG_ENCRYPT = 8,
  SSH_KEY_TAG_DH = 9,
  SSH_KEY_TAG_Y = 10,
  SSH_KEY_TAG_P = 12,
  SSH_KEY_TAG_Q = 14,
  SSH_KEY_TAG_G = 15,
  SSH_KEY_TAG_N = 16,
  SSH_KEY_TAG_E = 17
};

struct SshPublicKey;
class SshNoise;

// SshKeyValue gives one tag its value: an integer for value tags, a scheme name for scheme tags.
// Both are copied.
struct SshKeyValue {
  uint32_t tag;
  const SshMpInt *integer = nullptr;
  const char *scheme = nullptr;
};

// SshKeyQuestion asks for the value of one tag.
struct SshKeyQuestion {
  uint32_t tag;
  SshMpInt *integer = nullptr;
  const char **scheme = nullptr;  // points into the static tables
};

// ssh_public_key_define makes a key from a key name ("if-modn{sign{rsa-pkcs1-md5}}") and values.
// The new key is the caller's (ssh_public_key_free); on failure nothing is stored and nothing stays
// allocated.
SshKeyStatus ssh_public_key_define(SshPublicKey **key, const char *name,
                                   std::initializer_list<SshKeyValue> values);

// ssh_public_key_get_info answers questions about a key; the first that fails ends it with its
// status.
SshKeyStatus ssh_public_key_get_info(const SshPublicKey *key,
                                     std::initializer_list<SshKeyQuestion> questions);

// ssh_public_key_copy returns an independent copy of a key.
[[nodiscard]] SshPublicKey *ssh_public_key_copy(const SshPublicKey *key);

// ssh_public_key_free frees a key; a null key or one without key data is fatal.
void ssh_public_key_free(SshPublicKey *key);

// ssh_public_key_export encodes a key as a blob in a new block (ssh_xfree).
SshKeyStatus ssh_public_key_export(const SshPublicKey *key, uint8_t **blob, uint32_t *length);

// ssh_public_key_import makes a key from a blob; what follows the key data is ignored.
SshKeyStatus ssh_public_key_import(Bytes blob, SshPublicKey **key);

// ssh_public_key_name returns a key's name in new text (ssh_xfree), for tests: a blob carries it.
[[nodiscard]] char *ssh_public_key_name(const SshPublicKey *key);

// ssh_public_key_verify tells whether `signature` is the key's over `data`: SSH_KEY_OK or
// SSH_KEY_BAD_SIGNATURE, or why it cannot tell. A null scheme takes the key's own; a signature may
// name any scheme of the key's type ("rsa-pkcs1-sha1"), also those that no key name can choose.
// RSA signatures are as long as the modulus; DSA signatures are r and s, each as long as q.
SshKeyStatus ssh_public_key_verify(const SshPublicKey *key, const char *scheme, Bytes data,
                                   Bytes signature);

// ssh_public_key_can_verify tells whether keys of any type verify signatures of that scheme.
[[nodiscard]] bool ssh_public_key_can_verify(const char *scheme);

// ssh_public_key_verify_digest does the same for data that was hashed in pieces. Where a scheme has
// no hash function, digest and data are the same.
SshKeyStatus ssh_public_key_verify_digest(const SshPublicKey *key, const char *scheme, Bytes digest,
                                          Bytes signature);

// ssh_public_key_encrypt encrypts `data` for the key's owner by the key's scheme, into a new block
// as long as the modulus. The padding takes bytes from `noise`.
SshKeyStatus ssh_public_key_encrypt(const SshPublicKey *key, Bytes data, SshNoise *noise,
                                    SshBlock *out, size_t *length);

// ssh_public_key_dh_agree computes what the owner of the peer's key and whoever knows
// `secret_exponent` (big-endian, at most as long as p) have in common, into a new block as long as
// p, leading zeros kept. The exponent's length is not secret, its value is. An exponent that is too
// long, or gives what anybody could guess (0 does), is SSH_KEY_REFUSED. The group is the caller's
// to trust: whether p and q are primes, and large enough, is not looked at. One's own public value
// is the agreement with a key of the same group whose y is g.
SshKeyStatus ssh_public_key_dh_agree(const SshPublicKey *key, Bytes secret_exponent, SshBlock *out,
                                     size_t *length);

using SshPublicKeyOwner = Owner<SshPublicKey, ssh_public_key_free>;
