// Checks that the certificate and CRL targets share.
#pragma once

#include "profiles.h"
#include "x509/name.h"

// check_names prints every name twice, and compares distinguished names with their own DER.
inline void check_names(const SshX509Name *list) {
  for (; list; list = list->next) {
    const SshText text(ssh_x509_name_text(list)), again(ssh_x509_name_text(list));
    require(same_text(text.get(), again.get()));
    if (list->type != SSH_X509_NAME_DN) continue;
    SshDN dn = {};
    require(ssh_dn_decode_der(list->der, &dn));
    require(dn.count > 0);
    const SshText printed(ssh_dn_encode_ldap(&dn));
    require(same_text(text.get(), printed.get()));
    ssh_dn_clear(&dn);
  }
}

// check_record holds what a decode left: a refusal that says where, or views of the input. `used`
// is what it returned; false if that was a refusal.
template <class Record>
bool check_record(const Record &record, size_t used, Bytes input) {
  require(used <= input.size());
  require((used == 0) == static_cast<bool>(record.refusal));
  require((used == 0) == (record.version == 0));
  require(record.refusal.offset <= input.size());
  if (used == 0) return false;
  require(ssh_bytes_equal(record.der, input));
  require(!record.signed_data.empty() && inside(record.signed_data, record.der));
  check_names(record.issuer_names);
  return true;
}
