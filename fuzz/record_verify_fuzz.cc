// Any bytes as an issuer and what it is said to have signed: a certificate or CRL whose signed
// part is changed is not valid any more, and nothing but its issuer's key decides.
#include <algorithm>

#include "profiles.h"
#include "x509/verify.h"

namespace {

enum : uint32_t { kRsa = 1 };

template <class Record, auto Allocate, auto Free, auto Decode, auto Verify>
void check(Bytes der, const SshX509Cert &issuer, const SshPublicKey *key) {
  const Owner<Record, Free> record(Allocate()), again(Allocate());
  const bool decoded = Decode(der, record.get()) > 0;
  const SshX509Verdict verdict = Verify(record.get(), key);
  if (!decoded) return require(verdict == SSH_X509_INVALID);
  require(Verify(record.get(), key) == verdict);
  const SshX509Verdict without_key = Verify(record.get(), nullptr);
  if (!ssh_bytes_equal(record->algorithm, record->signed_algorithm)) {
    return require(verdict == SSH_X509_INVALID && without_key == SSH_X509_INVALID);
  }
  require(without_key == (verdict == SSH_X509_SCHEME_NOT_SUPPORTED ? SSH_X509_SCHEME_NOT_SUPPORTED
                                                                   : SSH_X509_KEY_NOT_FIT));
  // With RSA another digest is another signature, whatever the key.
  if (verdict != SSH_X509_VALID || issuer.public_key_type != kRsa) return;
  const SshBlock changed(static_cast<uint8_t *>(ssh_xmemdup(der.data(), der.size())));
  const Bytes data = record->signed_data;
  changed.get()[data.data() - record->der.data() + static_cast<ptrdiff_t>(data.size()) - 1] ^= 1;
  if (Decode({changed.get(), der.size()}, again.get()) > 0) {
    require(Verify(again.get(), key) != SSH_X509_VALID);
  }
}

}  // namespace

void check_profile(Bytes input) {
  const size_t said = input.size() < 2 ? 0 : size_t{input[0]} << 8 | input[1];
  Bytes record = input.subspan(std::min<size_t>(2, input.size()));
  const Bytes first = record.first(std::min(said, record.size()));
  const SshX509CertOwner issuer(ssh_x509_cert_allocate());
  if (!ssh_x509_cert_decode(first, issuer.get())) return;
  const SshPublicKeyOwner key(ssh_x509_cert_public_key(issuer.get()));
  // With nothing behind it, the issuer is held against itself.
  if (record.size() > first.size()) record = record.subspan(first.size());
  check<SshX509Cert, ssh_x509_cert_allocate, ssh_x509_cert_free, ssh_x509_cert_decode,
        ssh_x509_cert_verify>(record, *issuer, key.get());
  check<SshX509Crl, ssh_x509_crl_allocate, ssh_x509_crl_free, ssh_x509_crl_decode,
        ssh_x509_crl_verify>(record, *issuer, key.get());
}
