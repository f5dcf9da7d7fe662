// Arithmetic on multiple-precision integers: what keys and signatures need beyond comparing.
// Every function takes the numbers as bytes, works on limbs in one block of its own (mp_limbs.h
// has the loops) and puts bytes back; repeated multiplication modulo one number is montgomery.h.
// All of it is for public numbers: the time depends on the values.
#pragma once

#include "util/mp_int.h"

// SSH_MP_BITS_MAX is the longest operand taken. The time grows with the square of the length, and
// data can hold numbers of any length: a longer one serves no key and gives false or 0.
constexpr size_t SSH_MP_BITS_MAX = 0x10000;

// ssh_mp_add returns a + b.
[[nodiscard]] SshMpInt ssh_mp_add(const SshMpInt &a, const SshMpInt &b);

// ssh_mp_sub returns a - b.
[[nodiscard]] SshMpInt ssh_mp_sub(const SshMpInt &a, const SshMpInt &b);

// ssh_mp_mul returns a * b.
[[nodiscard]] SshMpInt ssh_mp_mul(const SshMpInt &a, const SshMpInt &b);

// ssh_mp_divide stores the quotient, truncated towards 0, and the remainder, which has the sign of
// `a`. Either output may be null, and may be `a` or `b` itself. It returns false and stores nothing
// if `b` is 0.
[[nodiscard]] bool ssh_mp_divide(const SshMpInt &a, const SshMpInt &b, SshMpInt *quotient,
                                 SshMpInt *remainder);

// ssh_mp_mod stores the least non-negative residue of `a` modulo `m`. It returns false and stores
// nothing unless m > 0.
[[nodiscard]] bool ssh_mp_mod(const SshMpInt &a, const SshMpInt &m, SshMpInt *out);

// ssh_mp_gcd returns the greatest common divisor, never negative; gcd(0, 0) is 0.
[[nodiscard]] SshMpInt ssh_mp_gcd(const SshMpInt &a, const SshMpInt &b);

// ssh_mp_inverse stores the x with 0 < x < m and a * x = 1 modulo `m`. It returns false and stores
// nothing if there is none, or if m < 2.
[[nodiscard]] bool ssh_mp_inverse(const SshMpInt &a, const SshMpInt &m, SshMpInt *out);
