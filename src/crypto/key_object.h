// The record behind a public-key object, and what one row of a key type's tables holds.
// For the files of the key object alone: key_types.cc has the tables, key_schemes.cc calls what
// their rows name. An operation of a scheme is a function over the key's integers, in the order of
// the enumerations here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "crypto/public_key.h"

struct SshHashAlgorithm;
struct SshKeyGroup;
struct SshKeyType;

// SshKeySlot numbers the scheme slots of a key, in the order in which its name lists them.
enum SshKeySlot : uint32_t { SSH_KEY_SIGN, SSH_KEY_ENCRYPT, SSH_KEY_DH, SSH_KEY_SLOTS };

// SshKeyPlace numbers the integers of a key, type by type.
enum SshRsaPlace : uint32_t { SSH_RSA_N, SSH_RSA_E, SSH_RSA_VALUES };
enum SshDlPlace : uint32_t { SSH_DL_P, SSH_DL_G, SSH_DL_Q, SSH_DL_Y, SSH_DL_VALUES };
constexpr size_t SSH_KEY_VALUES_MAX = 4;

// ssh_key_exponent_is_sensible bounds the time that a power takes, which grows with the length of
// the exponent and with the square of that of the modulus. Keys come from strangers: without a
// bound, one certificate could keep a process busy for seconds. So an exponent may be as long as
// the modulus up to 3072 bits; with a longer modulus it may be as long as keys usually have it.
constexpr bool ssh_key_exponent_is_sensible(size_t exponent_bits, size_t modulus_bits,
                                            size_t usual_bits) {
  return exponent_bits <= (modulus_bits <= 3072 ? modulus_bits : usual_bits);
}
constexpr size_t SSH_RSA_USUAL_E_BITS = 64;
constexpr size_t SSH_DL_USUAL_Q_BITS = 512;

// SshKeyVerify holds a signature against a digest; where `hash` is null, that is the data itself.
using SshKeyVerify = SshKeyStatus (*)(const SshMpInt *values, const SshHashAlgorithm *hash,
                                      Bytes digest, Bytes signature);
using SshKeyEncrypt = SshKeyStatus (*)(const SshMpInt *values, Bytes data, SshNoise *noise,
                                       SshBlock *out, size_t *length);
using SshKeyAgree = SshKeyStatus (*)(const SshMpInt *values, Bytes secret_exponent, SshBlock *out,
                                     size_t *length);

// SshKeyScheme is one scheme of an action; it has the operation that the action's slot is for.
struct SshKeyScheme {
  const char *name;
  const SshHashAlgorithm *hash = nullptr;  // of what is signed; null: the data itself
  SshKeyVerify verify = nullptr;
  SshKeyEncrypt encrypt = nullptr;
  SshKeyAgree agree = nullptr;
  // A signature may name this scheme but a key may not: blobs stay readable for readers of old,
  // which refuse names that they do not know.
  bool by_signature_only = false;
};

// SshPublicKey is one block with the schemes and the key data; its group is set only when the key
// names a group instead of carrying its numbers, which are among the values all the same.
struct SshPublicKey {
  const SshKeyType *type;
  const SshKeyGroup *group = nullptr;
  const SshKeyScheme *schemes[SSH_KEY_SLOTS] = {};
  SshMpInt values[SSH_KEY_VALUES_MAX] = {};
};
