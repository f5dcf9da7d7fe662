#include "crypto/mp_math.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "crypto/mp_limbs.h"
#include "util/owner.h"

namespace {

size_t limbs_of(const SshMpInt &value) { return ssh_limbs_count(value.magnitude().size()); }

bool too_long(const SshMpInt &a, const SshMpInt &b) {
  return a.bits() > SSH_MP_BITS_MAX || b.bits() > SSH_MP_BITS_MAX;
}

// Work is the memory of one operation: one block, handed out in pieces that are zero at first and
// wiped at the end.
class Work {
 public:
  explicit Work(size_t count) : block_(ssh_make_array<SshLimb>(count)), next_(block_.get()) {}

  SshLimb *take(size_t count) { return std::exchange(next_, next_ + count); }

  SshLimb *load(const SshMpInt &value, size_t count) {
    SshLimb *limbs = take(count);
    ssh_limbs_load(limbs, count, value.magnitude());
    return limbs;
  }

  // value makes an integer, for which `count` limbs must be left to be taken.
  SshMpInt value(const SshLimb *limbs, size_t count, bool negative) {
    uint8_t *octets = reinterpret_cast<uint8_t *>(next_);
    ssh_limbs_store(limbs, octets, count * SSH_LIMB_OCTETS);
    SshMpInt out;
    out.set_magnitude({octets, count * SSH_LIMB_OCTETS}, negative);
    return out;
  }

 private:
  SshArray<SshLimb> block_;
  SshLimb *next_;
};

// signed_sum adds the magnitudes of equal signs, and else subtracts the smaller from the larger
// one, whose sign the result has. `b_negative` stands for the sign of b, so that it serves a - b
// too.
SshMpInt signed_sum(const SshMpInt &a, const SshMpInt &b, bool b_negative) {
  if (too_long(a, b)) return {};
  const size_t count = std::max(limbs_of(a), limbs_of(b)) + 1;
  Work work(3 * count);
  SshLimb *x = work.load(a, count), *y = work.load(b, count);
  if (a.negative() == b_negative) {
    ssh_limbs_add(x, x, count, y, count);
    return work.value(x, count, b_negative);
  }
  const bool swapped = ssh_limbs_compare(x, y, count) < 0;
  if (swapped) std::swap(x, y);
  ssh_limbs_sub(x, x, count, y, count);
  return work.value(x, count, swapped ? b_negative : a.negative());
}

// divide divides the `count` limbs at `number`, above which there is one more, by the v_count limbs
// at `v`, the highest of which is not 0. Both are shifted until the top bit of the divisor is set,
// as ssh_limbs_divide wants it. The remainder is left in `number`; `v` stays shifted.
void divide(SshLimb *number, size_t count, SshLimb *v, size_t v_count, SshLimb *quotient) {
  const unsigned shift = static_cast<unsigned>(std::countl_zero(v[v_count - 1]));
  ssh_limbs_shift_left(v, v_count, shift);
  number[count] = ssh_limbs_shift_left(number, count, shift);
  ssh_limbs_divide(number, count, v, v_count, quotient);
  ssh_limbs_shift_right(number, v_count, shift);
}

// Euclid is Euclid's extended algorithm for two numbers a and b. A step replaces the pair (r0, r1)
// by (r1, r0 modulo r1), which has the same greatest common divisor; when r1 is 0, r0 is it. Beside
// them, u0 and u1 keep how many times b each of the two is, modulo a: r0 = u0 * b, r1 = u1 * b.
// When the divisor turns out to be 1, u0 is the inverse of b modulo a. Of u0 and u1 one is always
// negative and the other not, so `negative` is the sign of u0 and the numbers have none.
struct Euclid {
  SshLimb *r0, *r1, *u0, *u1, *divisor, *quotient, *product;
  size_t size;  // of each number, with a limb to spare
  bool negative = true;

  static size_t limbs(size_t size) { return 9 * size + 4; }

  Euclid(Work &work, const SshMpInt &a, const SshMpInt &b, size_t limbs_each)
      : r0(work.load(a, limbs_each)),
        r1(work.load(b, limbs_each)),
        u0(work.take(limbs_each)),
        u1(work.take(limbs_each)),
        divisor(work.take(limbs_each)),
        quotient(work.take(limbs_each + 1)),
        product(work.take(2 * limbs_each + 3)),
        size(limbs_each) {
    u1[0] = 1;
  }

