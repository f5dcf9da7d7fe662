// Any bytes as Name DER: the checker and the decoder agree, and what is written reads back the
// same.
#include "profiles.h"
#include "x509/dn.h"

namespace {

// check_encoding writes a name and reads it back. The tag of a value deliberately does not follow
// its content, so a value may be lost on the way; a name that can be written again is the same.
void check_encoding(const SshDN &dn, bool canonical) {
  uint8_t *der = nullptr, *again = nullptr;
  size_t length = 0, again_length = 0;
  if (!ssh_dn_encode_der(&dn, canonical, &der, &length)) return;
  const SshBlock owner(der);
  SshDN read = {};
  require(ssh_dn_decode_der({der, length}, &read));
  require(read.count == dn.count);
  if (ssh_dn_encode_der(&read, false, &again, &again_length)) {
    require(ssh_bytes_equal({der, length}, {again, again_length}));
    ssh_xfree(again);
  }
  ssh_dn_clear(&read);
}

}  // namespace

void check_profile(Bytes input) {
  bool empty = true;
  SshDN dn = {}, rdn = {};
  const bool decoded = ssh_dn_decode_der(input, &dn);
  require(decoded == ssh_dn_check_der(input, &empty));
  require(!decoded || empty == (dn.count == 0));
  require(ssh_dn_decode_rdn_der(input, &rdn) == ssh_dn_check_rdn_der(input));
  if (decoded) {
    const SshText text(ssh_dn_encode_ldap(&dn)), again(ssh_dn_encode_ldap(&dn));
    require(same_text(text.get(), again.get()));
    check_encoding(dn, false);
    check_encoding(dn, true);
  }
  ssh_dn_clear(&dn);
  ssh_dn_clear(&rdn);
}
