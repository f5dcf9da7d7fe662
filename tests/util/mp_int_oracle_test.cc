// Arithmetic and decimals against OpenSSL.
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/crypto.h>

#include <chrono>
#include <memory>

#include "util/mp_int_samples.h"

namespace {

using namespace mp_int;

using Number = std::unique_ptr<BIGNUM, decltype(&BN_free)>;

// bignum reads the magnitude and sign into the independent implementation.
Number bignum(const SshMpInt &value) {
  const Bytes octets = value.magnitude();
  Number number(BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr), BN_free);
  BN_set_negative(number.get(), value.negative());
  return number;
}

std::string peer_decimal(const SshMpInt &value) {
  const std::unique_ptr<char, void (*)(char *)> text(BN_bn2dec(bignum(value).get()),
                                                     [](char *p) { OPENSSL_free(p); });
  return text.get();
}

// Compare, halve, bits and decimals against the independent implementation, around the inline size.
TEST(MpInt, AgreesWithAnIndependentImplementation) {
  std::mt19937 random(2);
  for (int i = 0; i < 3000; ++i) {
    SshMpInt a = random_int(random, i % 50 == 0 ? 700 : 30);
    const SshMpInt b = random_int(random, 30);
    const Number peer_a = bignum(a), peer_b = bignum(b);
    const auto sign = [](int order) { return (order > 0) - (order < 0); };
    ASSERT_EQ(sign(a.compare(b)), sign(BN_cmp(peer_a.get(), peer_b.get())));
    ASSERT_EQ(a.bits(), static_cast<size_t>(BN_num_bits(peer_a.get())));
    ASSERT_EQ(decimal(a), peer_decimal(a));
    BN_rshift1(peer_a.get(), peer_a.get());
    a.halve();
    ASSERT_EQ(BN_cmp(bignum(a).get(), peer_a.get()), 0);
    ASSERT_TRUE(a.is_zero() ? !a.negative() : a.magnitude()[0] != 0);
  }
}

TEST(MpInt, LargeDecimals) {
  std::vector<uint8_t> octets(SSH_MP_DECIMAL_MAX, 0xFE);
  SshMpInt value;
  value.set_magnitude(octets, true);
  const auto start = std::chrono::steady_clock::now();
  const std::string text = decimal(value);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(text, peer_decimal(value));
  EXPECT_LT(seconds.count(), 5) << "a few tenths of a second without sanitizers";

  octets.push_back(0);
  value.set_magnitude(octets);
  EXPECT_EQ(value.to_decimal(), nullptr);
}

}  // namespace
