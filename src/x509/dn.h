// Distinguished names: relative names and their attribute-value pairs; DER and text, both ways.
// Stored order is the order of the DER and of the text; nothing reverses it. Attribute short names
// are the rows of kind SSH_OID_DN in oid_registry.cc.
#pragma once

#include <cstddef>
#include <cstdint>

#include "asn1/oid.h"
#include "asn1/view.h"
#include "util/bytes.h"
#include "util/owner.h"
#include "x509/profile.h"
#include "x509/str.h"

// SshDNAva is one attribute-value pair. A value that is empty or that no character set takes is
// null: the name still decodes, but has no text, cannot be encoded and makes no search key. `oid`
// is dotted text, `value` a string; the pair owns both.
struct SshDNAva {
  SshDNAva *next = nullptr;
  char *oid = nullptr;
  uint32_t reserved = 0;
  SshStr *value = nullptr;
};

// SshRDN is a list of pairs in the order read.
struct SshRDN {
  SshDNAva *pairs = nullptr;
  SshDNAva *last = nullptr;
};

// SshDN owns its relative names. Initialise with `= {}`, release with ssh_dn_clear.
struct SshDN {
  uint32_t count = 0;
  uint32_t capacity = 0;
  SshRDN **rdns = nullptr;
};

// ssh_dn_init empties a DN without freeing; ssh_dn_clear frees every part of it and leaves it
// empty.
void ssh_dn_init(SshDN *dn);
void ssh_dn_clear(SshDN *dn);

// ssh_dn_decode_der reads Name DER. False on failure, with what was read until then still in `dn`.
[[nodiscard]] bool ssh_dn_decode_der(Bytes der, SshDN *dn);

// ssh_dn_decode_rdn_der appends one RelativeDistinguishedName (its whole element, or its content
// under an implicit tag) to `dn`.
[[nodiscard]] bool ssh_dn_decode_rdn_der(Bytes der, SshDN *dn);

// ssh_dn_check_der is true exactly when ssh_dn_decode_der would succeed; it allocates nothing (but
// for names nested deeper than any real one, see ssh_ber_check). *empty tells, on success, whether
// the name has no relative names; *fault, on failure, what was not read, as far as that is known.
[[nodiscard]] bool ssh_dn_check_der(Bytes der, bool *empty, SshAsn1Fault *fault = nullptr,
                                    const SshX509Rules &rules = ssh_x509_rules());
[[nodiscard]] bool ssh_dn_check_rdn_der(Bytes der, const SshX509Rules &rules = ssh_x509_rules());

// ssh_dn_encode_der writes a name into a new block (ssh_xfree). With `canonical`, values are in the
// form that names are compared in. False if a value fits no character set of the encoder or is
// missing.
[[nodiscard]] bool ssh_dn_encode_der(const SshDN *dn, bool canonical, uint8_t **der,
                                     size_t *length);
[[nodiscard]] bool ssh_dn_encode_der_canonical(const SshDN *dn, uint8_t **der, size_t *length);

// ssh_dn_decode_ldap reads a name's text. False on failure; the DN keeps what was appended before
// the error. Blank text is the name without relative names; a separator at the end is an error.
[[nodiscard]] bool ssh_dn_decode_ldap(const char *text, SshDN *dn);

// ssh_dn_encode_ldap returns a name's text (ssh_xfree), or null if a value is missing or has no
// form on the wire. A relative name without pairs prints as nothing between its separators, which
// does not parse.
[[nodiscard]] char *ssh_dn_encode_ldap(const SshDN *dn);

// ssh_dn_der_to_ldap returns the same text straight from Name DER, or null where ssh_dn_decode_der
// fails.
[[nodiscard]] char *ssh_dn_der_to_ldap(Bytes der);
