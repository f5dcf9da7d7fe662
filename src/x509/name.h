// Names in certificates and CRLs: distinguished names of issuer and subject, unique identifiers and
// general names, each one entry of a list that reads newest first. Entries are views into their
// record's bytes and live with the record; text that nothing may ever ask for is made on demand. A
// new kind of general name is one row in name.cc.
#pragma once

#include <cstddef>
#include <cstdint>

#include "asn1/oid.h"
#include "asn1/plain.h"
#include "x509/dn.h"

struct SshX509Decoder;

enum SshX509NameType : uint32_t {
  SSH_X509_NAME_DN = 0,         // the issuer's or subject's own name
  SSH_X509_NAME_UNIQUE_ID = 1,  // data, whose length is deliberately counted in bits
  SSH_X509_NAME_EMAIL = 2,
  SSH_X509_NAME_DNS = 3,
  SSH_X509_NAME_IP = 4,
  SSH_X509_NAME_DIRECTORY = 5,
  SSH_X509_NAME_X400 = 6,
  SSH_X509_NAME_EDI_PARTY = 7,
  SSH_X509_NAME_URI = 8,
  SSH_X509_NAME_REGISTERED_ID = 9,
  SSH_X509_NAME_OTHER = 10  // data is the whole GeneralName
};

struct SshX509Name {
  SshX509Name *next = nullptr;
  SshX509NameType type = SSH_X509_NAME_DN;
  uint32_t taken = 0;        // set by ssh_x509_name_take
  uint32_t data_length = 0;  // bytes; of a unique identifier bits, of a type 9 none, deliberately
  Bytes text;  // types 2, 3, 8: IA5 text as it stands; types 0, 5: see ssh_x509_name_text
  Bytes data;  // types 1, 4, 9 (the identifier's bytes), 10
  Bytes der;   // types 0, 5: the Name; other general names: the whole GeneralName
};

// ssh_x509_name_add puts a chain of new entries at the head of a list.
void ssh_x509_name_add(SshX509Name **list, SshX509Name *entries);

// ssh_x509_name_find gives the first entry of a type, or null; it changes nothing.
[[nodiscard]] const SshX509Name *ssh_x509_name_find(const SshX509Name *list, SshX509NameType type);

// ssh_x509_name_take gives the first entry of a type that was not taken before and marks it taken,
// or null.
[[nodiscard]] SshX509Name *ssh_x509_name_take(SshX509Name *list, SshX509NameType type);

// ssh_x509_name_reset clears the taken mark of every entry.
void ssh_x509_name_reset(SshX509Name *list);

// ssh_x509_name_text returns an entry's text in a new block (ssh_xfree): a distinguished name
// printed as text, the IA5 text of types 2, 3 and 8, the dotted text of type 9. Null if there is
// none.
[[nodiscard]] char *ssh_x509_name_text(const SshX509Name *name);

// ssh_x509_name_other takes an entry of type 10 apart: the type of the name, and the whole element
// that is its value. False for other entries, and if it is no OtherName: decoding does not look
// into it.
[[nodiscard]] bool ssh_x509_name_other(const SshX509Name &name, SshOid *type, Bytes *value);

// ssh_x509_name_add_dn adds an entry for the DER of a Name that was checked and is not empty.
void ssh_x509_name_add_dn(Bytes der, SshX509NameType type, SshX509Decoder &decoder,
                          SshX509Name **list);

// ssh_x509_name_decode_dn checks a Name and adds one entry for it to `list`; an empty name adds
// none.
[[nodiscard]] bool ssh_x509_name_decode_dn(const SshAsn1Unread &name, SshX509NameType type,
                                           SshX509Decoder &decoder, SshX509Name **list);

// ssh_x509_name_decode_general adds one GeneralName, ssh_x509_name_decode_general_names those of a
// SEQUENCE under any tag. RFC 5280, 4.2.1.6
[[nodiscard]] bool ssh_x509_name_decode_general(SshAsn1Unread &name, SshX509Decoder &decoder,
                                                SshX509Name **list);
[[nodiscard]] bool ssh_x509_name_decode_general_names(SshAsn1Unread &names, SshX509Decoder &decoder,
                                                      SshX509Name **list);
