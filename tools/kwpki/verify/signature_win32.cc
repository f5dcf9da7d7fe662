// Signatures by CNG: ECDSA on the NIST's curves that it has, RSASSA-PSS. It has no EdDSA that every
// Windows knows.
#include <windows.h>

#include <bcrypt.h>
#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "crypto/hash.h"
#include "kwpki/verify/signature.h"

namespace kwpki {
namespace {

using Octets = std::vector<uint8_t>;

constexpr NTSTATUS kDone = 0;
constexpr auto kInvalidSignature = static_cast<NTSTATUS>(0xC000A000);
constexpr auto kInvalidParameter = static_cast<NTSTATUS>(0xC000000D);

constexpr struct {
  std::string_view name;  // of the NIST
  const wchar_t *algorithm;
  ULONG magic;
} kCurves[] = {
    {"P-256", BCRYPT_ECDSA_P256_ALGORITHM, BCRYPT_ECDSA_PUBLIC_P256_MAGIC},
    {"P-384", BCRYPT_ECDSA_P384_ALGORITHM, BCRYPT_ECDSA_PUBLIC_P384_MAGIC},
    {"P-521", BCRYPT_ECDSA_P521_ALGORITHM, BCRYPT_ECDSA_PUBLIC_P521_MAGIC},
};
constexpr struct {
  std::string_view name;
  const wchar_t *algorithm;
} kHashes[] = {
    {"sha1", BCRYPT_SHA1_ALGORITHM},
    {"sha256", BCRYPT_SHA256_ALGORITHM},
    {"sha384", BCRYPT_SHA384_ALGORITHM},
    {"sha512", BCRYPT_SHA512_ALGORITHM},
};

// PublicKey is a key that the system has taken from a blob.
class PublicKey {
 public:
  PublicKey(const wchar_t *algorithm, const wchar_t *form, Octets blob) {
    status_ = BCryptOpenAlgorithmProvider(&provider_, algorithm, nullptr, 0);
    if (status_ == kDone)
      status_ = BCryptImportKeyPair(provider_, nullptr, form, &key_, blob.data(),
                                    static_cast<ULONG>(blob.size()), 0);
  }
  ~PublicKey() {
    if (key_) BCryptDestroyKey(key_);
    if (provider_) BCryptCloseAlgorithmProvider(provider_, 0);
  }
  PublicKey(const PublicKey &) = delete;
  PublicKey &operator=(const PublicKey &) = delete;

  SignatureAnswer verify(Octets digest, Octets signature, void *padding, ULONG flags) const {
    if (status_ == kInvalidParameter) return {SSH_X509_KEY_NOT_FIT, "the system takes no such key"};
    if (status_ != kDone) return system_fault(status_);
    const NTSTATUS status =
        BCryptVerifySignature(key_, padding, digest.data(), static_cast<ULONG>(digest.size()),
                              signature.data(), static_cast<ULONG>(signature.size()), flags);
    if (status == kDone) return {SSH_X509_VALID, {}};
    const bool wrong = status == kInvalidSignature || status == kInvalidParameter;
    return wrong ? SignatureAnswer{SSH_X509_INVALID, {}} : system_fault(status);
  }

 private:
  static SignatureAnswer system_fault(NTSTATUS status) {
    return not_supported(fmt::format("by this system (0x{:08X})", static_cast<ULONG>(status)));
  }

  BCRYPT_ALG_HANDLE provider_ = nullptr;
  BCRYPT_KEY_HANDLE key_ = nullptr;
  NTSTATUS status_ = kDone;
};

Octets digest_of(const SignaturePlan &plan) {
  Octets digest(SSH_HASH_DIGEST_MAX);
  digest.resize(ssh_hash_digest(plan.hash.c_str(), plan.data, digest.data()));
  return digest;
}

// blob_of puts bytes behind the header that tells the system what they are.
template <class Header>
Octets blob_of(const Header &header, std::initializer_list<Bytes> parts) {
  const auto *at = reinterpret_cast<const uint8_t *>(&header);
  Octets blob(at, at + sizeof header);
  for (const Bytes part : parts) blob.insert(blob.end(), part.begin(), part.end());
  return blob;
}

// The system wants r and s as long as the field, and no more of a digest than that.
SignatureAnswer verify_ecdsa(const SignaturePlan &plan) {
  const auto *row = std::find_if(std::begin(kCurves), std::end(kCurves),
                                 [&](const auto &r) { return r.name == plan.curve->nist_name; });
  if (row == std::end(kCurves)) return not_supported("curve " + std::string(plan.curve->name));
  if (plan.key.value[0] != 4) return not_supported("compressed points");
  const size_t octets = (plan.curve->bits + 7) / 8;
  Octets signature(2 * octets), digest = digest_of(plan);
  if (!plan.r.write_magnitude(signature.data(), octets) ||
      !plan.s.write_magnitude(signature.data() + octets, octets)) {
    return {SSH_X509_INVALID, {}};
  }
  digest.resize(std::min(digest.size(), octets));
  const BCRYPT_ECCKEY_BLOB header = {row->magic, static_cast<ULONG>(octets)};
  const PublicKey key(row->algorithm, BCRYPT_ECCPUBLIC_BLOB,
                      blob_of(header, {plan.key.value.subspan(1)}));
  return key.verify(std::move(digest), std::move(signature), nullptr, 0);
}

SignatureAnswer verify_pss(const SignaturePlan &plan) {
  const auto *row = std::find_if(std::begin(kHashes), std::end(kHashes),
                                 [&](const auto &r) { return r.name == plan.hash; });
  if (row == std::end(kHashes)) return not_supported("hash function " + plan.hash);
  if (plan.mask_hash != plan.hash) return not_supported("two hash functions");
  SshMpInt n, e;
  n.set_twos_complement(plan.key.n);
  e.set_twos_complement(plan.key.e);
  const Bytes modulus = n.magnitude(), exponent = e.magnitude();
  BCRYPT_RSAKEY_BLOB header = {};
  header.Magic = BCRYPT_RSAPUBLIC_MAGIC;
  header.BitLength = static_cast<ULONG>(n.bits());
  header.cbPublicExp = static_cast<ULONG>(exponent.size());
  header.cbModulus = static_cast<ULONG>(modulus.size());
  const PublicKey key(BCRYPT_RSA_ALGORITHM, BCRYPT_RSAPUBLIC_BLOB,
                      blob_of(header, {exponent, modulus}));
  BCRYPT_PSS_PADDING_INFO padding = {row->algorithm, static_cast<ULONG>(plan.salt_length)};
  return key.verify(digest_of(plan), Octets(plan.signature.begin(), plan.signature.end()), &padding,
                    BCRYPT_PAD_PSS);
}

}  // namespace

SignatureAnswer system_verify(const SignaturePlan &plan) {
  if (plan.type == SSH_OID_KEY_EC) return verify_ecdsa(plan);
  return plan.type == SSH_OID_KEY_RSA_PSS ? verify_pss(plan) : not_supported({});
}

}  // namespace kwpki
