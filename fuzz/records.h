// Checks on names that the certificate and CRL targets share.
#pragma once

#include "fuzz.h"
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
