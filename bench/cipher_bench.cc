// Ciphers in CBC: 16 KiB under a key that is in place, beside OpenSSL. Times are for one byte.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <string>
#include <vector>

#include "bench.h"
#include "crypto/cipher.h"

namespace {

constexpr size_t kLength = 16384;
uint8_t result[kLength];

Bytes octets() {
  static const std::vector<uint8_t> made(kLength, 0x5A);
  return made;
}

struct Algorithm {
  const char *name, *openssl;
  size_t key;
};
constexpr Algorithm kDes = {"des", "DES-CBC", 8};
constexpr Algorithm kDes3 = {"3des", "DES-EDE3-CBC", 24};
constexpr Algorithm kBlowfish = {"blowfish", "BF-CBC", 16};
constexpr Algorithm kCast128 = {"cast128", "CAST5-CBC", 16};
constexpr uint8_t kKey[24] = {1, 2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31, 37, 41, 43, 47, 53, 59};

template <const Algorithm &Row, SshCipherDirection Direction>
bool ours(Bytes input) {
  static SshCipher cipher;
  static const bool good =
      ssh_cipher_init(&cipher, Row.name, "cbc", Bytes(kKey).first(Row.key), Direction);
  return good && ssh_cipher_transform(&cipher, input, result);
}

EVP_CIPHER_CTX *keyed(const Algorithm &row, bool encrypt) {
  if (!OSSL_PROVIDER_load(nullptr, "legacy") || !OSSL_PROVIDER_load(nullptr, "default"))
    return nullptr;
  EVP_CIPHER *cipher = EVP_CIPHER_fetch(nullptr, row.openssl, nullptr);
  EVP_CIPHER_CTX *context = EVP_CIPHER_CTX_new();
  const bool good = EVP_CipherInit_ex2(context, cipher, kKey, kKey, encrypt, nullptr) == 1 &&
                    EVP_CIPHER_CTX_get_key_length(context) == static_cast<int>(row.key) &&
                    EVP_CIPHER_CTX_set_padding(context, 0) == 1;
  EVP_CIPHER_free(cipher);
  if (good) return context;
  EVP_CIPHER_CTX_free(context);
  return nullptr;
}

template <const Algorithm &Row, SshCipherDirection Direction>
bool openssl(Bytes input) {
  static EVP_CIPHER_CTX *const context = keyed(Row, Direction == SSH_CIPHER_ENCRYPT);
  int written = 0;
  return context &&
         EVP_CipherUpdate(context, result, &written, input.data(),
                          static_cast<int>(input.size())) == 1 &&
         written == static_cast<int>(input.size());
}

bool copy(Bytes input) {
  std::memcpy(result, input.data(), input.size());
  benchmark::ClobberMemory();
  return true;
}

template <const Algorithm &Row, SshCipherDirection Direction>
constexpr SshBenchCase kCases[] = {
    {kBenchFloor, "copies the octets", copy},
    {kBenchOurs, "", ours<Row, Direction>},
    {"openssl", "", openssl<Row, Direction>},
};

template <const Algorithm &Row>
void add() {
  const std::string topic = Row.name + std::string("-cbc");
  ssh_bench_add(topic, octets, kLength, kCases<Row, SSH_CIPHER_ENCRYPT>);
  ssh_bench_add(topic + "-decrypt", octets, kLength, kCases<Row, SSH_CIPHER_DECRYPT>);
}

}  // namespace

void ssh_bench_add_cipher() {
  add<kDes>();
  add<kDes3>();
  add<kBlowfish>();
  add<kCast128>();
}
