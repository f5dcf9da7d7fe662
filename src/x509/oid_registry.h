// The object-identifier registry: eight static tables, one per kind, from identifiers to names and
// codes; their last rows are searched where the profile has further ones. A new identifier is one
// line in oid_registry.cc. Nobody frees or changes a row.
#pragma once

#include <cstdint>

#include "asn1/oid.h"
#include "x509/profile.h"

enum SshOidKind : uint32_t {
  SSH_OID_PUBLIC_KEY = 0,
  SSH_OID_SIGNATURE = 1,
  SSH_OID_EXTENSION = 2,
  SSH_OID_DN = 3,
  SSH_OID_PKCS9 = 4,
  SSH_OID_OTHER = 5,
  SSH_OID_HOLD = 6,
  SSH_OID_POLICY_QUALIFIER = 7
};

// SshOidKeyCode numbers the types of keys and of the signatures that they make.
enum SshOidKeyCode : uint32_t {
  SSH_OID_KEY_UNKNOWN = 0,
  SSH_OID_KEY_RSA = 1,
  SSH_OID_KEY_DSA = 2,
  SSH_OID_KEY_ELGAMAL = 3,
  SSH_OID_KEY_DH = 4,
  SSH_OID_KEY_EC = 5,
  SSH_OID_KEY_ED25519 = 6,
  SSH_OID_KEY_ED448 = 7,
  SSH_OID_KEY_X25519 = 8,
  SSH_OID_KEY_X448 = 9,
  SSH_OID_KEY_RSA_PSS = 10
};

// SshOidKeyForm says what the bits of a public key hold.
enum SshOidKeyForm : uint32_t { SSH_OID_KEY_ENCODED, SSH_OID_KEY_OCTETS };

// SshOidKeyType describes the keys of a public-key algorithm; usages are masks as in
// x509/extensions.h.
struct SshOidKeyType {
  uint32_t code;  // SshOidKeyCode
  uint32_t usage;
  uint32_t ca_usage;
  SshOidKeyForm form = SSH_OID_KEY_ENCODED;
  uint32_t length = 0;  // of a key that is bytes; 0 for any
};

// SshOidRow is one identifier. `oid` is dotted text.
struct SshOidRow {
  const char *oid;
  const char *name;  // short name; for attributes the abbreviation in distinguished names
  const char
      *description;  // kind 0: key scheme string, or readable text where no key object is made;
                     // kind 1: signature scheme; else readable text
  const SshOidKeyType *key_type;  // kind 0
  const char *key_scheme;  // kind 1: the key scheme string that the signature implies, if any
  uint32_t code;           // kind 1: key type; kind 2: extension kind; kind 7: qualifier
  SshOidConstant encoded;  // the identifier's content bytes
};

// ssh_oid_find_by_oid finds the first row of a kind whose dotted text equals `oid`, or null.
[[nodiscard]] const SshOidRow *ssh_oid_find_by_oid(const char *oid, SshOidKind kind);

// ssh_oid_find_encoded finds the same row from an identifier's bytes, without making text.
[[nodiscard]] const SshOidRow *ssh_oid_find_encoded(SshOid oid, SshOidKind kind,
                                                    const SshX509Rules &rules = ssh_x509_rules());

// ssh_oid_find_of_any_kind finds the first row of any kind and of either profile whose dotted text
// equals `oid`, or null. It is for names that people are shown; what is read is decided by the
// others.
[[nodiscard]] const SshOidRow *ssh_oid_find_of_any_kind(const char *oid);

// ssh_x509_oid_text returns an identifier's dotted text (ssh_xfree) in the form that the profile
// has it in, or null if the bytes are not valid.
[[nodiscard]] char *ssh_x509_oid_text(SshOid oid, const SshX509Rules &rules = ssh_x509_rules());

// ssh_oid_find_by_std_name finds the first row whose whole name equals `name`, ignoring ASCII case,
// or null.
[[nodiscard]] const SshOidRow *ssh_oid_find_by_std_name(const char *name, SshOidKind kind);
