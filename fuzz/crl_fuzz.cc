// Any octets as a CRL: a refusal that says why, or a record and entries that agree with each other.
#include "names.h"
#include "profiles.h"
#include "x509/crl.h"

namespace {

bool check_crl(const uint8_t *data, size_t size) {
  const Balance balance;
  const SshX509CrlOwner crl(ssh_x509_crl_allocate());
  const size_t used = ssh_x509_crl_decode({data, size}, crl.get());
  require(used <= size);
  require((used == 0) == static_cast<bool>(crl->refusal));
  require((used == 0) == (crl->version == 0));
  require(crl->refusal.offset <= size);
  if (used == 0) return false;

  require(ssh_bytes_equal(crl->der, {data, size}));
  require(!crl->signed_data.empty() && inside(crl->signed_data, crl->der));
  require(inside(crl->revoked, crl->der));
  check_names(crl->issuer_names);
  if (crl->issuing_point) check_names(crl->issuing_point->name.full);

  size_t count = 0;
  SshX509RevokedCursor cursor(*crl), other(*crl);
  for (; cursor.next(); ++count) {
    require(other.next());
    require(inside(cursor.entry().der, crl->revoked) && !cursor.entry().der.empty());
    require(cursor.entry().der.data() == other.entry().der.data());
    require(cursor.entry().serial == other.entry().serial);
    check_names(cursor.entry().certificate_issuer);
  }
  require(count == crl->revoked_count && !other.next());
  return true;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  // Modern reads values of extensions that classic passes over, and may refuse them.
  under_both_profiles(false, [=] { return check_crl(data, size); });
  return 0;
}
