// Ciphers against OpenSSL over random keys of every length and data; Blowfish's figures against pi.
#include "crypto/cipher.h"

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <random>
#include <string>
#include <vector>

#include "crypto/cipher_rows.h"
#include "support/hex.h"
#include "util/owner.h"

namespace {

using Octets = std::vector<uint8_t>;

using Number = Owner<BIGNUM, BN_free>;
using Context = Owner<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using Library = Owner<OSSL_LIB_CTX, OSSL_LIB_CTX_free>;
using Provider = Owner<OSSL_PROVIDER, OSSL_PROVIDER_unload>;
using Cipher = Owner<EVP_CIPHER, EVP_CIPHER_free>;

Octets random_octets(std::mt19937 &random, size_t size) {
  Octets octets(size);
  for (uint8_t &octet : octets) octet = static_cast<uint8_t>(random());
  return octets;
}

// theirs is empty if OpenSSL refused anything.
Octets theirs(const EVP_CIPHER *cipher, bool encrypt, const Octets &key, const Octets &iv,
              const Octets &data) {
  const Context context(EVP_CIPHER_CTX_new());
  Octets out(data.size() + EVP_MAX_BLOCK_LENGTH);
  int written = 0;
  if (EVP_CipherInit_ex(context.get(), cipher, nullptr, nullptr, nullptr, encrypt) != 1 ||
      EVP_CIPHER_CTX_set_key_length(context.get(), static_cast<int>(key.size())) != 1 ||
      EVP_CipherInit_ex(context.get(), nullptr, nullptr, key.data(), iv.data(), encrypt) != 1 ||
      EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1 ||
      EVP_CipherUpdate(context.get(), out.data(), &written, data.data(),
                       static_cast<int>(data.size())) != 1) {
    return {};
  }
  out.resize(static_cast<size_t>(written));
  return out;
}

// ours feeds the data in pieces of random lengths.
Octets ours(SshCipher *cipher, std::mt19937 &random, size_t grain, const Octets &data) {
  Octets out(data.size());
  for (size_t at = 0; at < data.size();) {
    const size_t piece = std::min(random() % 40 / grain * grain, data.size() - at);
    EXPECT_TRUE(ssh_cipher_transform(cipher, Bytes(data).subspan(at, piece), out.data() + at));
    at += piece;
  }
  return out;
}

// arctangent of 1 / x, as a whole number of 1 / unity.
Number arctangent(unsigned x, const Number &unity) {
  Number term(BN_dup(unity.get())), sum(BN_new()), part(BN_new());
  BN_div_word(term.get(), x);
  bool plus = true;
  for (unsigned n = 1; !BN_is_zero(term.get()); n += 2, plus = !plus) {
    BN_copy(part.get(), term.get());
    BN_div_word(part.get(), n);
    (plus ? BN_add : BN_sub)(sum.get(), sum.get(), part.get());
    BN_div_word(term.get(), x * x);
  }
  return sum;
}

}  // namespace

TEST(CipherOracle, AgreesInEveryModeAndKeyLength) {
  const struct {
    const char *name, *openssl;
    size_t least, most;
  } rows[] = {{"des", "DES", 8, 8},
              {"3des", "DES-EDE", 16, 16},
              {"3des", "DES-EDE3", 24, 24},
              {"blowfish", "BF", 1, 56},
              {"cast128", "CAST5", 5, 16}};
  const struct {
    const char *name, *openssl;
    size_t grain;
  } modes[] = {{"ecb", "ECB", 8}, {"cbc", "CBC", 8}, {"cfb", "CFB", 1}, {"ofb", "OFB", 1}};
  const Library library(OSSL_LIB_CTX_new());
  const Provider legacy(OSSL_PROVIDER_load(library.get(), "legacy"));
  const Provider usual(OSSL_PROVIDER_load(library.get(), "default"));
  ASSERT_TRUE(legacy && usual);
  std::mt19937 random(144);
  for (const auto &row : rows) {
    for (const auto &mode : modes) {
      const Cipher cipher(EVP_CIPHER_fetch(
          library.get(), (row.openssl + std::string("-") + mode.openssl).c_str(), nullptr));
      ASSERT_TRUE(cipher) << row.openssl << mode.openssl;
      const size_t lengths = row.most - row.least + 1;
      for (size_t i = 0; i < (lengths < 50 ? 200 : 2 * lengths); ++i) {
        const Octets key = random_octets(random, row.least + i % lengths),
                     iv = random_octets(random, 8);
        const Octets data = random_octets(random, (1 + random() % 200) * mode.grain);
        for (const auto direction : {SSH_CIPHER_ENCRYPT, SSH_CIPHER_DECRYPT}) {
          SshCipher own;
          ASSERT_TRUE(ssh_cipher_init(&own, row.name, mode.name, key, direction));
          ASSERT_TRUE(ssh_cipher_set_iv(&own, iv));
          const Octets want = theirs(cipher.get(), direction == SSH_CIPHER_ENCRYPT, key, iv, data);
          ASSERT_EQ(hex(ours(&own, random, mode.grain, data)), hex(want))
              << row.openssl << "-" << mode.openssl << ", key " << hex(key) << ", direction "
              << direction;
        }
      }
    }
  }
}

// pi / 4 = 4 arctan(1/5) - arctan(1/239) (J. Machin). The spare bits take up what divisions lose.
TEST(CipherOracle, BlowfishStartsWithPi) {
  constexpr int kBits = 32 * SSH_CIPHER_SCHEDULE_MAX, kSpare = 64;
  const Number unity(BN_new());
  BN_set_bit(unity.get(), kBits + kSpare);
  const Number fifth = arctangent(5, unity), other = arctangent(239, unity);
  BN_mul_word(fifth.get(), 4);
  BN_sub(fifth.get(), fifth.get(), other.get());
  BN_mul_word(fifth.get(), 4);
  BN_mask_bits(fifth.get(), kBits + kSpare);  // the fraction
  BN_rshift(fifth.get(), fifth.get(), kSpare);
  Octets digits(kBits / 8);
  ASSERT_EQ(BN_bn2binpad(fifth.get(), digits.data(), kBits / 8), kBits / 8);
  for (size_t i = 0; i < SSH_CIPHER_SCHEDULE_MAX; ++i) {
    ASSERT_EQ(SSH_BLOWFISH_START[i], ssh_load_be32(&digits[4 * i])) << i;
  }
}
