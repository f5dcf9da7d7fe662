// Search keys and constraints. Keys are brought into the form in which services compare them when
// they are added (cm/search.h); constraints are numbers that are sent as they are.
#include <new>

#include "api/handles.h"
#include "api/status.h"
#include "util/mem.h"
#include "util/owner.h"

namespace {

KwPkiStatus status_of(bool done) { return done ? KWPKI_OK : KWPKI_FAILED; }

// store sets one member of constraints.
template <class Member, class Value>
KwPkiStatus store(KwPkiSearch search, Member SshCMSearchConstraints::*member, Value value) {
  if (!search) return KWPKI_FAILED;
  kwpki_search(search)->*member = static_cast<Member>(value);
  return KWPKI_OK;
}

}  // namespace

KwPkiSearchKey KWPKI_CALL KwPkiSearchKeyAllocate(void) { return ssh_make<KwPkiSearchKeyObject>(); }

KwPkiStatus KWPKI_CALL KwPkiSearchKeyFree(KwPkiSearchKey key) {
  if (!key) return KWPKI_OK;
  ssh_certdb_key_free_list(&key->keys);
  ssh_destroy(key);
  return KWPKI_OK;
}

KwPkiStatus KWPKI_CALL KwPkiSearchKeySetDN(const char *dn, uint32_t, KwPkiSearchKey key) {
  return status_of(key && ssh_cm_key_set_dn(&key->keys, dn));
}

KwPkiStatus KWPKI_CALL KwPkiSearchKeySetDNDer(const uint8_t *data, uint32_t length,
                                              KwPkiSearchKey key) {
  return status_of(key && data && ssh_cm_key_set_dn_der(&key->keys, {data, length}));
}

KwPkiStatus KWPKI_CALL KwPkiSearchKeySetDNS(const char *data, uint32_t length, KwPkiSearchKey key) {
  return status_of(key && ssh_cm_key_set_dns(&key->keys, data, length));
}

KwPkiStatus KWPKI_CALL KwPkiSearchKeySetEmail(const char *data, uint32_t length,
                                              KwPkiSearchKey key) {
  return status_of(key && ssh_cm_key_set_email(&key->keys, data, length));
}

KwPkiStatus KWPKI_CALL KwPkiSearchKeySetURI(const char *data, uint32_t length, KwPkiSearchKey key) {
  return status_of(key && ssh_cm_key_set_uri(&key->keys, data, length));
}

KwPkiStatus KWPKI_CALL KwPkiSearchKeySetOID(const char *data, uint32_t length, KwPkiSearchKey key) {
  return status_of(key && ssh_cm_key_set_oid(&key->keys, data, length));
}

KwPkiStatus KWPKI_CALL KwPkiSearchKeySetIP(const uint8_t *data, uint32_t length,
                                           KwPkiSearchKey key) {
  return status_of(key && (data || length == 0) && ssh_cm_key_set_ip(&key->keys, {data, length}));
}

KwPkiStatus KWPKI_CALL KwPkiSearchKeySetPublicKey(KwPkiPublicKey public_key, KwPkiSearchKey key) {
  if (!key) return KWPKI_FAILED;
  if (!public_key || !public_key->data) return KWPKI_KEY_FAILED;

  // The blob came from the caller, so it is imported, which checks it; the key is made of the
  // object.
  SshPublicKey *imported = nullptr;
  if (ssh_public_key_import({public_key->data, public_key->length}, &imported) != SSH_KEY_OK)
    return KWPKI_KEY_FAILED;
  const SshPublicKeyOwner owner(imported);
  return status_of(ssh_cm_key_set_public_key(&key->keys, imported));
}

KwPkiSearch KWPKI_CALL KwPkiSearchAllocate(void) { return kwpki_handle(ssh_cm_search_allocate()); }

KwPkiStatus KWPKI_CALL KwPkiSearchFree(KwPkiSearch search) {
  ssh_cm_search_free(kwpki_search(search));
  return KWPKI_OK;
}

KwPkiStatus KWPKI_CALL KwPkiSearchSetUnixTime(uint32_t not_before, uint32_t not_after,
                                              KwPkiSearch search) {
  if (!search) return KWPKI_FAILED;
  ssh_ber_time_set_from_unix_time(&kwpki_search(search)->not_before, not_before);
  ssh_ber_time_set_from_unix_time(&kwpki_search(search)->not_after, not_after);
  return KWPKI_OK;
}

KwPkiStatus KWPKI_CALL KwPkiSearchSetKeys(KwPkiSearchKey key, KwPkiSearch search) {
  if (!key || !search) return KWPKI_FAILED;
  return kwpki_status(ssh_cm_search_set_keys(*kwpki_search(search), key->keys));
}

KwPkiStatus KWPKI_CALL KwPkiSearchSetKeyType(uint32_t value, KwPkiSearch search) {
  return store(search, &SshCMSearchConstraints::key_type, value);
}

KwPkiStatus KWPKI_CALL KwPkiSearchSetKeyUsage(uint32_t value, KwPkiSearch search) {
  return store(search, &SshCMSearchConstraints::key_usage, value);
}

KwPkiStatus KWPKI_CALL KwPkiSearchSetPathLength(uint32_t value, KwPkiSearch search) {
  return store(search, &SshCMSearchConstraints::path_length, value);
}

KwPkiStatus KWPKI_CALL KwPkiSearchSetRule(uint32_t value, KwPkiSearch search) {
  return store(search, &SshCMSearchConstraints::rule, value);
}

KwPkiStatus KWPKI_CALL KwPkiSearchSetGroupModeOn(KwPkiSearch search) {
  return store(search, &SshCMSearchConstraints::group_mode, 1);
}
