// Arithmetic, encodings and decimals against OpenSSL.
#include <openssl/asn1.h>
#include <openssl/bn.h>
#include <openssl/crypto.h>

#include "support/numbers.h"
#include "support/test.h"

namespace {

using namespace numbers;

using Number = Owner<BIGNUM, BN_free>;

// bignum reads the magnitude and sign into the independent implementation.
Number bignum(const SshMpInt &value) {
  const Bytes octets = value.magnitude();
  Number number(BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr));
  BN_set_negative(number.get(), value.negative());
  return number;
}

std::string peer_decimal(const SshMpInt &value) {
  char *text = BN_bn2dec(bignum(value).get());
  const std::string decimal = text;
  OPENSSL_free(text);
  return decimal;
}

Octets twos_complement(const SshMpInt &value) {
  Octets content(value.twos_complement_length());
  value.write_twos_complement(content.data());
  return content;
}

std::string peer_twos_complement(const SshMpInt &value) {
  const Owner<ASN1_INTEGER, ASN1_INTEGER_free> integer(
      BN_to_ASN1_INTEGER(bignum(value).get(), nullptr));
  uint8_t der[1000], *end = der;
  const int length = i2d_ASN1_INTEGER(integer.get(), &end);
  return hex({der + 2, static_cast<size_t>(length) - 2});
}

TEST(MpIntOracle, AgreesWithAnIndependentImplementation) {
  std::mt19937 random(2);
  for (int i = 0; i < 3000; ++i) {
    SshMpInt a = random_number(random, i % 50 == 0 ? 700 : 30), back(i);
    const SshMpInt b = random_number(random, 40);
    const Number peer_a = bignum(a), peer_b = bignum(b);
    const auto sign = [](int order) { return (order > 0) - (order < 0); };
    ASSERT_EQ(sign(a.compare(b)), sign(BN_cmp(peer_a.get(), peer_b.get())));
    ASSERT_EQ(a.bits(), static_cast<size_t>(BN_num_bits(peer_a.get())));
    ASSERT_EQ(decimal(a), peer_decimal(a));
    ASSERT_EQ(hex(twos_complement(b)), peer_twos_complement(b));
    back.set_twos_complement(twos_complement(b));
    ASSERT_EQ(back, b);
    BN_rshift1(peer_a.get(), peer_a.get());
    a.halve();
    ASSERT_EQ(BN_cmp(bignum(a).get(), peer_a.get()), 0);
    ASSERT_TRUE(a.is_zero() ? !a.negative() : a.magnitude()[0] != 0);
  }
}

TEST(MpIntOracle, LargestDecimal) {
  std::vector<uint8_t> octets(SSH_MP_DECIMAL_MAX, 0xFE);
  SshMpInt value;
  value.set_magnitude(octets, true);
  EXPECT_EQ(decimal(value), peer_decimal(value));
  octets.push_back(0);
  value.set_magnitude(octets);
  EXPECT_EQ(value.to_decimal(), nullptr);
}

}  // namespace
