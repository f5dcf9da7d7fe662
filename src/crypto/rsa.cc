#include "crypto/rsa.h"

#include <algorithm>
#include <utility>

#include "crypto/hash.h"
#include "crypto/montgomery.h"
#include "crypto/noise.h"
#include "util/mem.h"

namespace {

// A padded block is 00, the type, at least eight bytes of padding, 00, and the data.
constexpr size_t kPaddingMin = 8;
constexpr size_t kOverhead = kPaddingMin + 3;
constexpr uint8_t kSignatureType = 1;
constexpr uint8_t kEncryptionType = 2;

// begin_rsa makes n the modulus and checks the numbers: n is odd and of a sensible size, e is odd
// and 1 < e < n.
SshKeyStatus begin_rsa(const SshMpInt *values, SshMontgomery &modulus) {
  const SshMpInt &n = values[SSH_RSA_N], &e = values[SSH_RSA_E];
  if (e.compare(SshMpInt(1)) <= 0 || e.compare(n) >= 0) return SSH_KEY_ABSURD;
  if (!(e.low32() & 1)) return SSH_KEY_ABSURD;
  if (!ssh_key_exponent_is_sensible(e.bits(), n.bits(), SSH_RSA_USUAL_E_BITS))
    return SSH_KEY_ABSURD;
  return modulus.init(n) ? SSH_KEY_OK : SSH_KEY_ABSURD;
}

uint8_t *put(uint8_t *at, Bytes octets) {
  if (!octets.empty()) std::memcpy(at, octets.data(), octets.size());
  return at + octets.size();
}

// fill_nonzero fills the padding of an encryption block with bytes of noise that are not zero.
bool fill_nonzero(SshNoise &noise, uint8_t *out, size_t length) {
  uint8_t drawn[64];
  uint8_t *const end = out + length;
  bool good = true;
  while (good && out < end) {
    good = noise.octets(drawn, sizeof drawn);
    for (size_t i = 0; good && i < sizeof drawn && out < end; ++i) {
      if (drawn[i] != 0) *out++ = drawn[i];
    }
  }
  ssh_wipe(drawn, sizeof drawn);
  return good;
}

}  // namespace

// RFC 8017 8.2.2: the block that a good signature over these bytes gives is built and compared with
// the block that this signature gives, byte by byte. The latter is never parsed: forgeries have
// been made for verifiers that parsed it and overlooked some bytes. DigestInfo has parameters NULL,
// which is what all write; the form without parameters, which RFC 8017 lets one accept, is refused,
// as other libraries refuse it.
SshKeyStatus ssh_rsa_verify(const SshMpInt *values, const SshHashAlgorithm *hash, Bytes digest,
                            Bytes signature) {
  SshMontgomery modulus;
  if (const SshKeyStatus status = begin_rsa(values, modulus)) return status;
  const size_t length = modulus.octets();
  const Bytes info = hash ? ssh_hash_digest_info(*hash) : Bytes();
  const size_t least = info.size() + kOverhead;
  if (length < least || digest.size() > length - least) return SSH_KEY_TOO_LONG;
  SshMpInt value;
  if (signature.size() != length) return SSH_KEY_BAD_SIGNATURE;
  value.set_magnitude(signature);
  if (value.compare(values[SSH_RSA_N]) >= 0) return SSH_KEY_BAD_SIGNATURE;

  const SshBlock wanted = ssh_make_block(length), found = ssh_make_block(length);
  uint8_t *at = wanted.get();
  *at++ = 0;
  *at++ = kSignatureType;
  const size_t padding = length - 3 - info.size() - digest.size();
  at = std::fill_n(at, padding, uint8_t{0xFF});
  *at++ = 0;
  put(put(at, info), digest);
  modulus.power_of_secret(signature.data(), values[SSH_RSA_E], found.get());
  return std::memcmp(wanted.get(), found.get(), length) == 0 ? SSH_KEY_OK : SSH_KEY_BAD_SIGNATURE;
}

// RFC 8017 7.2.1. The block holds the data, so its power is computed as that of a secret.
SshKeyStatus ssh_rsa_encrypt(const SshMpInt *values, Bytes data, SshNoise *noise, SshBlock *out,
                             size_t *length) {
  SshMontgomery modulus;
  if (const SshKeyStatus status = begin_rsa(values, modulus)) return status;
  const size_t octets = modulus.octets();
  if (octets < kOverhead || data.size() > octets - kOverhead) return SSH_KEY_TOO_LONG;

  SshBlock block = ssh_make_block(octets);
  uint8_t *at = block.get();
  *at++ = 0;
  *at++ = kEncryptionType;
  const size_t padding = octets - 3 - data.size();
  if (!fill_nonzero(*noise, at, padding)) return SSH_KEY_NO_NOISE;
  at += padding;
  *at++ = 0;
  put(at, data);
  modulus.power_of_secret(block.get(), values[SSH_RSA_E], block.get());
  *out = std::move(block);
  *length = octets;
  return SSH_KEY_OK;
}
