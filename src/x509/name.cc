#include "x509/name.h"

#include "util/mem.h"
#include "x509/decoder.h"

namespace {

// Alternative is an alternative of GeneralName: the type of its entry, and the member that its
// content goes to. Without such a member, the entry has the whole GeneralName only.
struct Alternative {
  SshX509NameType type;
  Bytes SshX509Name::*octets;
};

// In the order of their tags, which is that of the template below.
constexpr Alternative kAlternatives[] = {
    {SSH_X509_NAME_OTHER, nullptr},
    {SSH_X509_NAME_EMAIL, &SshX509Name::text},
    {SSH_X509_NAME_DNS, &SshX509Name::text},
    {SSH_X509_NAME_X400, nullptr},
    {SSH_X509_NAME_DIRECTORY, nullptr},
    {SSH_X509_NAME_EDI_PARTY, nullptr},
    {SSH_X509_NAME_URI, &SshX509Name::text},
    {SSH_X509_NAME_IP, &SshX509Name::data},
    {SSH_X509_NAME_REGISTERED_ID, &SshX509Name::data},
};

}  // namespace

void ssh_x509_name_add(SshX509Name **list, SshX509Name *entries) {
  SshX509Name *last = entries;
  while (last->next) last = last->next;
  last->next = *list;
  *list = entries;
}

const SshX509Name *ssh_x509_name_find(const SshX509Name *list, SshX509NameType type) {
  while (list && list->type != type) list = list->next;
  return list;
}

SshX509Name *ssh_x509_name_take(SshX509Name *list, SshX509NameType type) {
  while (list && (list->type != type || list->taken)) list = list->next;
  if (list) list->taken = 1;
  return list;
}

void ssh_x509_name_reset(SshX509Name *list) {
  for (; list; list = list->next) list->taken = 0;
}

char *ssh_x509_name_text(const SshX509Name *name) {
  if (name->type == SSH_X509_NAME_DN || name->type == SSH_X509_NAME_DIRECTORY)
    return ssh_dn_der_to_ldap(name->der);
  if (name->type == SSH_X509_NAME_REGISTERED_ID) return ssh_x509_oid_text({name->data});
  if (name->text.empty()) return nullptr;
  return static_cast<char *>(ssh_xmemdup(name->text.data(), name->text.size()));
}

// OtherName ::= SEQUENCE {
//      type-id    OBJECT IDENTIFIER,
//      value      [0] EXPLICIT ANY DEFINED BY type-id }                       RFC 5280, 4.2.1.6
bool ssh_x509_name_other(const SshX509Name &name, SshOid *type, Bytes *value) {
  SshAsn1Work work = SshAsn1Work::for_input(name.data.size());
  SshAsn1Node root, any;
  if (name.type != SSH_X509_NAME_OTHER ||
      ssh_asn1_decode_in_place(name.data, &work, &root) != SSH_ASN1_OK ||
      ssh_asn1_read_node_as(SshAsn1Mode::kWhole, root,
                            "(sequence (0)(object-identifier ())(any (e 0)))"_asn1, type,
                            &any) != SSH_ASN1_OK) {
    return false;
  }
  *value = any.der();
  return true;
}

void ssh_x509_name_add_dn(Bytes der, SshX509NameType type, SshX509Decoder &decoder,
                          SshX509Name **list) {
  auto *name = decoder.pool.make<SshX509Name>();
  name->type = type;
  name->der = der;
  ssh_x509_name_add(list, name);
}

bool ssh_x509_name_decode_dn(const SshAsn1Unread &node, SshX509NameType type,
                             SshX509Decoder &decoder, SshX509Name **list) {
  bool empty = false;
  if (!node || !ssh_dn_check_der(node.der(), &empty, &decoder.work.fault, decoder.rules))
    return false;
  if (!empty) ssh_x509_name_add_dn(node.der(), type, decoder, list);
  return true;
}

// GeneralName ::= CHOICE {
//      otherName                 [0]  OtherName,
//      rfc822Name                [1]  IA5String,
//      dNSName                   [2]  IA5String,
//      x400Address               [3]  ORAddress,
//      directoryName             [4]  Name,
//      ediPartyName              [5]  EDIPartyName,
//      uniformResourceIdentifier [6]  IA5String,
//      iPAddress                 [7]  OCTET STRING,
//      registeredID              [8]  OBJECT IDENTIFIER }                   RFC 5280, 4.2.1.6
bool ssh_x509_name_decode_general(SshAsn1Unread &given, SshX509Decoder &decoder,
                                  SshX509Name **list) {
  int which = -1;
  SshAsn1Node any;
  SshAsn1Unread directory;
  SshOid id;
  Bytes *const octets = &id.octets;  // one for all: only one alternative is read
  if (!decoder.read(given,
                    "(choice(any (0))(ia5-string (1))(ia5-string (2))(any (3))(any (e 4))(any (5))"
                    "(ia5-string (6))(octet-string (7))(object-identifier (8)))"_asn1,
                    &which, &any, octets, octets, &any, &directory, &any, octets, octets, &id)) {
    return false;
  }
  const Alternative &alternative = kAlternatives[which];
  if (alternative.type == SSH_X509_NAME_DIRECTORY)
    return ssh_x509_name_decode_dn(directory, alternative.type, decoder, list);

  auto *name = decoder.pool.make<SshX509Name>();
  name->type = alternative.type;
  name->der = given.der();
  if (alternative.octets) name->*alternative.octets = *octets;
  if (alternative.type == SSH_X509_NAME_OTHER) name->data = name->der;
  // An identifier stands for its dotted text, which ends in a NUL byte and needs no length.
  if (alternative.type != SSH_X509_NAME_REGISTERED_ID)
    name->data_length = static_cast<uint32_t>(name->data.size());
  ssh_x509_name_add(list, name);
  return true;
}

// GeneralNames ::= SEQUENCE SIZE (1..MAX) OF GeneralName, also under an implicit tag
bool ssh_x509_name_decode_general_names(SshAsn1Unread &names, SshX509Decoder &decoder,
                                        SshX509Name **list) {
  SshAsn1Unread name;
  if (!decoder.read(names, "(sequence (*) (any ()))"_asn1, &name)) return false;
  for (; name; name.next()) {
    if (!ssh_x509_name_decode_general(name, decoder, list)) return false;
  }
  return true;
}
