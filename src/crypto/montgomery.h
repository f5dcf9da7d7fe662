// Powers modulo an odd number, which is what RSA, DSA and Diffie-Hellman consist of.
//
//   SshMontgomery modulus;
//   if (!modulus.init(n)) return SSH_KEY_ABSURD;
//   SshMpInt power = modulus.power(base, exponent);
//
// The idea: a remainder after division by n is slow to compute, a remainder after division by R, a
// power of two, is not: it only drops limbs. Montgomery multiplication computes a * b / R modulo n
// with the fast kind alone. Numbers are therefore multiplied by R first ("Montgomery form"); then
// products stay in that form, and only the last result is brought back.
//
// Some numbers are secret. `power` and `power2` take public ones only: their time depends on the
// values. `power_secret` keeps its exponent secret and `power_of_secret` its base: neither a branch
// nor an address depends on them. The loops over limbs are in mp_limbs.h. A new way to compute a
// power is a further method here.
#pragma once

#include "crypto/mp_limbs.h"
#include "util/mp_int.h"
#include "util/owner.h"

// SSH_MONTGOMERY_BITS_MAX is the longest modulus taken: no key that is in use is longer, and the
// time grows with the third power, so that a longer one would only serve to keep a process busy.
constexpr size_t SSH_MONTGOMERY_BITS_MAX = 0x4000;

// SshMontgomery holds an odd modulus and what is computed from it once.
class SshMontgomery {
 public:
  // init takes the modulus. It returns false unless that is odd, above 1 and at most
  // SSH_MONTGOMERY_BITS_MAX bits long. The other methods may be called once it has returned true.
  [[nodiscard]] bool init(const SshMpInt &modulus);

  // power returns base^exponent, 0 <= result < modulus. Both are public numbers: the time tells
  // them. The base may be above the modulus or negative; the exponent counts without its sign. A
  // base above SSH_MP_BITS_MAX or an exponent above SSH_MONTGOMERY_BITS_MAX bits gives 0.
  [[nodiscard]] SshMpInt power(const SshMpInt &base, const SshMpInt &exponent) const;

  // power2 returns b1^e1 * b2^e2, squaring for both exponents at once; otherwise it is as power.
  [[nodiscard]] SshMpInt power2(const SshMpInt &b1, const SshMpInt &e1, const SshMpInt &b2,
                                const SshMpInt &e2) const;

  // power_of_secret writes base^exponent as octets() bytes, big-endian, at `out`, which may be the
  // base. The base is as long, big-endian; its value is secret: no branch and no address depends on
  // it, nor does any on the result. The exponent is public, of at most SSH_MONTGOMERY_BITS_MAX
  // bits.
  void power_of_secret(const uint8_t *base, const SshMpInt &exponent, uint8_t *out) const;

  // power_secret writes base^exponent as octets() bytes, big-endian, at `out`. The base is public.
  // The exponent is big-endian; its length is public and its value secret: no branch and no address
  // depends on it, nor does any on the result. A base above SSH_MP_BITS_MAX counts as 0.
  void power_secret(const SshMpInt &base, Bytes exponent, uint8_t *out) const;

  // octets is the length of the modulus in bytes.
  [[nodiscard]] size_t octets() const { return octets_; }

 private:
  void square_range(SshLimb *scratch);
  void convert(SshLimb *out, Bytes base, bool negative, SshLimb *scratch) const;
  void reduce(SshLimb *out, SshLimb *product) const;
  void mul(SshLimb *out, const SshLimb *a, const SshLimb *b, SshLimb *scratch) const;
  void square(SshLimb *out, const SshLimb *a, SshLimb *scratch) const;
  void leave(SshLimb *number, SshLimb *scratch) const;
  void fill(SshLimb *table, size_t entries, const struct SshMontgomeryPower &row, SshLimb *squared,
            SshLimb *scratch) const;
  void product(std::span<const SshMontgomeryPower> rows, uint8_t *out) const;
  [[nodiscard]] SshMpInt number(std::span<const SshMontgomeryPower> rows) const;

  // modulus_ has count_ limbs, an even number, so that the loops take them in pairs; behind it come
  // as many with the modulus shifted left until the top bit of its last limb is set, and as many
  // with R^2 modulo the modulus, where R is 2^(bits of count_ limbs).
  Owner<SshLimb, ssh_xfree_wiped> modulus_;
  size_t count_ = 0;
  size_t significant_ = 0;  // limbs without leading zeros
  size_t octets_ = 0;
  unsigned shift_ = 0;
  SshLimb negative_inverse_ = 0;  // of the lowest limb, modulo a limb's range
};
