// Ciphers against OpenSSL over random keys of every length and data, whole and in pieces.
#include <openssl/evp.h>
#include <openssl/provider.h>

#include "crypto/cipher.h"
#include "support/numbers.h"
#include "support/test.h"

namespace {

using namespace numbers;

// theirs is empty if OpenSSL refused anything.
Octets theirs(const std::string &name, bool encrypt, Bytes key, Bytes iv, Bytes data) {
  const Owner<EVP_CIPHER, EVP_CIPHER_free> cipher(EVP_CIPHER_fetch(nullptr, name.c_str(), nullptr));
  const Owner<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free> context(EVP_CIPHER_CTX_new());
  EVP_CIPHER_CTX *c = context.get();
  Octets out(data.size() + EVP_MAX_BLOCK_LENGTH);
  int written = 0;
  const bool good =
      EVP_CipherInit_ex(c, cipher.get(), nullptr, nullptr, nullptr, encrypt) == 1 &&
      EVP_CIPHER_CTX_set_key_length(c, static_cast<int>(key.size())) == 1 &&
      EVP_CipherInit_ex(c, nullptr, nullptr, key.data(), iv.data(), encrypt) == 1 &&
      EVP_CIPHER_CTX_set_padding(c, 0) == 1 &&
      EVP_CipherUpdate(c, out.data(), &written, data.data(), static_cast<int>(data.size())) == 1;
  out.resize(good ? static_cast<size_t>(written) : 0);
  return out;
}

// ours works in place, on any address, on pieces shorter than `limit`.
Octets ours(SshCipher *cipher, std::mt19937 &random, size_t limit, size_t grain,
            const Octets &data) {
  const size_t begin = random() % 8;
  Octets work = join({Octets(begin), data});
  for (size_t at = begin; at < work.size();) {
    const size_t piece = std::min(random() % limit / grain * grain, work.size() - at);
    EXPECT_TRUE(ssh_cipher_transform(cipher, Bytes(work).subspan(at, piece), &work[at]));
    at += piece;
  }
  work.erase(work.begin(), work.begin() + static_cast<ptrdiff_t>(begin));
  return work;
}

}  // namespace

TEST(CipherOracle, AgreesInEveryModeAndKeyLengthAndAtAnySplit) {
  const std::tuple<const char *, const char *, size_t, size_t> rows[] = {
      {"des", "des-", 8, 8},
      {"3des", "des-ede-", 16, 16},
      {"3des", "des-ede3-", 24, 24},
      {"blowfish", "bf-", 1, 56},
      {"cast128", "cast5-", 5, 16}};
  const std::pair<const char *, size_t> modes[] = {{"ecb", 8}, {"cbc", 8}, {"cfb", 1}, {"ofb", 1}};
  const Owner<OSSL_PROVIDER, OSSL_PROVIDER_unload> legacy(
      OSSL_PROVIDER_try_load(nullptr, "legacy", true));  // beside the usual one
  std::mt19937 random(144);
  for (const auto &[name, openssl, least, most] : rows) {
    for (const auto &[mode, grain] : modes) {
      for (size_t i = 0; i < 200; ++i) {
        const Octets key = random_octets(random, least + i % (most - least + 1)),
                     iv = random_octets(random, 8),
                     data = random_octets(random, (1 + random() % 200) * grain);
        for (const auto direction : {SSH_CIPHER_ENCRYPT, SSH_CIPHER_DECRYPT}) {
          SshCipher own;
          ASSERT_TRUE(ssh_cipher_init(&own, name, mode, key, direction));
          const Octets want =
              theirs(openssl + std::string(mode), direction == SSH_CIPHER_ENCRYPT, key, iv, data);
          for (const size_t limit : {12u, 40u, 5000u}) {
            ASSERT_TRUE(ssh_cipher_set_iv(&own, iv)) << "a message after one that ended anywhere";
            ASSERT_EQ(hex(ours(&own, random, limit, grain, data)), hex(want))
                << openssl << mode << ", key " << hex(key) << ", direction " << direction;
          }
        }
      }
    }
  }
}
