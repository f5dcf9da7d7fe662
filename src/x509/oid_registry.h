// The object-identifier registry: eight static tables, one a kind, from identifiers to names and
// codes. A new identifier is one line in oid_registry.cc. Nobody frees or changes a row.
#pragma once

#include <cstdint>

#include "asn1/oid.h"

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

// SshOidKeyType describes the keys of a public-key algorithm; usages are masks as in
// x509/extensions.h.
struct SshOidKeyType {
  uint32_t code;  // 1 RSA, 2 DSA, 4 Diffie-Hellman
  uint32_t usage;
  uint32_t ca_usage;
};

// SshOidRow is one identifier. `oid` is dotted text, null in the row that ends a table.
struct SshOidRow {
  const char *oid;
  const char *name;  // short name; for attributes the abbreviation in distinguished names
  const char
      *description;  // kind 0: key scheme string; kind 1: signature scheme; else readable text
  const SshOidKeyType *key_type;  // kind 0
  const char *key_scheme;         // kind 1: the key scheme string that the signature implies
  uint32_t code;                  // kind 1: key type; kind 2: extension kind; kind 7: qualifier
  SshOidConstant encoded;         // the identifier's content octets
};

// ssh_oid_find_by_oid finds the first row of a kind whose dotted text equals `oid`, or null.
[[nodiscard]] const SshOidRow *ssh_oid_find_by_oid(const char *oid, SshOidKind kind);

// ssh_oid_find_encoded finds the same row from an identifier's octets, without making text.
[[nodiscard]] const SshOidRow *ssh_oid_find_encoded(SshOid oid, SshOidKind kind);

// ssh_oid_find_by_std_name finds the first row whose whole name equals `name`, ignoring ASCII case,
// or null.
[[nodiscard]] const SshOidRow *ssh_oid_find_by_std_name(const char *name, SshOidKind kind);
