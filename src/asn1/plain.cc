#include "asn1/plain.h"

SshAsn1PlainSpan ssh_asn1_plain_open_long(const uint8_t *p, const uint8_t *end) {
  uint32_t length = 0;
  if (const uint8_t *content = ssh_ber_find_long_content(p, end, length))
    return {content, content + length};
  SshBerElement element;
  if (ssh_ber_open(p, end, element) != SSH_BER_OK || element.indefinite) return {};
  return {p + element.header_length, p + element.header_length + element.content_length};
}

bool ssh_asn1_is_well_formed(Bytes octets) { return !ssh_ber_check(octets).fault; }

bool SshAsn1Unread::check() {
  if (!ssh_asn1_is_well_formed(node_.list())) return false;
  const SshAsn1Node checked = ssh_asn1_list_of(node_.list(), node_.work);
  if (checked.data != node_.data || (node_.next && checked.next != node_.next)) return false;
  set(checked);
  return true;
}
