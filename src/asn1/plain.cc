#include "asn1/plain.h"

bool ssh_asn1_is_well_formed(Bytes octets) { return !ssh_ber_check(octets).fault; }

bool SshAsn1Unread::check() {
  if (!ssh_asn1_is_well_formed(node_.list())) return false;
  const SshAsn1Node checked = ssh_asn1_list_of(node_.list(), node_.work);
  if (checked.data != node_.data || (node_.next && checked.next != node_.next)) return false;
  set(checked);
  return true;
}
