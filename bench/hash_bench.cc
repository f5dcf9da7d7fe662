// Hash functions: the digest of 16 KiB.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <mbedtls/md5.h>
#include <mbedtls/sha1.h>
#include <mbedtls/sha256.h>
#include <openssl/md5.h>
#include <openssl/sha.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <numeric>
#include <vector>

#include "bench.h"
#include "crypto/hash.h"

namespace {

constexpr size_t kOctets = 16384;

Bytes input() {
  static const std::vector<uint8_t> octets = [] {
    std::vector<uint8_t> made(kOctets);
    std::iota(made.begin(), made.end(), uint8_t{0});
    return made;
  }();
  return octets;
}

bool copy(Bytes data) {
  static std::vector<uint8_t> out(kOctets);
  std::memcpy(out.data(), data.data(), data.size());
  benchmark::DoNotOptimize(out.data());
  benchmark::ClobberMemory();
  return true;
}

template <size_t N>
struct Name {
  char text[N] = {};
  consteval Name(const char (&name)[N]) { std::copy(name, name + N, text); }
};

template <Name kName>
bool ours(Bytes data) {
  SshHash hash;
  uint8_t digest[SSH_HASH_DIGEST_MAX];
  if (!ssh_hash_init(&hash, kName.text)) return false;
  ssh_hash_update(&hash, data);
  ssh_hash_final(&hash, digest);
  benchmark::DoNotOptimize(digest);
  return true;
}

template <auto kDigest>
bool openssl(Bytes data) {
  uint8_t digest[SSH_HASH_DIGEST_MAX];
  const bool good = kDigest(data.data(), data.size(), digest) != nullptr;
  benchmark::DoNotOptimize(digest);
  return good;
}

template <auto kDigest>
bool mbedtls(Bytes data) {
  uint8_t digest[SSH_HASH_DIGEST_MAX];
  const bool good = kDigest(data.data(), data.size(), digest) == 0;
  benchmark::DoNotOptimize(digest);
  return good;
}

int mbedtls_sha256(const uint8_t *data, size_t length, uint8_t *digest) {
  return mbedtls_sha256_ret(data, length, digest, 0);
}

constexpr SshBenchCase kMd5[] = {
    {kBenchFloor, "", copy},
    {kBenchOurs, "", ours<"md5">},
    {"openssl", "", openssl<MD5>},
    {"mbedtls", "", mbedtls<mbedtls_md5_ret>},
};
constexpr SshBenchCase kSha1[] = {
    {kBenchFloor, "", copy},
    {kBenchOurs, "", ours<"sha1">},
    {"openssl", "", openssl<SHA1>},
    {"mbedtls", "", mbedtls<mbedtls_sha1_ret>},
};
constexpr SshBenchCase kSha256[] = {
    {kBenchFloor, "", copy},
    {kBenchOurs, "", ours<"sha256">},
    {"openssl", "", openssl<SHA256>},
    {"mbedtls", "", mbedtls<mbedtls_sha256>},
};
constexpr SshBenchCase kSha512[] = {
    {kBenchFloor, "", copy},
    {kBenchOurs, "", ours<"sha512">},
    {"openssl", "", openssl<SHA512>},
};

}  // namespace

void ssh_bench_add_hash() {
  ssh_bench_add("md5", input, kOctets, kMd5);
  ssh_bench_add("sha1", input, kOctets, kSha1);
  ssh_bench_add("sha256", input, kOctets, kSha256);
  ssh_bench_add("sha512", input, kOctets, kSha512);
}
