#include "crypto/mp_math.h"

#include <gtest/gtest.h>

#include "crypto/montgomery.h"
#include "crypto/numbers.h"

namespace {

using namespace numbers;

SshMpInt mod(const SshMpInt &a, const SshMpInt &m) {
  SshMpInt out(-1);
  EXPECT_TRUE(ssh_mp_mod(a, m, &out)) << text(m);
  return out;
}

// slow_power squares and multiplies without any of what makes the tested one fast.
SshMpInt slow_power(const SshMpInt &base, const SshMpInt &exponent, const SshMpInt &m) {
  SshMpInt result(1);
  for (const uint8_t octet : exponent.magnitude()) {
    for (int bit = 7; bit >= 0; --bit) {
      result = mod(ssh_mp_mul(result, result), m);
      if (octet >> bit & 1) result = mod(ssh_mp_mul(result, base), m);
    }
  }
  return mod(result, m);
}

Octets secret_power(const SshMontgomery &field, const SshMpInt &base, const Octets &exponent) {
  Octets out(field.octets() + 1, 0x5A);
  field.power_secret(base, exponent, out.data());
  EXPECT_EQ(out.back(), 0x5A) << "written behind the octets of the modulus";
  out.pop_back();
  return out;
}

// check_division holds results against what defines them: with a = quotient * b + rest, the rest is
// below b and has the sign of a, and the residue modulo |b| is never negative.
void check_division(const SshMpInt &a, const SshMpInt &b) {
  SCOPED_TRACE(text(a) + " / " + text(b));
  const SshMpInt size = number(b.magnitude());
  SshMpInt quotient, rest, x = a, y = b;
  ASSERT_TRUE(ssh_mp_divide(a, b, &quotient, &rest));
  ASSERT_EQ(ssh_mp_add(ssh_mp_mul(quotient, b), rest), a);
  ASSERT_TRUE(rest.is_zero() || rest.negative() == a.negative());
  ASSERT_LT(number(rest.magnitude()).compare(size), 0);
  ASSERT_EQ(mod(a, size), rest.negative() ? ssh_mp_add(rest, size) : rest);
  ASSERT_TRUE(ssh_mp_divide(x, y, nullptr, nullptr));
  ASSERT_TRUE(ssh_mp_divide(x, y, &y, &x)) << "the outputs may be the operands";
  ASSERT_TRUE(x == rest && y == quotient);
}

// The identities that define the results, over words that make carries and wrong estimates.
TEST(MpMath, Identities) {
  // The estimate of a quotient's limb is one too high, for limbs of 32 and of 64 bits.
  check_division(number("7fffffff800000000000000000000000"), number("800000000000000000000001"));
  check_division(number("7fffffffffffffff800000000000000000000000000000000000000000000000"),
                 number("800000000000000000000000000000000000000000000001"));
  std::mt19937 random(3);
  for (int i = 0; i < 6000; ++i) {
    const SshMpInt a = random_number(random, 70), b = random_number(random, 40);
    const SshMpInt c = random_number(random, 40);
    ASSERT_EQ(ssh_mp_sub(ssh_mp_add(a, b), b), a);
    ASSERT_EQ(ssh_mp_mul(ssh_mp_add(a, b), c), ssh_mp_add(ssh_mp_mul(a, c), ssh_mp_mul(c, b)));
    if (b.is_zero()) continue;
    ASSERT_NO_FATAL_FAILURE(check_division(a, b));
    if (i % 4 != 0) continue;
    const SshMpInt common = ssh_mp_gcd(a, b), size = number(b.magnitude());
    SCOPED_TRACE(text(a) + " " + text(b));
    ASSERT_TRUE(mod(a, common).is_zero() && mod(b, common).is_zero());
    SshMpInt inverse, left, right;
    ASSERT_EQ(ssh_mp_inverse(a, size, &inverse), common == SshMpInt(1) && size.bits() > 1);
    // It is the greatest if what remains without it has an inverse, and so no common divisor.
    ASSERT_TRUE(ssh_mp_divide(a, common, &left, nullptr));
    ASSERT_TRUE(ssh_mp_divide(size, common, &right, nullptr));
    if (right == SshMpInt(1)) continue;
    ASSERT_TRUE(ssh_mp_inverse(left, right, &inverse));
    ASSERT_EQ(mod(ssh_mp_mul(left, inverse), right), SshMpInt(1));
    ASSERT_TRUE(!inverse.negative() && inverse.compare(right) < 0);
  }
}

TEST(MpMath, WhatHasNoResultIsRefusedAndStoresNothing) {
  SshMpInt a(77), b(77);
  EXPECT_FALSE(ssh_mp_divide(SshMpInt(5), SshMpInt(0), &a, &b));
  for (const int64_t modulus : {0, -1, -5}) EXPECT_FALSE(ssh_mp_mod(a, SshMpInt(modulus), &a));
  const int64_t no_inverse[][2] = {{0, 7}, {6, 9}, {3, 1}, {3, 0}, {3, -7}, {0, 1}};
  for (const auto &[value, m] : no_inverse) {
    EXPECT_FALSE(ssh_mp_inverse(SshMpInt(value), SshMpInt(m), &a)) << value << " " << m;
  }
  const SshMpInt above = ones(SSH_MP_BITS_MAX + 1);
  EXPECT_FALSE(ssh_mp_divide(above, SshMpInt(3), &a, nullptr));
  EXPECT_FALSE(ssh_mp_mod(SshMpInt(1), above, &a));
  EXPECT_FALSE(ssh_mp_inverse(SshMpInt(2), above, &a));
  EXPECT_TRUE(a == SshMpInt(77) && b == a);
  EXPECT_TRUE(ssh_mp_gcd(SshMpInt(0), SshMpInt(0)).is_zero());
  EXPECT_EQ(ssh_mp_gcd(SshMpInt(-5), SshMpInt(0)), SshMpInt(5));
}

TEST(MpMath, OperandsOfAbsurdLengthGiveNothing) {
  const SshMpInt most = ones(SSH_MP_BITS_MAX), above = ones(SSH_MP_BITS_MAX + 1), one(1);
  EXPECT_EQ(ssh_mp_mul(most, most).bits(), 2 * SSH_MP_BITS_MAX);
  EXPECT_EQ(ssh_mp_add(most, one).bits(), SSH_MP_BITS_MAX + 1);
  EXPECT_EQ(ssh_mp_gcd(most, ssh_mp_sub(most, one)), one);
  SshMontgomery field;
  ASSERT_TRUE(field.init(SshMpInt(1001)));
  EXPECT_EQ(field.power(most, one), mod(most, SshMpInt(1001)));
  const SshMpInt exponent = ones(SSH_MONTGOMERY_BITS_MAX + 1);
  for (const SshMpInt &value :
       {ssh_mp_add(above, one), ssh_mp_sub(one, above), ssh_mp_mul(above, one),
        ssh_mp_gcd(one, above), field.power(above, one), field.power(SshMpInt(2), exponent),
        field.power2(one, one, one, exponent)})
    EXPECT_TRUE(value.is_zero());
  EXPECT_EQ(secret_power(field, above, {1}), Octets(2, 0));
}

TEST(Montgomery, ModuliAreOddAboveOneAndOfALengthThatIsUsed) {
  SshMontgomery field;
  for (const char *text : {"0", "1", "-7", "10000000000000000"})
    EXPECT_FALSE(field.init(number(text))) << text;
  EXPECT_FALSE(field.init(ones(SSH_MONTGOMERY_BITS_MAX + 1)));
  ASSERT_TRUE(field.init(ones(SSH_MONTGOMERY_BITS_MAX)));
  EXPECT_EQ(field.octets(), SSH_MONTGOMERY_BITS_MAX / 8);
  // 2^(2^16) modulo 2^16384 - 1: 65536 is a multiple of 16384.
  EXPECT_EQ(field.power(SshMpInt(2), SshMpInt(0x10000)), SshMpInt(1));
  ASSERT_TRUE(field.init(SshMpInt(3))) << "an object takes another modulus";
  EXPECT_EQ(field.octets(), 1U);
  EXPECT_EQ(field.power(SshMpInt(5), SshMpInt(3)), SshMpInt(2));
}

TEST(Montgomery, PowersAreThoseOfRepeatedMultiplication) {
  std::mt19937 random(4);
  // Exponents on both sides of every change of the window, and those of RSA keys.
  const size_t exponent_bits[] = {0, 1, 2, 17, 23, 24, 79, 80, 239, 240, 671, 672, 700};
  for (size_t i = 0; i < 260; ++i) {
    const size_t most = i % 20 == 5 ? 260 : i % 3 == 0 ? 9 : 70;
    const SshMpInt m = i % 8 == 0 ? number("10000000000000001") : random_modulus(random, most);
    const SshMpInt bases[] = {SshMpInt(0), SshMpInt(-1), ssh_mp_sub(m, SshMpInt(1)),
                              number(m.magnitude(), true)};
    const SshMpInt base = i % 9 < 4 ? bases[i % 9] : random_number(random, 90);
    const SshMpInt other = random_number(random, 90), second = random_number(random, 30, false);
    const SshMpInt exponent = i % 7 < 2 ? ones(exponent_bits[i % std::size(exponent_bits)])
                                        : random_number(random, i % 90, false);
    SCOPED_TRACE(text(base) + "^" + text(exponent) + " mod " + text(m));
    SshMontgomery field;
    ASSERT_TRUE(field.init(m));
    const SshMpInt slow = slow_power(base, exponent, m);
    const SshMpInt both = mod(ssh_mp_mul(slow, slow_power(other, second, m)), m);
    ASSERT_EQ(field.power(base, exponent), slow);
    ASSERT_EQ(field.power2(base, exponent, other, second), both);
    ASSERT_EQ(field.power2(other, second, base, exponent), both);
    const Octets octets = padded(exponent, 0), wanted = padded(slow, field.octets());
    ASSERT_EQ(secret_power(field, base, octets), wanted);
    ASSERT_EQ(secret_power(field, base, join({{0, 0, 0}, octets})), wanted);
  }
}

}  // namespace
