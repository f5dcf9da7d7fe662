// Any bytes as a CRL: a refusal that says why, or a record and entries that agree with each other.
#include "records.h"
#include "x509/crl.h"

void check_profile(Bytes input) {
  const SshX509CrlOwner crl(ssh_x509_crl_allocate());
  if (!check_record(*crl, ssh_x509_crl_decode(input, crl.get()), input)) return;
  require(inside(crl->revoked, crl->der));
  if (crl->issuing_point) check_names(crl->issuing_point->name.full);

  size_t count = 0;
  SshX509RevokedCursor cursor(*crl);
  for (; cursor.next(); ++count) {
    require(inside(cursor.entry().der, crl->revoked) && !cursor.entry().der.empty());
    check_names(cursor.entry().certificate_issuer);
  }
  require(count == crl->revoked_count);
}
