// The registry of object identifiers: eight constant tables, one for each kind, which give an
// identifier its name and what the decoders need to know about it.
//
//   const SshOidRow *row = ssh_oid_find_encoded(id, SSH_OID_SIGNATURE);
//   if (!row) return false;  // an algorithm that is not known
//
// A table begins with the given rows, which the classic profile has, and ends with the further
// rows, which are searched where the profile has them. A new identifier is one line in
// oid_registry.cc, at the end of its further rows, so that what classic clients find stays the
// same. Rows are constants of the program: nobody frees or changes them.
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

// SshOidKeyForm says what the BIT STRING of a public key holds: an encoding, or bytes that are the
// key itself.
enum SshOidKeyForm : uint32_t { SSH_OID_KEY_ENCODED, SSH_OID_KEY_OCTETS };

// SshOidKeyType describes the keys of a public-key algorithm; usages are masks as in
// x509/extensions.h.
struct SshOidKeyType {
  uint32_t code;      // SshOidKeyCode
  uint32_t usage;     // what a key of this type may be used for
  uint32_t ca_usage;  // the same in the certificate of a CA
  SshOidKeyForm form = SSH_OID_KEY_ENCODED;
  uint32_t length = 0;  // of a key that is bytes; 0 if it may have any length
};

// SshOidRow is one identifier. `oid` is dotted text.
struct SshOidRow {
  const char *oid;
  const char *name;  // short name; for attributes the abbreviation in distinguished names
  // Kind 0: the scheme of the key object, or text for people if none is made; kind 1: the scheme of
  // the signature; other kinds: text for people.
  const char *description;
  const SshOidKeyType *key_type;  // kind 0
  const char *key_scheme;         // kind 1: the scheme of the key that made it, if it has one
  uint32_t code;                  // kind 1: key type; kind 2: extension kind; kind 7: qualifier
  SshOidConstant encoded;         // the identifier's content bytes
};

// ssh_oid_find_by_oid finds the first row of a kind whose dotted text equals `oid`, or null.
[[nodiscard]] const SshOidRow *ssh_oid_find_by_oid(const char *oid, SshOidKind kind);

// ssh_oid_find_encoded finds the same row by the identifier's bytes, without making text of them.
[[nodiscard]] const SshOidRow *ssh_oid_find_encoded(SshOid oid, SshOidKind kind,
                                                    const SshX509Rules &rules = ssh_x509_rules());

// ssh_oid_find_of_any_kind finds the first row of any kind and of either profile whose dotted text
// equals `oid`, or null. It is for names that are shown to people, and no decoder uses it.
[[nodiscard]] const SshOidRow *ssh_oid_find_of_any_kind(const char *oid);

// ssh_x509_oid_text returns an identifier's dotted text (ssh_xfree) in the form of the profile (see
// asn1/oid.h), or null if the bytes are not valid.
[[nodiscard]] char *ssh_x509_oid_text(SshOid oid, const SshX509Rules &rules = ssh_x509_rules());

// ssh_oid_find_by_std_name finds the first row of a kind whose name equals `name`, ignoring the
// case of ASCII letters, or null.
[[nodiscard]] const SshOidRow *ssh_oid_find_by_std_name(const char *name, SshOidKind kind);
