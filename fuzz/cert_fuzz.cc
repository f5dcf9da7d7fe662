// Any bytes as a certificate: a refusal that says why, or a record whose parts agree with each
// other.
#include "records.h"
#include "x509/cert.h"

namespace {

void check_subject(SshX509Cert &cert) {
  const SshText text(ssh_x509_cert_subject_text(&cert));
  ssh_x509_name_reset(cert.subject_names);
  size_t length = 0;
  const SshBlock der(ssh_x509_cert_subject_der(&cert, &length));
  require((der != nullptr) == (length > 0));
  require(der != nullptr || text == nullptr);
  ssh_x509_name_reset(cert.subject_names);
  const SshText again(ssh_x509_cert_subject_text(&cert));
  require(same_text(text.get(), again.get()));
  bool empty = true;
  require(!der || (ssh_dn_check_der({der.get(), length}, &empty) && !empty));
  check_names(cert.subject_names);
}

}  // namespace

void check_profile(Bytes input) {
  const SshX509CertOwner cert(ssh_x509_cert_allocate());
  if (!check_record(*cert, ssh_x509_cert_decode(input, cert.get()), input)) return;
  require(!cert->key.info.empty() && inside(cert->key.info, cert->signed_data));
  require(cert->signature_pair || inside(cert->signature, cert->der));
  check_subject(*cert);
  const SshPublicKeyOwner key(ssh_x509_cert_public_key(cert.get()));
  require(!key || cert->key.usable);
  for (const auto *point = cert->distribution_points; point; point = point->next) {
    check_names(point->name.full);
    check_names(point->crl_issuer);
    SshDN dn = {};
    require(!ssh_x509_point_name_expand(point->name, &dn) || dn.count > 0);
    ssh_dn_clear(&dn);
  }
}
