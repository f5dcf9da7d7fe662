#include "crypto/mp_math.h"

#include "crypto/montgomery.h"
#include "support/numbers.h"
#include "support/test.h"

namespace {

using namespace numbers;

SshMpInt mod(const SshMpInt &a, const SshMpInt &m) {
  SshMpInt out(-1);
  EXPECT_TRUE(ssh_mp_mod(a, m, &out)) << text(m);
  return out;
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
  const SshMpInt most = ones(SSH_MP_BITS_MAX), above = ones(SSH_MP_BITS_MAX + 1), one(1), five(5);
  EXPECT_FALSE(ssh_mp_divide(five, SshMpInt(0), &a, &b));
  EXPECT_FALSE(ssh_mp_divide(above, five, &a, nullptr));
  for (const SshMpInt &m : {SshMpInt(0), SshMpInt(-5), above}) {
    EXPECT_FALSE(ssh_mp_mod(a, m, &a));
    EXPECT_FALSE(ssh_mp_inverse(SshMpInt(2), m, &a));
  }
  for (const int64_t m : {9, 1}) EXPECT_FALSE(ssh_mp_inverse(SshMpInt(6), SshMpInt(m), &a));
  EXPECT_TRUE(a == SshMpInt(77) && b == a);
  EXPECT_EQ(ssh_mp_gcd(SshMpInt(-5), SshMpInt(0)), five);

  SshMontgomery field;
  for (const char *text : {"01", "-07", "010000000000000000"})
    EXPECT_FALSE(field.init(number(text))) << text;
  EXPECT_FALSE(field.init(ones(SSH_MONTGOMERY_BITS_MAX + 1)));
  ASSERT_TRUE(field.init(ones(SSH_MONTGOMERY_BITS_MAX)));
  ASSERT_TRUE(field.init(SshMpInt(1001))) << "an object takes another modulus";
  EXPECT_EQ(ssh_mp_mul(most, most).bits(), 2 * SSH_MP_BITS_MAX);
  EXPECT_EQ(field.power(most, one), mod(most, SshMpInt(1001)));
  const SshMpInt exponent = ones(SSH_MONTGOMERY_BITS_MAX + 1);
  for (const SshMpInt &value :
       {ssh_mp_add(above, one), ssh_mp_sub(one, above), ssh_mp_mul(above, one),
        ssh_mp_gcd(one, above), field.power(above, one), field.power(SshMpInt(2), exponent),
        field.power2(one, one, one, exponent)})
    EXPECT_TRUE(value.is_zero()) << "an operand of absurd length";
  EXPECT_EQ(secret_power(field, above, {1}), Octets(2, 0));
}

// One modulus for all windows: both kinds of exponent against each other and against squares.
TEST(Montgomery, PowersAgree) {
  std::mt19937 random(4);
  const SshMpInt m = number("f7b3c1d05a7e9b11ffffffffffffffff0000000000000001"),
                 base = random_number(random, 90), one(1);
  SshMontgomery field;
  ASSERT_TRUE(field.init(m));
  for (const size_t bits : {1u, 2u, 23u, 24u, 79u, 80u, 239u, 240u, 671u, 672u}) {
    const SshMpInt half = field.power(base, ones(bits - 1)), power = field.power(base, ones(bits));
    ASSERT_EQ(power, mod(ssh_mp_mul(mod(ssh_mp_mul(half, half), m), base), m)) << bits;
    ASSERT_EQ(field.power2(base, ones(bits - 1), power, one), mod(ssh_mp_mul(half, power), m));
    ASSERT_EQ(secret_power(field, base, join({{0, 0, 0}, padded(ones(bits), 0)})),
              padded(power, field.octets()));
  }
}

}  // namespace
