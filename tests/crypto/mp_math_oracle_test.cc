// Multiple-precision arithmetic against OpenSSL, over words that make carries and wrong estimates.
#include <gtest/gtest.h>
#include <openssl/bn.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "crypto/montgomery.h"
#include "crypto/mp_math.h"
#include "crypto/mp_math_samples.h"

namespace {

using namespace mp_math;

using Number = std::unique_ptr<BIGNUM, decltype(&BN_free)>;

Number blank() { return {BN_new(), BN_free}; }

Number bignum(const SshMpInt &value) {
  const Bytes octets = value.magnitude();
  Number out(BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr), BN_free);
  BN_set_negative(out.get(), value.negative());
  return out;
}

std::string text(const Number &value) {
  std::vector<uint8_t> octets(static_cast<size_t>(BN_num_bytes(value.get())));
  BN_bn2bin(value.get(), octets.data());
  return (BN_is_negative(value.get()) ? "-" : "") + hex(octets);
}
using mp_math::text;

class MpMathOracle : public testing::Test {
 protected:
  std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> context_{BN_CTX_new(), BN_CTX_free};
  Number x_ = blank(), y_ = blank();
  std::mt19937 random_{5};
};

TEST_F(MpMathOracle, Arithmetic) {
  for (int i = 0; i < 20000; ++i) {
    const size_t most = i % 100 == 0 ? 600 : 48;
    const SshMpInt a = random_number(random_, most),
                   b = random_number(random_, most / 2 + random_() % 32);
    const Number peer_a = bignum(a), peer_b = bignum(b);
    BN_add(x_.get(), peer_a.get(), peer_b.get());
    ASSERT_EQ(text(ssh_mp_add(a, b)), text(x_)) << text(a) << " " << text(b);
    BN_sub(x_.get(), peer_a.get(), peer_b.get());
    ASSERT_EQ(text(ssh_mp_sub(a, b)), text(x_)) << text(a) << " " << text(b);
    BN_mul(x_.get(), peer_a.get(), peer_b.get(), context_.get());
    ASSERT_EQ(text(ssh_mp_mul(a, b)), text(x_)) << text(a) << " " << text(b);
    BN_gcd(x_.get(), peer_a.get(), peer_b.get(), context_.get());
    ASSERT_EQ(text(ssh_mp_gcd(a, b)), text(x_)) << text(a) << " " << text(b);
    if (b.is_zero()) continue;
    SshMpInt quotient, rest;
    ASSERT_TRUE(ssh_mp_divide(a, b, &quotient, &rest));
    BN_div(x_.get(), y_.get(), peer_a.get(), peer_b.get(), context_.get());
    ASSERT_EQ(text(quotient), text(x_)) << text(a) << " " << text(b);
    ASSERT_EQ(text(rest), text(y_)) << text(a) << " " << text(b);
    if (b.negative()) continue;
    ASSERT_TRUE(ssh_mp_mod(a, b, &rest));
    BN_nnmod(x_.get(), peer_a.get(), peer_b.get(), context_.get());
    ASSERT_EQ(text(rest), text(x_)) << text(a) << " " << text(b);
    // OpenSSL takes 0 for an inverse modulo 1.
    const bool exists =
        b.bits() > 1 && BN_mod_inverse(x_.get(), peer_a.get(), peer_b.get(), context_.get());
    ASSERT_EQ(ssh_mp_inverse(a, b, &rest), exists) << text(a) << " " << text(b);
    if (!exists) continue;
    ASSERT_EQ(text(rest), text(x_)) << text(a) << " " << text(b);
  }
}

// Lengths of keys and all those around a limb or two, the modulus often all ones or nearly so.
TEST_F(MpMathOracle, Powers) {
  for (int i = 0; i < 1500; ++i) {
    const size_t most = i % 100 == 0 ? 260 : i % 10 == 0 ? 80 : 34;
    const SshMpInt m = random_modulus(random_, most);
    const SshMpInt b1 = random_number(random_, most + 8), b2 = random_number(random_, most + 8);
    const SshMpInt e1 = random_number(random_, most + 8, false);
    const SshMpInt e2 = random_number(random_, most, false);
    SshMontgomery field;
    ASSERT_TRUE(field.init(m));
    const Number peer_m = bignum(m);
    BN_nnmod(y_.get(), bignum(b1).get(), peer_m.get(), context_.get());
    BN_mod_exp_mont(x_.get(), y_.get(), bignum(e1).get(), peer_m.get(), context_.get(), nullptr);
    const auto shown = [&] { return text(b1) + "^" + text(e1) + " mod " + text(m); };
    ASSERT_EQ(text(field.power(b1, e1)), text(x_)) << shown();

    std::vector<uint8_t> secret(field.octets()), peer_secret(field.octets());
    field.power_secret(b1, e1.magnitude(), secret.data());
    BN_bn2binpad(x_.get(), peer_secret.data(), static_cast<int>(peer_secret.size()));
    ASSERT_EQ(hex(secret), hex(peer_secret)) << shown();

    BN_nnmod(y_.get(), bignum(b2).get(), peer_m.get(), context_.get());
    BN_mod_exp_mont(y_.get(), y_.get(), bignum(e2).get(), peer_m.get(), context_.get(), nullptr);
    BN_mod_mul(x_.get(), x_.get(), y_.get(), peer_m.get(), context_.get());
    ASSERT_EQ(text(field.power2(b1, e1, b2, e2)), text(x_)) << shown() << " and " << text(b2);
  }
}

}  // namespace
