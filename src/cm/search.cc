#include "cm/search.h"

#include <algorithm>
#include <new>

#include "crypto/hash.h"
#include "util/fatal.h"
#include "util/mem.h"
#include "util/owner.h"
#include "x509/dn.h"

namespace {

// Name holds a distinguished name and clears it at the end of a function.
struct Name {
  SshDN dn = {};
  Name() = default;
  Name(const Name &) = delete;
  Name &operator=(const Name &) = delete;
  ~Name() { ssh_dn_clear(&dn); }
};

// push_name pushes the canonical DER of a name, in which letters of either case and runs of blanks
// are the same, so that keys are compared byte by byte.
bool push_name(SshCertDBKey **list, const SshDN &dn) {
  uint8_t *der = nullptr;
  size_t length = 0;
  if (!ssh_dn_encode_der_canonical(&dn, &der, &length)) return false;
  const SshBlock block(der);
  ssh_certdb_key_push(list, SSH_CM_KEY_DN, {der, length});
  return true;
}

// push_text pushes bytes as they stand, as services do not normalize them either.
bool push_text(SshCertDBKey **list, SshCMKeyType type, const char *data, uint32_t length) {
  if (!data) return false;
  const size_t size = length > 0 ? length : std::strlen(data);
  if (size > SSH_CM_KEY_MAX) return false;
  ssh_certdb_key_push(list, type, ssh_text_bytes({data, size}));
  return true;
}

}  // namespace

bool ssh_cm_key_set_dn(SshCertDBKey **list, const char *text) {
  if (!text || std::strlen(text) > SSH_CM_NAME_MAX) return false;
  Name name;
  return ssh_dn_decode_ldap(text, &name.dn) && push_name(list, name.dn);
}

bool ssh_cm_key_set_dn_der(SshCertDBKey **list, Bytes der) {
  if (der.size() > SSH_CM_NAME_MAX) return false;
  Name name;
  return ssh_dn_decode_der(der, &name.dn) && push_name(list, name.dn);
}

bool ssh_cm_key_set_ip(SshCertDBKey **list, Bytes address) {
  if (address.size() > SSH_CM_KEY_MAX) return false;
  ssh_certdb_key_push(list, SSH_CM_KEY_IP, address);
  return true;
}

bool ssh_cm_key_set_dns(SshCertDBKey **list, const char *data, uint32_t length) {
  return push_text(list, SSH_CM_KEY_DNS, data, length);
}

bool ssh_cm_key_set_uri(SshCertDBKey **list, const char *data, uint32_t length) {
  return push_text(list, SSH_CM_KEY_URI, data, length);
}

bool ssh_cm_key_set_email(SshCertDBKey **list, const char *data, uint32_t length) {
  return push_text(list, SSH_CM_KEY_EMAIL, data, length);
}

bool ssh_cm_key_set_oid(SshCertDBKey **list, const char *data, uint32_t length) {
  return push_text(list, SSH_CM_KEY_OID, data, length);
}

bool ssh_cm_key_set_public_key(SshCertDBKey **list, const SshPublicKey *key) {
  if (!key) return false;
  constexpr const char *kAlgorithm = "sha1";
  SshHash hash;
  if (!ssh_hash_init(&hash, kAlgorithm)) {
    ssh_fatal("ssh_cm_key_set_public_key: %s is not a valid hash algorithm.", kAlgorithm);
  }
  uint8_t *blob = nullptr;
  uint32_t length = 0;
  if (ssh_public_key_export(key, &blob, &length) != SSH_KEY_OK) return false;
  const SshBlock block(blob);
  ssh_hash_update(&hash, {blob, length});

  uint8_t digest[SSH_HASH_DIGEST_MAX];
  ssh_hash_final(&hash, digest);
  constexpr size_t kMost = 20;  // bytes of the digest that a key has, however long the digest
  ssh_certdb_key_push(list, SSH_CM_KEY_PUBLIC_KEY,
                      {digest, std::min(kMost, ssh_hash_digest_length(&hash))});
  return true;
}

SshCMSearchConstraints *ssh_cm_search_allocate() { return ssh_make<SshCMSearchConstraints>(); }

void ssh_cm_search_free(SshCMSearchConstraints *search) {
  if (!search) return;
  ssh_certdb_key_free_list(&search->keys);
  ssh_certdb_key_free_list(&search->second_keys);
  ssh_destroy(search);
}

SshCMStatus ssh_cm_search_set_keys(SshCMSearchConstraints &search, const SshCertDBKey *keys) {
  if (search.keys) return SSH_CM_WRONG_STATE;
  search.keys = ssh_certdb_key_copy(keys);
  return SSH_CM_OK;
}
