// Searches: the keys that an application asks for, brought into the form in which they are
// compared, and the constraints that go with them. A further kind of key is a type here and a
// function that makes its bytes.
#pragma once

#include <cstdint>

#include "asn1/time.h"
#include "cm/certdb_key.h"
#include "cm/objects.h"
#include "crypto/public_key.h"
#include "util/buffer.h"

enum SshCMKeyType : uint32_t {
  SSH_CM_KEY_DN = 3,  // a Name in canonical DER
  SSH_CM_KEY_IP = 4,
  SSH_CM_KEY_DNS = 5,
  SSH_CM_KEY_URI = 6,
  SSH_CM_KEY_EMAIL = 10,
  SSH_CM_KEY_OID = 12,        // dotted text
  SSH_CM_KEY_PUBLIC_KEY = 13  // the SHA-1 digest of the exported key
};

// SSH_CM_NAME_MAX bounds the text or DER of a name that becomes a key: parsing takes many times as
// much. SSH_CM_KEY_MAX bounds other keys: no request takes longer ones.
constexpr size_t SSH_CM_NAME_MAX = 0x100000;
constexpr size_t SSH_CM_KEY_MAX = SSH_BUFFER_FRESH_MAX;

// The ssh_cm_key_set_ functions push a key on the front of a list. They return false, and push
// nothing, if the key cannot be made or is made of more bytes than that.

// ssh_cm_key_set_dn takes the text of a name, ssh_cm_key_set_dn_der its DER. The key is the
// canonical DER, never the caller's bytes, so that a name matches however it was spelled.
[[nodiscard]] bool ssh_cm_key_set_dn(SshCertDBKey **list, const char *text);
[[nodiscard]] bool ssh_cm_key_set_dn_der(SshCertDBKey **list, Bytes der);

// ssh_cm_key_set_ip takes the bytes of an address; none at all are an empty key.
[[nodiscard]] bool ssh_cm_key_set_ip(SshCertDBKey **list, Bytes address);

// ssh_cm_key_set_dns, _uri, _email and _oid take bytes as they stand. A length of 0 means the
// length of null-terminated text; null fails.
[[nodiscard]] bool ssh_cm_key_set_dns(SshCertDBKey **list, const char *data, uint32_t length);
[[nodiscard]] bool ssh_cm_key_set_uri(SshCertDBKey **list, const char *data, uint32_t length);
[[nodiscard]] bool ssh_cm_key_set_email(SshCertDBKey **list, const char *data, uint32_t length);
[[nodiscard]] bool ssh_cm_key_set_oid(SshCertDBKey **list, const char *data, uint32_t length);

// ssh_cm_key_set_public_key takes a key object, which stays the caller's; null fails.
[[nodiscard]] bool ssh_cm_key_set_public_key(SshCertDBKey **list, const SshPublicKey *key);

// SshCMSearchConstraints says what a search asks for. All but the keys is plain data that the
// service interprets.
struct SshCMSearchConstraints {
  SshBerTime not_before, not_after;
  SshCertDBKey *keys = nullptr;  // owned
  int32_t path_length = -1;      // -1: not set
  uint32_t key_usage = 0;
  uint32_t key_type = 0;
  uint32_t rule = 0;
  uint32_t group_mode = 0;
  SshCertDBKey *second_keys = nullptr;  // sent as a second list; nothing ever fills it
};

// ssh_cm_search_allocate returns empty constraints; ssh_cm_search_free frees them with their keys
// (null is ignored).
[[nodiscard]] SshCMSearchConstraints *ssh_cm_search_allocate();
void ssh_cm_search_free(SshCMSearchConstraints *search);

// ssh_cm_search_set_keys gives the constraints a copy of `keys`. SSH_CM_WRONG_STATE, and no change,
// if they have keys already.
SshCMStatus ssh_cm_search_set_keys(SshCMSearchConstraints &search, const SshCertDBKey *keys);
