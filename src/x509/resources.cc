#include "x509/resources.h"

namespace {

template <SshAsn1Text Text, class... Outputs>
bool read(SshAsn1Node node, SshAsn1Template<Text> text, Outputs... outputs) {
  return ssh_asn1_read_node_as(SshAsn1Mode::kWhole, node.alone(), text, outputs...) == SSH_ASN1_OK;
}

// take gives the first element of a list and removes it from the list; the null node at the end.
SshAsn1Node take(Bytes &list, SshAsn1Work &work) {
  const SshAsn1Node node = ssh_asn1_list_of(list, &work);
  if (node) list = {node.next, node.end};
  return node;
}

}  // namespace

// IPAddressFamily ::= SEQUENCE {
//      addressFamily    OCTET STRING (SIZE (2..3)),
//      ipAddressChoice  CHOICE { inherit NULL, addressesOrRanges SEQUENCE OF IPAddressOrRange } }
//                                                                            RFC 3779, 2.2.3
bool SshX509AddressFamilyCursor::next() {
  constexpr uint8_t kIpv6 = 2;
  const SshAsn1Node node = take(items_, work_);
  if (!node || failed_) return false;
  Bytes family;
  SshAsn1Node list;
  int which = -1;
  failed_ = !read(node, "(sequence ()(octet-string ())(choice(null ())(sequence ()(any ()))))"_asn1,
                  &family, &which, &list) ||
            family.size() < 2;
  if (failed_) return false;
  v6_ = family[1] == kIpv6;
  inherited_ = which == 0;
  blocks_ = list.list();
  return true;
}

// IPAddressOrRange ::= CHOICE {
//      addressPrefix    BIT STRING,
//      addressRange     SEQUENCE { min BIT STRING, max BIT STRING } }
bool SshX509AddressCursor::next() {
  const SshAsn1Node node = take(blocks_, work_);
  if (!node || failed_) return false;
  prefix_ = read(node, "(bit-string ())"_asn1, &first_);
  failed_ =
      !prefix_ && !read(node, "(sequence ()(bit-string ())(bit-string ()))"_asn1, &first_, &last_);
  return !failed_;
}

// ASIdentifiers ::= SEQUENCE {
//      asnum  [0] EXPLICIT ASIdentifierChoice OPTIONAL,
//      rdi    [1] EXPLICIT ASIdentifierChoice OPTIONAL }
// ASIdentifierChoice ::= CHOICE { inherit NULL, asIdsOrRanges SEQUENCE OF ASIdOrRange }
//                                                                            RFC 3779, 3.2.3
bool ssh_x509_as_numbers_read(Bytes value, SshX509AsNumbers *numbers, SshX509AsNumbers *domains) {
  SshAsn1Work work = SshAsn1Work::for_input(value.size());
  int has_numbers = 0, has_domains = 0, first = -1, second = -1;
  SshAsn1Node root, list, other, choice, other_choice;
  if (ssh_asn1_decode_in_place(value, &work, &root) != SSH_ASN1_OK || !root ||
      !read(root, "(sequence ()(optional(any (e 0)))(optional(any (e 1))))"_asn1, &has_numbers,
            &choice, &has_domains, &other_choice))
    return false;
  constexpr auto kChoice = "(choice(null ())(sequence ()(any ())))"_asn1;
  if (has_numbers && !read(choice, kChoice, &first, &list)) return false;
  if (has_domains && !read(other_choice, kChoice, &second, &other)) return false;
  *numbers = {has_numbers != 0, first == 0, list.list()};
  *domains = {has_domains != 0, second == 0, other.list()};
  return true;
}

// ASIdOrRange ::= CHOICE { id INTEGER, range SEQUENCE { min INTEGER, max INTEGER } }
bool SshX509AsNumberCursor::next() {
  const SshAsn1Node node = take(numbers_, work_);
  if (!node || failed_) return false;
  range_ = !read(node, "(integer ())"_asn1, &first_);
  failed_ = range_ && !read(node, "(sequence ()(integer ())(integer ()))"_asn1, &first_, &last_);
  return !failed_;
}
