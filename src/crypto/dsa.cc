#include "crypto/dsa.h"

#include <algorithm>

#include "crypto/montgomery.h"
#include "crypto/mp_math.h"

namespace {

// in_range is true for 0 < value < below.
bool in_range(const SshMpInt &value, const SshMpInt &below) {
  return !value.negative() && !value.is_zero() && value.compare(below) < 0;
}

// begin_dsa makes p the modulus and checks the numbers: p and q are odd and of a sensible size,
// 1 < q < p, and g and y lie between 1 and p as well. It does not check that p and q are primes:
// that is for whoever vouches for the key.
SshKeyStatus begin_dsa(const SshMpInt *values, SshMontgomery &modulus) {
  const SshMpInt &p = values[SSH_DL_P], &q = values[SSH_DL_Q];
  const SshMpInt one(1);
  if (!in_range(q, p) || q == one || !(q.low32() & 1)) return SSH_KEY_ABSURD;
  if (!ssh_key_exponent_is_sensible(q.bits(), p.bits(), SSH_DL_USUAL_Q_BITS)) return SSH_KEY_ABSURD;
  for (const SshDlPlace place : {SSH_DL_G, SSH_DL_Y}) {
    if (!in_range(values[place], p) || values[place] == one) return SSH_KEY_ABSURD;
  }
  return modulus.init(p) ? SSH_KEY_OK : SSH_KEY_ABSURD;
}

// digest_number gives the leftmost bits of a digest, as many as q has.
SshMpInt digest_number(Bytes digest, size_t bits) {
  SshMpInt number;
  number.set_magnitude(digest.first(std::min(digest.size(), (bits + 7) / 8)));
  if (digest.size() * 8 > bits) {
    for (size_t drop = (8 - bits % 8) % 8; drop > 0; --drop) number.halve();
  }
  return number;
}

// product gives a * b modulo q, which is above 0.
SshMpInt product(const SshMpInt &a, const SshMpInt &b, const SshMpInt &q) {
  SshMpInt residue;
  (void)ssh_mp_mod(ssh_mp_mul(a, b), q, &residue);
  return residue;
}

}  // namespace

// FIPS 186-4 4.7. With w = 1/s modulo q, a signature (r, s) over the digest z is good if
// g^(z*w) * y^(r*w) modulo p, taken modulo q, is r.
SshKeyStatus ssh_dsa_verify(const SshMpInt *values, const SshHashAlgorithm *, Bytes digest,
                            Bytes signature) {
  SshMontgomery modulus;
  if (const SshKeyStatus status = begin_dsa(values, modulus)) return status;
  const SshMpInt &q = values[SSH_DL_Q];
  const size_t length = (q.bits() + 7) / 8;
  if (signature.size() != 2 * length) return SSH_KEY_BAD_SIGNATURE;
  SshMpInt r, s, w;
  r.set_magnitude(signature.first(length));
  s.set_magnitude(signature.last(length));
  if (!in_range(r, q) || !in_range(s, q) || !ssh_mp_inverse(s, q, &w)) return SSH_KEY_BAD_SIGNATURE;

  const SshMpInt u1 = product(digest_number(digest, q.bits()), w, q), u2 = product(r, w, q);
  SshMpInt v;
  (void)ssh_mp_mod(modulus.power2(values[SSH_DL_G], u1, values[SSH_DL_Y], u2), q, &v);
  return v == r ? SSH_KEY_OK : SSH_KEY_BAD_SIGNATURE;
}
