#include "crypto/mp_math.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "crypto/montgomery.h"
#include "crypto/mp_math_samples.h"

namespace {

using namespace mp_math;

// A prime of 768 bits for which 2 has the order (p - 1) / 2 (RFC 2409 6.1).
constexpr char kIkePrime[] =
    "FFFFFFFF FFFFFFFF C90FDAA2 2168C234 C4C6628B 80DC1CD1 29024E08 8A67CC74"
    "020BBEA6 3B139B22 514A0879 8E3404DD EF9519B3 CD3A431B 302B0A6D F25F1437"
    "4FE1356D 6D51C245 E485B576 625E7EC6 F44C42E9 A63A3620 FFFFFFFF FFFFFFFF";

// ones is 2^bits - 1.
SshMpInt ones(size_t bits) {
  std::vector<uint8_t> octets((bits + 7) / 8, 0xFF);
  if (bits % 8 != 0) octets[0] = static_cast<uint8_t>(0xFF >> (8 - bits % 8));
  SshMpInt value;
  value.set_magnitude(octets);
  return value;
}

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

std::string secret_power(const SshMontgomery &field, const SshMpInt &base, Bytes exponent) {
  std::vector<uint8_t> out(field.octets() + 1, 0x5A);
  field.power_secret(base, exponent, out.data());
  EXPECT_EQ(out.back(), 0x5A) << "written behind the octets of the modulus";
  out.pop_back();
  return hex(out);
}

// padded is the value as octets of the modulus's length.
std::string padded(const SshMpInt &value, size_t octets) {
  const std::string digits = hex(value.magnitude());
  return std::string(2 * octets - digits.size(), '0') + digits;
}

TEST(MpMath, SumsAndProducts) {
  const struct {
    const char *a, *b, *sum, *difference, *product;
  } rows[] = {
      {"0", "0", "", "", ""},
      {"5", "0", "05", "05", ""},
      {"0", "5", "05", "-05", ""},
      {"0", "-5", "-05", "05", ""},
      {"-5", "5", "", "-0a", "-19"},
      {"-5", "-7", "-0c", "02", "23"},
      {"7", "-9", "-02", "10", "-3f"},
      {"ffffffff", "1", "0100000000", "fffffffe", "ffffffff"},
      {"ffffffffffffffff", "1", "010000000000000000", "fffffffffffffffe", "ffffffffffffffff"},
      {"10000000000000000", "-1", "ffffffffffffffff", "010000000000000001", "-010000000000000000"},
      {"ffffffffffffffff", "ffffffffffffffff", "01fffffffffffffffe", "",
       "fffffffffffffffe0000000000000001"},
      {"-100000000000000000000000000000000", "ffffffffffffffffffffffffffffffff", "-01",
       "-01ffffffffffffffffffffffffffffffff",
       "-ffffffffffffffffffffffffffffffff00000000000000000000000000000000"},
  };
  for (const auto &row : rows) {
    const SshMpInt a = number(row.a), b = number(row.b);
    EXPECT_EQ(text(ssh_mp_add(a, b)), row.sum) << row.a << " + " << row.b;
    EXPECT_EQ(text(ssh_mp_sub(a, b)), row.difference) << row.a << " - " << row.b;
    EXPECT_EQ(text(ssh_mp_mul(a, b)), row.product) << row.a << " * " << row.b;
  }
}

TEST(MpMath, DivisionTruncatesAndResiduesDoNot) {
  const struct {
    const char *a, *b, *quotient, *remainder, *residue;  // of a modulo |b|
  } rows[] = {
      {"0", "3", "", "", ""},
      {"7", "3", "02", "01", "01"},
      {"-7", "3", "-02", "-01", "02"},
      {"7", "-3", "-02", "01", "01"},
      {"-7", "-3", "02", "-01", "02"},
      {"-6", "3", "-02", "", ""},
      {"2", "3", "", "02", "02"},
      {"-2", "10000000000000000", "", "-02", "fffffffffffffffe"},
      {"100000000000000000000000000000000", "10000000000000000", "010000000000000000", "", ""},
      {"ffffffffffffffffffffffffffffffff", "10000000000000000", "ffffffffffffffff",
       "ffffffffffffffff", "ffffffffffffffff"},
      // The estimate of a quotient's limb is one too high, for limbs of 32 and of 64 bits.
      {"7fffffff800000000000000000000000", "800000000000000000000001", "fffffffe",
       "7fffffffffffffff00000002", "7fffffffffffffff00000002"},
      {"7fffffffffffffff800000000000000000000000000000000000000000000000",
       "800000000000000000000000000000000000000000000001", "fffffffffffffffe",
       "7fffffffffffffffffffffffffffffff0000000000000002",
       "7fffffffffffffffffffffffffffffff0000000000000002"},
  };
  for (const auto &row : rows) {
    SshMpInt a = number(row.a), b = number(row.b), quotient, remainder;
    ASSERT_TRUE(ssh_mp_divide(a, b, &quotient, &remainder));
    EXPECT_EQ(text(quotient), row.quotient) << row.a << " / " << row.b;
    EXPECT_EQ(text(remainder), row.remainder) << row.a << " / " << row.b;
    SshMpInt size, residue;
    size.set_magnitude(b.magnitude());
    ASSERT_TRUE(ssh_mp_mod(a, size, &residue));
    EXPECT_EQ(text(residue), row.residue) << row.a << " mod " << row.b;
    ASSERT_TRUE(ssh_mp_divide(a, b, nullptr, nullptr));
    ASSERT_TRUE(ssh_mp_divide(a, b, &b, &a)) << "the outputs may be the operands";
    EXPECT_EQ(a, remainder);
    EXPECT_EQ(b, quotient);
  }
}

TEST(MpMath, WhatHasNoResultIsRefusedAndStoresNothing) {
  SshMpInt a(77), b(77);
  EXPECT_FALSE(ssh_mp_divide(SshMpInt(5), SshMpInt(0), &a, &b));
  for (const int64_t modulus : {0, -1, -5}) EXPECT_FALSE(ssh_mp_mod(a, SshMpInt(modulus), &a));
  const struct {
    int64_t a, m;
  } no_inverse[] = {{0, 7}, {7, 7}, {6, 9}, {4, 8}, {3, 1}, {3, 0}, {3, -7}, {0, 1}};
  for (const auto &row : no_inverse) {
    EXPECT_FALSE(ssh_mp_inverse(SshMpInt(row.a), SshMpInt(row.m), &a)) << row.a << " " << row.m;
  }
  EXPECT_EQ(a, SshMpInt(77));
  EXPECT_EQ(b, SshMpInt(77));
}

TEST(MpMath, DivisorsAndInverses) {
  const struct {
    const char *a, *b, *gcd;
  } divisors[] = {
      {"0", "0", ""},
      {"0", "-9", "09"},
      {"9", "0", "09"},
      {"-c", "12", "06"},
      {"10000000000000000", "c000000000000000", "4000000000000000"},
      {"ffffffffffffffffffffffffffffffff", "1fffffffffffffffe", "ffffffffffffffff"},
  };
  for (const auto &row : divisors) {
    EXPECT_EQ(text(ssh_mp_gcd(number(row.a), number(row.b))), row.gcd) << row.a << " " << row.b;
    EXPECT_EQ(text(ssh_mp_gcd(number(row.b), number(row.a))), row.gcd) << row.b << " " << row.a;
  }
  const struct {
    const char *a, *m, *inverse;
  } inverses[] = {
      {"3", "7", "05"},
      {"-3", "7", "02"},
      {"a", "7", "05"},
      {"3", "8", "03"},
      {"1", "2", "01"},
      {"2", "1ffffffffffffffff", "010000000000000000"},
      {"-1", "10000000000000000", "ffffffffffffffff"},
      {"10001", "fffffffffffffffffffffffffffffffc", "5555aaaa5555aaaa5555aaaa5555aaa9"},
  };
  for (const auto &row : inverses) {
    SshMpInt inverse;
    ASSERT_TRUE(ssh_mp_inverse(number(row.a), number(row.m), &inverse)) << row.a << " " << row.m;
    EXPECT_EQ(text(inverse), row.inverse) << row.a << " " << row.m;
  }
}

// The identities that define the results, over words that make carries and wrong estimates.
TEST(MpMath, Identities) {
  std::mt19937 random(3);
  for (int i = 0; i < 6000; ++i) {
    const SshMpInt a = random_number(random, 70), b = random_number(random, 40);
    const SshMpInt c = random_number(random, 40);
    ASSERT_EQ(ssh_mp_sub(ssh_mp_add(a, b), b), a);
    ASSERT_EQ(ssh_mp_mul(ssh_mp_add(a, b), c), ssh_mp_add(ssh_mp_mul(a, c), ssh_mp_mul(c, b)));
    if (b.is_zero()) continue;
    SshMpInt quotient, rest;
    ASSERT_TRUE(ssh_mp_divide(a, b, &quotient, &rest));
    ASSERT_EQ(ssh_mp_add(ssh_mp_mul(quotient, b), rest), a) << text(a) << " / " << text(b);
    ASSERT_TRUE(rest.is_zero() || rest.negative() == a.negative());
    rest.set_magnitude(std::vector<uint8_t>(rest.magnitude().begin(), rest.magnitude().end()));
    SshMpInt size;
    size.set_magnitude(b.magnitude());
    ASSERT_LT(rest.compare(size), 0) << text(a) << " / " << text(b);
    if (i % 4 != 0) continue;
    const SshMpInt common = ssh_mp_gcd(a, b);
    ASSERT_TRUE(mod(a, common).is_zero() && mod(b, common).is_zero());
    SshMpInt inverse;
    const bool found = ssh_mp_inverse(a, size, &inverse);
    ASSERT_EQ(found, common == SshMpInt(1) && size.bits() > 1) << text(a) << " " << text(b);
    if (!found) continue;
    ASSERT_EQ(mod(ssh_mp_mul(a, inverse), size), SshMpInt(1)) << text(a) << " " << text(b);
    ASSERT_TRUE(!inverse.negative() && inverse.compare(size) < 0);
  }
}

TEST(MpMath, OperandsOfAbsurdLengthAreRefused) {
  const SshMpInt most = ones(SSH_MP_BITS_MAX), above = ones(SSH_MP_BITS_MAX + 1), one(1);
  EXPECT_EQ(ssh_mp_mul(most, most).bits(), 2 * SSH_MP_BITS_MAX);
  EXPECT_EQ(ssh_mp_add(most, one).bits(), SSH_MP_BITS_MAX + 1);
  EXPECT_EQ(ssh_mp_gcd(most, ssh_mp_sub(most, one)), one);
  for (const SshMpInt &value : {ssh_mp_add(above, one), ssh_mp_sub(one, above),
                                ssh_mp_mul(above, one), ssh_mp_gcd(one, above)}) {
    EXPECT_TRUE(value.is_zero());
  }
  SshMpInt out(77);
  EXPECT_FALSE(ssh_mp_divide(above, SshMpInt(3), &out, nullptr));
  EXPECT_FALSE(ssh_mp_mod(one, above, &out));
  EXPECT_FALSE(ssh_mp_inverse(SshMpInt(2), above, &out));
  EXPECT_EQ(out, SshMpInt(77));

  SshMontgomery field;
  ASSERT_TRUE(field.init(SshMpInt(1001)));
  EXPECT_EQ(field.power(most, one), mod(most, SshMpInt(1001)));
  EXPECT_TRUE(field.power(above, one).is_zero());
  EXPECT_TRUE(field.power(SshMpInt(2), ones(SSH_MONTGOMERY_BITS_MAX + 1)).is_zero());
  EXPECT_TRUE(field.power2(one, one, one, ones(SSH_MONTGOMERY_BITS_MAX + 1)).is_zero());
  const uint8_t exponent[] = {1};
  EXPECT_EQ(secret_power(field, above, exponent), "0000");
}

TEST(Montgomery, ModuliAreOddAboveOneAndOfALengthThatIsUsed) {
  SshMontgomery field;
  for (const char *text : {"0", "1", "2", "-7", "10000000000000000", "fffffffffffffffe"}) {
    EXPECT_FALSE(field.init(number(text))) << text;
  }
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
  const size_t exponent_bits[] = {1, 2, 17, 23, 24, 79, 80, 239, 240, 671, 672, 700};
  for (int i = 0; i < 240; ++i) {
    const SshMpInt m = random_modulus(random, i % 3 == 0 ? 9 : 70);
    const SshMpInt base = i % 5 == 0 ? ssh_mp_sub(m, SshMpInt(1)) : random_number(random, 90);
    const SshMpInt other = random_number(random, 90);
    const size_t bits = exponent_bits[static_cast<size_t>(i) % std::size(exponent_bits)];
    const SshMpInt exponent = i % 7 == 0 ? ones(bits) : random_number(random, bits / 8 + 1, false);
    const SshMpInt second = random_number(random, 30, false);
    SshMontgomery field;
    ASSERT_TRUE(field.init(m));
    const SshMpInt slow = slow_power(base, exponent, m);
    const SshMpInt both = mod(ssh_mp_mul(slow, slow_power(other, second, m)), m);
    ASSERT_EQ(field.power(base, exponent), slow) << text(base) << "^" << text(exponent);
    ASSERT_EQ(field.power2(base, exponent, other, second), both) << text(m);
    ASSERT_EQ(field.power2(other, second, base, exponent), both) << text(m);
    const Bytes octets = exponent.magnitude();
    ASSERT_EQ(secret_power(field, base, octets), padded(slow, field.octets())) << text(m);
    std::vector<uint8_t> longer(3, 0);
    longer.insert(longer.end(), octets.begin(), octets.end());
    ASSERT_EQ(secret_power(field, base, longer), padded(slow, field.octets())) << text(m);
  }
}

TEST(Montgomery, SmallCases) {
  const struct {
    const char *base, *exponent, *power;  // modulo 2^64 + 1, one bit above a limb
  } rows[] = {
      {"0", "0", "01"},
      {"0", "5", ""},
      {"1", "ffffffffffffffffffff", "01"},
      {"7", "0", "01"},
      {"7", "1", "07"},
      {"2", "40", "010000000000000000"},
      {"2", "41", "ffffffffffffffff"},
      {"2", "80", "01"},
      {"-1", "3", "010000000000000000"},
      {"-10000000000000001", "2", ""},
      {"20000000000000005", "2", "09"},
  };
  SshMontgomery field;
  ASSERT_TRUE(field.init(number("10000000000000001")));
  EXPECT_EQ(field.octets(), 9U);
  for (const auto &row : rows) {
    const SshMpInt base = number(row.base), exponent = number(row.exponent), one(1);
    EXPECT_EQ(text(field.power(base, exponent)), row.power) << row.base << "^" << row.exponent;
    EXPECT_EQ(text(field.power2(one, one, base, exponent)), row.power) << row.base;
    EXPECT_EQ(secret_power(field, base, exponent.magnitude()), padded(number(row.power), 9));
  }
}

TEST(Montgomery, OrdersOfKnownGroups) {
  const struct {
    SshMpInt prime;
    int64_t base;
    bool half;  // whether the base is a square, so that half of p - 1 gives 1 too
  } rows[] = {
      {number(kIkePrime), 2, true}, {number(kIkePrime), -2, false}, {ones(127), 3, false},
      {ones(521), 3, false},        {ones(521), 2, true},           {ones(1279), 3, false},
  };
  for (const auto &row : rows) {
    SshMontgomery field;
    ASSERT_TRUE(field.init(row.prime));
    const SshMpInt one(1), base(row.base), order = ssh_mp_sub(row.prime, one);
    SshMpInt half = order;
    half.halve();
    EXPECT_EQ(field.power(base, order), one);
    EXPECT_EQ(field.power(base, half), row.half ? one : order);
    EXPECT_EQ(secret_power(field, base, half.magnitude()),
              padded(row.half ? one : order, field.octets()));
    EXPECT_EQ(field.power2(base, half, base, half), one);
    SshMpInt inverse;
    ASSERT_TRUE(ssh_mp_inverse(base, row.prime, &inverse));
    EXPECT_EQ(field.power(base, ssh_mp_sub(order, one)), inverse);
  }
}

}  // namespace
