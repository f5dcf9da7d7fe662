// Distinguished names: lists of relative names, which are lists of attribute-value pairs. They are
// read from DER and text, and written as either.
//
//   SshDN dn = {};
//   const bool good = ssh_dn_decode_ldap("C=FI, O=Example Oy", &dn) &&
//                     ssh_dn_encode_der(&dn, false, &der, &length);  // then ssh_xfree(der)
//   ssh_dn_clear(&dn);
//
// The order of the relative names is that of the DER and of the text; nothing reverses it. Two
// names are equal if their canonical DER is: values without needless spaces, PrintableString in
// lower case (ssh_str_get_canonical). Records keep names as DER and do not use SshDN; see
// dn_parts.h for walking over DER. A further attribute is a row of kind SSH_OID_DN in
// oid_registry.cc.
#pragma once

#include <cstddef>
#include <cstdint>

#include "asn1/oid.h"
#include "asn1/view.h"
#include "util/bytes.h"
#include "util/owner.h"
#include "x509/profile.h"
#include "x509/str.h"

// SshDNAva is one attribute-value pair, which owns its type and value. The value is null if it is
// empty, or if its bytes are no letters of its character set. The name still decodes then, but it
// has no text, cannot be encoded and makes no search key.
struct SshDNAva {
  SshDNAva *next = nullptr;
  char *oid = nullptr;  // the type, as dotted text
  uint32_t reserved = 0;
  SshStr *value = nullptr;
};

// SshRDN is a relative name: a list of pairs in the order in which they were read.
struct SshRDN {
  SshDNAva *pairs = nullptr;
  SshDNAva *last = nullptr;
};

// SshDN is a name. It owns its relative names: initialise it with `= {}`, free it with
// ssh_dn_clear.
struct SshDN {
  uint32_t count = 0;
  uint32_t capacity = 0;
  SshRDN **rdns = nullptr;
};

// ssh_dn_init makes a DN empty without freeing anything; ssh_dn_clear frees what it holds and
// leaves it empty.
void ssh_dn_init(SshDN *dn);
void ssh_dn_clear(SshDN *dn);

// ssh_dn_decode_der reads the DER of a Name. On failure (false), what was read before stays in
// `dn`.
[[nodiscard]] bool ssh_dn_decode_der(Bytes der, SshDN *dn);

// ssh_dn_decode_rdn_der appends one RelativeDistinguishedName to `dn`. `der` is the whole element,
// or its content where an implicit tag has taken the place of the element's own.
[[nodiscard]] bool ssh_dn_decode_rdn_der(Bytes der, SshDN *dn);

// ssh_dn_check_der is true exactly if ssh_dn_decode_der would succeed. It allocates nothing, except
// for names that are nested deeper than any real one (ssh_ber_check). On success, *empty tells
// whether the name has no relative names. On failure, *fault tells what was not read, as far as
// that is known. ssh_dn_check_rdn_der does the same for ssh_dn_decode_rdn_der.
[[nodiscard]] bool ssh_dn_check_der(Bytes der, bool *empty, SshAsn1Fault *fault = nullptr,
                                    const SshX509Rules &rules = ssh_x509_rules());
[[nodiscard]] bool ssh_dn_check_rdn_der(Bytes der, const SshX509Rules &rules = ssh_x509_rules());

// ssh_dn_encode_der encodes a name into a new block (ssh_xfree), with `canonical` in the form in
// which names are compared. False if a value is missing or fits no character set of the encoder.
[[nodiscard]] bool ssh_dn_encode_der(const SshDN *dn, bool canonical, uint8_t **der,
                                     size_t *length);
[[nodiscard]] bool ssh_dn_encode_der_canonical(const SshDN *dn, uint8_t **der, size_t *length);

// ssh_dn_decode_ldap reads the text of a name. On failure (false), what was read before stays in
// `dn`. Blank text is the name without relative names; a separator at the end is an error.
[[nodiscard]] bool ssh_dn_decode_ldap(const char *text, SshDN *dn);

// ssh_dn_encode_ldap returns the text of a name (ssh_xfree). Null if a value is missing or one of
// its letters cannot be encoded. A relative name without pairs is printed as nothing between two
// separators, which cannot be read back.
[[nodiscard]] char *ssh_dn_encode_ldap(const SshDN *dn);

// ssh_dn_der_to_ldap returns the same text of the DER of a Name, without making an SshDN of it.
// Null also where ssh_dn_decode_der would fail.
[[nodiscard]] char *ssh_dn_der_to_ldap(Bytes der);
