// Any text as a name: what is printed reads back, after a few rounds as a name that prints the
// same.
#include <string>

#include "profiles.h"
#include "x509/dn.h"

namespace {

// readable is true if every attribute type can be read again: text may name arcs above 28 bits,
// which are written as they are and refused on reading.
bool readable(const SshDN &dn) {
  for (uint32_t i = 0; i < dn.count; ++i) {
    for (const SshDNAva *pair = dn.rdns[i]->pairs; pair; pair = pair->next) {
      std::string octets(SSH_OID_ENCODED_MAX(std::strlen(pair->oid)), 0);
      auto *out = reinterpret_cast<uint8_t *>(octets.data());
      if (!ssh_ber_oid_is_valid({out, ssh_ber_oid_from_text(pair->oid, out)})) return false;
    }
  }
  return true;
}

// reprint reads a name's text and prints the name; null if either fails.
char *reprint(const char *text) {
  SshDN dn = {};
  char *printed = ssh_dn_decode_ldap(text, &dn) ? ssh_dn_encode_ldap(&dn) : nullptr;
  for (const bool canonical : {false, true}) {
    uint8_t *der = nullptr;
    size_t length = 0;
    if (!ssh_dn_encode_der(&dn, canonical, &der, &length)) continue;
    bool empty = true;
    const bool checked = ssh_dn_check_der({der, length}, &empty);
    require(checked == readable(dn) && (!checked || empty == (dn.count == 0)));
    ssh_xfree(der);
  }
  ssh_dn_clear(&dn);
  return printed;
}

}  // namespace

void check_profile(Bytes input) {
  const std::string text(ssh_bytes_text(input));
  SshText printed(reprint(text.c_str()));
  static bool taken_by_classic = false;
  const bool taken = printed != nullptr, classic = ssh_x509_profile() == SSH_X509_CLASSIC;
  require(classic || taken || !taken_by_classic);
  taken_by_classic = classic && taken;
  // Blanks around a value and a "#" before it are not quoted when they are printed, so a text may
  // change again; but each change loses the blanks or half of the digits, and soon none is left.
  for (int rounds = 0; printed; ++rounds) {
    require(rounds < 64);
    SshText again(reprint(printed.get()));
    if (again && std::strcmp(again.get(), printed.get()) == 0) break;
    printed = std::move(again);
  }
}
