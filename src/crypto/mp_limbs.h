// Loops over limbs: numbers without a sign in machine words, the least significant first.
// Everything here is branch-free in the limbs' values but for ssh_limbs_trim, ssh_limbs_compare and
// ssh_limbs_divide, which are for public numbers. What gains a loop here stays free of memory: the
// caller owns every limb.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SshLimb is the unsigned word that is multiplied at once, SshWide the product of two.
// SSH_SHORT_LIMBS gives any system the limbs of those without 128-bit products, to test them.
#if defined(__SIZEOF_INT128__) && !defined(SSH_SHORT_LIMBS)
using SshLimb = uint64_t;
__extension__ using SshWide = unsigned __int128;
#else
using SshLimb = uint32_t;
using SshWide = uint64_t;
#endif
constexpr size_t SSH_LIMB_OCTETS = sizeof(SshLimb);
constexpr unsigned SSH_LIMB_BITS = 8 * sizeof(SshLimb);

// ssh_limbs_count tells how many limbs hold `octets` bytes, ssh_limbs_even rounds a count up to
// the even one that multiplication wants.
constexpr size_t ssh_limbs_count(size_t octets) {
  return octets / SSH_LIMB_OCTETS + (octets % SSH_LIMB_OCTETS != 0);
}
constexpr size_t ssh_limbs_even(size_t count) { return count + count % 2; }

// ssh_limbs_low and ssh_limbs_high are the halves of a product.
constexpr SshLimb ssh_limbs_low(SshWide wide) { return static_cast<SshLimb>(wide); }
constexpr SshLimb ssh_limbs_high(SshWide wide) {
  return static_cast<SshLimb>(wide >> SSH_LIMB_BITS);
}

// ssh_limbs_mask is all ones for 1 and 0 for 0. A compiler that knew that there are but these two
// may make a branch of what they select (clang does), so the bit goes where it cannot look.
inline SshLimb ssh_limbs_mask(SshLimb bit) {
  const volatile SshLimb hidden = bit;
  return SshLimb{0} - hidden;
}

// ssh_limbs_load reads big-endian bytes into `count` limbs, which must have room for them; those
// above are 0. ssh_limbs_store writes the low `length` bytes.
void ssh_limbs_load(SshLimb *out, size_t count, Bytes octets);
void ssh_limbs_store(const SshLimb *limbs, uint8_t *out, size_t length);

// ssh_limbs_trim returns the count without leading zeros, ssh_limbs_compare the order of two
// numbers of one length as a value below, equal to or above 0.
[[nodiscard]] size_t ssh_limbs_trim(const SshLimb *limbs, size_t count);
[[nodiscard]] int ssh_limbs_compare(const SshLimb *a, const SshLimb *b, size_t count);

// ssh_limbs_add and ssh_limbs_sub store a + b and a - b, where `a` has `count` limbs and `b` not
// more; `out` may be either. They return the carry, 0 or 1.
SshLimb ssh_limbs_add(SshLimb *out, const SshLimb *a, size_t count, const SshLimb *b,
                      size_t b_count);
SshLimb ssh_limbs_sub(SshLimb *out, const SshLimb *a, size_t count, const SshLimb *b,
                      size_t b_count);

// ssh_limbs_shift_left and ssh_limbs_shift_right shift in place by less than a limb; the first
// returns what it pushed out.
SshLimb ssh_limbs_shift_left(SshLimb *limbs, size_t count, unsigned bits);
void ssh_limbs_shift_right(SshLimb *limbs, size_t count, unsigned bits);

// ssh_limbs_add_rows adds a times the two limbs b0 and b1 to the `count` limbs at `sum`, an even
// number, and returns what belongs to the two above.
SshWide ssh_limbs_add_rows(SshLimb *sum, const SshLimb *a, size_t count, SshLimb b0, SshLimb b1);

// ssh_limbs_mul stores a * b in a_count + b_count limbs apart from both; both counts are even.
void ssh_limbs_mul(SshLimb *out, const SshLimb *a, size_t a_count, const SshLimb *b,
                   size_t b_count);

// ssh_limbs_square stores a * a in 2 * count limbs apart from `a`; the count is even.
void ssh_limbs_square(SshLimb *out, const SshLimb *a, size_t count);

// ssh_limbs_divide divides the `count` + 1 limbs at `number` by the v_count <= count limbs at `v`,
// the highest of which has its top bit set. It leaves the remainder in the low v_count limbs of
// `number` and 0 above, and stores count - v_count + 1 limbs of quotient unless that is null.
void ssh_limbs_divide(SshLimb *number, size_t count, const SshLimb *v, size_t v_count,
                      SshLimb *quotient);
