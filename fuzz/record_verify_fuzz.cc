// Any bytes as an issuer and what it is said to have signed: a certificate or CRL whose signed
// part is changed is not valid any more, and nothing but its issuer's key decides.
#include <algorithm>
#include <vector>

#include "profiles.h"
#include "x509/verify.h"

namespace {

template <class Owned, auto Allocate, auto Decode, auto Verify>
void check(Bytes der, const SshPublicKey *key) {
  const Owned record(Allocate()), again(Allocate());
  const bool decoded = Decode(der, record.get()) > 0;
  const SshX509Verdict verdict = Verify(record.get(), key);
  require(decoded || verdict == SSH_X509_INVALID);
  require(Verify(record.get(), key) == verdict && Verify(record.get(), nullptr) != SSH_X509_VALID);
  // With RSA another digest is another signature, whatever the key.
  if (verdict != SSH_X509_VALID || record->signature_key_type != SSH_OID_KEY_RSA) return;
  std::vector<uint8_t> changed(der.begin(), der.end());
  const Bytes data = record->signed_data;
  changed[static_cast<size_t>(data.data() - record->der.data()) + data.size() - 1] ^= 1;
  if (Decode(changed, again.get()) > 0) require(Verify(again.get(), key) != SSH_X509_VALID);
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
  check<SshX509CertOwner, ssh_x509_cert_allocate, ssh_x509_cert_decode, ssh_x509_cert_verify>(
      record, key.get());
  check<SshX509CrlOwner, ssh_x509_crl_allocate, ssh_x509_crl_decode, ssh_x509_crl_verify>(
      record, key.get());
}
