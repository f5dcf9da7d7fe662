#include "crypto/dh.h"

#include <utility>

#include "crypto/montgomery.h"
#include "crypto/mp_math.h"

namespace {

// The longest prime that is taken is that of the largest group in use (RFC 3526 7). The limit is
// lower than for other keys, because the secret exponent may be as long as the prime.
constexpr size_t kPrimeBitsMax = 8192;

// strictly_inside is true for 1 < value < p - 1. The powers of 0, 1 and p - 1 are 0, 1 and p - 1
// alone, whatever the exponent: an agreement on one of them would be no secret.
bool strictly_inside(const SshMpInt &value, const SshMpInt &p) {
  return value.compare(SshMpInt(1)) > 0 && value.compare(ssh_mp_sub(p, SshMpInt(1))) < 0;
}

// has_order is true if y is in the subgroup of order q, that is, if y^q is 1. A y of a small order
// d has d different powers, so that whoever sent it would learn the secret exponent modulo d. Where
// q is (p - 1) / 2, as in all named groups, the check is left out: it would cost as much as the
// agreement, and with strictly_inside the order of y can only be q or 2q, which tells no more than
// whether the exponent is even (RFC 7919 5.1; RFC 2631 2.1.5 leaves the choice).
bool has_order(const SshMontgomery &group, const SshMpInt *values) {
  const SshMpInt &q = values[SSH_DL_Q];
  SshMpInt half = values[SSH_DL_P];
  half.halve();
  return q.is_zero() || q == half || group.power(values[SSH_DL_Y], q) == SshMpInt(1);
}

// order_fits is true if the group gives no order (q is 0, which RFC 2631 allows), or one that
// divides p - 1, as the order of every subgroup does.
bool order_fits(const SshMpInt &p, const SshMpInt &q) {
  if (q.is_zero()) return true;
  SshMpInt half = p, rest;
  half.halve();
  if (q == half) return true;
  if (q.compare(SshMpInt(1)) <= 0 || !(q.low32() & 1)) return false;
  if (!ssh_key_exponent_is_sensible(q.bits(), p.bits(), SSH_DL_USUAL_Q_BITS)) return false;
  return ssh_mp_mod(ssh_mp_sub(p, SshMpInt(1)), q, &rest) && rest.is_zero();
}

// begin makes p the modulus and checks the group and the peer's value.
SshKeyStatus begin(const SshMpInt *values, SshMontgomery &group) {
  const SshMpInt &p = values[SSH_DL_P];
  if (p.bits() > kPrimeBitsMax || !group.init(p)) return SSH_KEY_ABSURD;
  if (!strictly_inside(values[SSH_DL_G], p) || !order_fits(p, values[SSH_DL_Q]))
    return SSH_KEY_ABSURD;
  const bool good = strictly_inside(values[SSH_DL_Y], p) && has_order(group, values);
  return good ? SSH_KEY_OK : SSH_KEY_BAD_PEER_VALUE;
}

// is_trivial is true if a result is 0, 1 or p - 1: it then says nothing about the exponent that
// others could not guess. It looks at every byte whatever they are.
bool is_trivial(const uint8_t *result, const SshMpInt &p) {
  const Bytes modulus = p.magnitude();
  const size_t last = modulus.size() - 1;
  unsigned high = 0, other = 0;
  for (size_t i = 0; i < last; ++i) {
    high |= result[i];
    other |= unsigned{result[i]} ^ modulus[i];
  }
  const unsigned small = high | (result[last] & ~1u);
  other |= unsigned{result[last]} ^ (modulus[last] - 1u);  // p is odd
  return ((small - 1) | (other - 1)) >> 31 != 0;
}

}  // namespace

// The power leaves no trace of the exponent in branches and addresses; whether the result was
// refused is the one thing that is told of it (NIST SP 800-56A 5.7.1.1).
SshKeyStatus ssh_dh_agree(const SshMpInt *values, Bytes secret_exponent, SshBlock *out,
                          size_t *length) {
  SshMontgomery group;
  if (const SshKeyStatus status = begin(values, group)) return status;
  const size_t octets = group.octets();
  if (secret_exponent.size() > octets) return SSH_KEY_REFUSED;
  SshBlock result = ssh_make_block(octets);
  group.power_secret(values[SSH_DL_Y], secret_exponent, result.get());
  if (is_trivial(result.get(), values[SSH_DL_P])) return SSH_KEY_REFUSED;
  *out = std::move(result);
  *length = octets;
  return SSH_KEY_OK;
}
