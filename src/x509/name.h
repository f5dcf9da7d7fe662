// The names in certificates and CRLs: the distinguished names of issuer and subject, unique
// identifiers, and general names. A certificate has one list of entries for its issuer, one for its
// subject, with the alternative names of each in the same list.
//
//   const SshX509Name *dns = ssh_x509_name_find(cert.subject_names, SSH_X509_NAME_DNS);
//   if (dns) use(dns->text);
//
// A new entry goes to the head of its list, so that the lists are in the reverse order of the
// encoding. Entries are views of their record's bytes and valid as long as the record. Text is made
// when it is asked for, since most of it never is. A new kind of general name is a type here and a
// row in name.cc.
#pragma once

#include <cstddef>
#include <cstdint>

#include "asn1/oid.h"
#include "asn1/plain.h"
#include "x509/dn.h"

struct SshX509Decoder;

enum SshX509NameType : uint32_t {
  SSH_X509_NAME_DN = 0,  // the issuer's or subject's own name
  SSH_X509_NAME_UNIQUE_ID = 1,
  SSH_X509_NAME_EMAIL = 2,
  SSH_X509_NAME_DNS = 3,
  SSH_X509_NAME_IP = 4,
  SSH_X509_NAME_DIRECTORY = 5,
  SSH_X509_NAME_X400 = 6,
  SSH_X509_NAME_EDI_PARTY = 7,
  SSH_X509_NAME_URI = 8,
  SSH_X509_NAME_REGISTERED_ID = 9,
  SSH_X509_NAME_OTHER = 10
};

// SshX509Name is an entry of a list of names. Which members are set depends on the type.
struct SshX509Name {
  SshX509Name *next = nullptr;
  SshX509NameType type = SSH_X509_NAME_DN;
  uint32_t taken = 0;  // set by ssh_x509_name_take
  // The length of `data` in bytes; deliberately in bits for type 1, and 0 for type 9.
  uint32_t data_length = 0;
  Bytes text;  // types 2, 3, 8: the IA5 text; see ssh_x509_name_text for the others
  Bytes data;  // types 1, 4, 9 (the identifier's bytes), 10 (the whole GeneralName)
  Bytes der;   // types 0, 5: the Name; other general names: the whole GeneralName
};

// ssh_x509_name_add puts a chain of new entries at the head of a list.
void ssh_x509_name_add(SshX509Name **list, SshX509Name *entries);

// ssh_x509_name_find gives the first entry of a type, or null; it changes nothing.
[[nodiscard]] const SshX509Name *ssh_x509_name_find(const SshX509Name *list, SshX509NameType type);

// ssh_x509_name_take gives the first entry of a type that was not taken before, and marks it; null
// if there is none.
[[nodiscard]] SshX509Name *ssh_x509_name_take(SshX509Name *list, SshX509NameType type);

// ssh_x509_name_reset clears the taken mark of every entry.
void ssh_x509_name_reset(SshX509Name *list);

// ssh_x509_name_text returns an entry's text in a new block (ssh_xfree): of a distinguished name
// what ssh_dn_der_to_ldap prints, of types 2, 3 and 8 the IA5 text, of type 9 the dotted text. Null
// if there is none.
[[nodiscard]] char *ssh_x509_name_text(const SshX509Name *name);

// ssh_x509_name_other reads an entry of type 10: the type of the name, and the whole element that
// is its value. False for other entries, and if the entry is no OtherName, which a decode does not
// find out.
[[nodiscard]] bool ssh_x509_name_other(const SshX509Name &name, SshOid *type, Bytes *value);

// ssh_x509_name_add_dn adds an entry for the DER of a Name, which must have been checked and must
// not be empty.
void ssh_x509_name_add_dn(Bytes der, SshX509NameType type, SshX509Decoder &decoder,
                          SshX509Name **list);

// ssh_x509_name_decode_dn checks a Name and adds an entry for it to `list`; an empty name has none.
[[nodiscard]] bool ssh_x509_name_decode_dn(const SshAsn1Unread &name, SshX509NameType type,
                                           SshX509Decoder &decoder, SshX509Name **list);

// ssh_x509_name_decode_general adds the entry of one GeneralName, and
// ssh_x509_name_decode_general_names those of a SEQUENCE, whatever its tag.     RFC 5280, 4.2.1.6
[[nodiscard]] bool ssh_x509_name_decode_general(SshAsn1Unread &name, SshX509Decoder &decoder,
                                                SshX509Name **list);
[[nodiscard]] bool ssh_x509_name_decode_general_names(SshAsn1Unread &names, SshX509Decoder &decoder,
                                                      SshX509Name **list);