  // step does one step and returns true, or returns false when r0 is the greatest common divisor.
  bool step() {
    const size_t v_count = ssh_limbs_trim(r1, size);
    if (v_count == 0) return false;
    const size_t count = std::max(ssh_limbs_trim(r0, size), v_count);
    std::copy_n(r1, v_count, divisor);
    divide(r0, count, divisor, v_count, quotient);
    const size_t digits = count - v_count + 1, pairs = ssh_limbs_even(digits);
    if (pairs != digits) quotient[digits] = 0;
    const size_t u_count = ssh_limbs_even(ssh_limbs_trim(u1, size));
    ssh_limbs_mul(product, u1, u_count, quotient, pairs);
    ssh_limbs_add(u0, u0, size, product, ssh_limbs_trim(product, u_count + pairs));
    std::swap(r0, r1);
    std::swap(u0, u1);
    negative = !negative;
    return true;
  }
};

}  // namespace

SshMpInt ssh_mp_add(const SshMpInt &a, const SshMpInt &b) { return signed_sum(a, b, b.negative()); }

SshMpInt ssh_mp_sub(const SshMpInt &a, const SshMpInt &b) {
  return signed_sum(a, b, !b.negative());
}

SshMpInt ssh_mp_mul(const SshMpInt &a, const SshMpInt &b) {
  if (too_long(a, b)) return {};
  const size_t a_count = ssh_limbs_even(limbs_of(a)), b_count = ssh_limbs_even(limbs_of(b));
  Work work(3 * (a_count + b_count));
  SshLimb *x = work.load(a, a_count), *y = work.load(b, b_count);
  SshLimb *product = work.take(a_count + b_count);
  ssh_limbs_mul(product, x, a_count, y, b_count);
  return work.value(product, a_count + b_count, a.negative() != b.negative());
}

bool ssh_mp_divide(const SshMpInt &a, const SshMpInt &b, SshMpInt *quotient, SshMpInt *remainder) {
  if (b.is_zero() || too_long(a, b)) return false;
  const bool a_negative = a.negative(), negative = a_negative != b.negative();
  const size_t v_count = limbs_of(b), count = std::max(limbs_of(a), v_count);
  Work work(4 * count + 4);
  SshLimb *number = work.load(a, count + 1), *v = work.load(b, v_count);
  SshLimb *q = work.take(count - v_count + 1);
  divide(number, count, v, v_count, q);
  if (quotient) *quotient = work.value(q, count - v_count + 1, negative);
  if (remainder) *remainder = work.value(number, v_count, a_negative);
  return true;
}

bool ssh_mp_mod(const SshMpInt &a, const SshMpInt &m, SshMpInt *out) {
  SshMpInt rest;
  if (m.negative() || !ssh_mp_divide(a, m, nullptr, &rest)) return false;
  *out = rest.negative() ? ssh_mp_add(rest, m) : std::move(rest);
  return true;
}

SshMpInt ssh_mp_gcd(const SshMpInt &a, const SshMpInt &b) {
  if (too_long(a, b)) return {};
  const size_t size = std::max(limbs_of(a), limbs_of(b)) + 1;
  Work work(Euclid::limbs(size));
  Euclid euclid(work, a, b, size);
  while (euclid.step()) {
  }
  return work.value(euclid.r0, size, false);
}

bool ssh_mp_inverse(const SshMpInt &a, const SshMpInt &m, SshMpInt *out) {
  SshMpInt rest;
  if (m.bits() < 2 || !ssh_mp_mod(a, m, &rest)) return false;
  const size_t size = limbs_of(m) + 1;
  Work work(Euclid::limbs(size));
  Euclid euclid(work, m, rest, size);
  while (euclid.step()) {
  }
  if (euclid.r0[0] != 1 || ssh_limbs_trim(euclid.r0, size) != 1) return false;
  const SshMpInt times = work.value(euclid.u0, size, euclid.negative);
  *out = times.negative() ? ssh_mp_add(times, m) : times;
  return true;
}
