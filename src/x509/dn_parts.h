// What dn.cc (DER) and dn_text.cc (text) share: the parts of a name, and the walk over its DER.
//
//   struct Counter {
//     size_t pairs = 0;
//     void rdn() {}
//     void pair(const SshDNPairView &) { ++pairs; }
//   } counter;
//   if (!ssh_dn_walk(der, counter)) return false;
//
// To use the DER of a name in a new way, write such a visitor. As in a decode there are two walks:
// ssh_dn_walk decides, by templates; ssh_dn_walk_plain reads names of the usual form, several times
// faster, and gives up at others. Whoever walks often tries the second one first.
#pragma once

#include <array>
#include <cstring>

#include "asn1/node.h"
#include "util/octets.h"
#include "x509/dn.h"

// SSH_DN_RDNS_MAX bounds the relative names of one name, so that their array always fits into one
// block.
constexpr uint32_t SSH_DN_RDNS_MAX = SSH_XMALLOC_MAX / 8;

// SSH_DN_TYPE_MAX bounds the bytes of an attribute type, so that its dotted text always fits into
// one block.
constexpr size_t SSH_DN_TYPE_MAX = SSH_XMALLOC_MAX / 4 - 16;

// ssh_dn_is_type is true for an object identifier that may be the type of a pair.
[[nodiscard]] inline bool ssh_dn_is_type(SshOid type) {
  return type.octets.size() <= SSH_DN_TYPE_MAX && ssh_ber_oid_is_valid(type.octets);
}

// ssh_dn_rdn_new returns a relative name without pairs; ssh_dn_rdn_free frees one with its pairs.
[[nodiscard]] SshRDN *ssh_dn_rdn_new();
void ssh_dn_rdn_free(SshRDN *rdn);
using SshRDNOwner = Owner<SshRDN, ssh_dn_rdn_free>;

// ssh_dn_rdn_append adds a pair at the end, which then owns `oid` (dotted text) and `value` (or
// null).
void ssh_dn_rdn_append(SshRDN *rdn, char *oid, SshStr *value);

// ssh_dn_append adds a relative name at the end. False, with `rdn` freed, if the name is full.
[[nodiscard]] bool ssh_dn_append(SshDN *dn, SshRDNOwner rdn);

// SshDNPairView is a view of an attribute-value pair in the DER of a Name.
struct SshDNPairView {
  SshOid type;
  int32_t charset = SSH_CHARSET_PRINTABLE;
  Bytes value;    // its content bytes; if it is empty, there is no value
  Bytes element;  // the whole value, with its header
};

// The steps of a walk. ssh_dn_open_name checks the bytes of a Name and gives its relative names;
// ssh_dn_read_rdn gives the pairs of the RelativeDistinguishedName at `node`; ssh_dn_read_pair
// reads the AttributeTypeAndValue at `node`. ssh_dn_open_rdn checks the bytes of a relative name
// that stands alone, and gives its pairs. All are false if the bytes are something else.
[[nodiscard]] bool ssh_dn_read_pair(SshAsn1Node node, const SshX509Rules &rules,
                                    SshDNPairView *pair);
[[nodiscard]] bool ssh_dn_read_rdn(SshAsn1Node node, SshAsn1Node *pairs);
[[nodiscard]] bool ssh_dn_open_name(Bytes der, SshAsn1Work *work, SshAsn1Node *rdns);
[[nodiscard]] bool ssh_dn_open_rdn(Bytes der, SshAsn1Work *work, SshAsn1Node *pairs);

// ssh_dn_walk_pairs shows every pair of a list to `visitor.pair`.
template <class Visitor>
[[nodiscard]] bool ssh_dn_walk_pairs(SshAsn1Node node, const SshX509Rules &rules,
                                     Visitor &visitor) {
  SshAsn1Work *work = node.work;
  for (; node; node = ssh_asn1_node_next(node)) {
    SshDNPairView pair;
    if (!ssh_dn_read_pair(node, rules, &pair)) return false;
    visitor.pair(pair);
  }
  return !work || work->left != 0;  // with no work left, the list may have ended early
}

// ssh_dn_walk reads the DER of a Name by templates. For each relative name it calls rdn() of the
// visitor, and then pair() for each of its pairs. False at the first fault; by then the visitor may
// have seen a part of the name. If a template did not match, work.fault says why.
template <class Visitor>
[[nodiscard]] bool ssh_dn_walk(Bytes der, const SshX509Rules &rules, Visitor &visitor,
                               SshAsn1Work &work) {
  SshAsn1Node node, pairs;
  if (!ssh_dn_open_name(der, &work, &node)) return false;
  for (uint32_t count = 0; node; node = ssh_asn1_node_next(node)) {
    if (++count > SSH_DN_RDNS_MAX || !ssh_dn_read_rdn(node, &pairs)) return false;
    visitor.rdn();
    if (!ssh_dn_walk_pairs(pairs, rules, visitor)) return false;
  }
  return work.left != 0;
}
template <class Visitor>
[[nodiscard]] bool ssh_dn_walk(Bytes der, Visitor &visitor,
                               const SshX509Rules &rules = ssh_x509_rules()) {
  SshAsn1Work work = SshAsn1Work::for_input(der.size());
  return ssh_dn_walk(der, rules, visitor, work);
}

// ssh_dn_value_charset gives the character set of a value by its identifier byte, or
// SSH_DN_NO_CHARSET if the profile does not take values of that type. A BIT STRING has none here:
// its content is not letters alone, and as it is rare, ssh_dn_walk reads it.
constexpr int16_t SSH_DN_NO_CHARSET = -1;
extern const std::array<int16_t, 256> ssh_dn_plain_charsets;
[[nodiscard]] int16_t ssh_dn_further_charset(uint8_t identifier, const SshX509Rules &rules);
[[nodiscard]] inline int16_t ssh_dn_value_charset(uint8_t identifier, const SshX509Rules &rules) {
  const int16_t charset = ssh_dn_plain_charsets[identifier];
  return charset != SSH_DN_NO_CHARSET ? charset : ssh_dn_further_charset(identifier, rules);
}

// ssh_dn_read_plain_pair reads the pair at `p` and returns its end. Null if it is not of the usual
// form: definite lengths, a primitive value, nothing behind the value.
[[nodiscard, gnu::always_inline]] inline const uint8_t *ssh_dn_read_plain_pair(
    const uint8_t *p, const uint8_t *end, const SshX509Rules &rules, SshDNPairView *pair) {
  if (*p != 0x30) return nullptr;
  const SshBerSpan whole = ssh_ber_span(p, end);
  if (whole.content == whole.end || *whole.content != 0x06) return nullptr;
  const SshBerSpan type = ssh_ber_span(whole.content, whole.end);
  pair->type.octets = type.bytes();
  if (type.end == whole.end || !ssh_dn_is_type(pair->type)) return nullptr;
  pair->charset = ssh_dn_value_charset(*type.end, rules);
  const SshBerSpan value = ssh_ber_span(type.end, whole.end);
  pair->value = value.bytes();
  pair->element = {type.end, whole.end};
  return pair->charset != SSH_DN_NO_CHARSET && value.end == whole.end ? whole.end : nullptr;
}

// ssh_dn_walk_plain does as ssh_dn_walk with bytes that nobody has checked, if the name is of the
// usual form. False if it is not; by then the visitor may have seen a part of the name.
template <class Visitor>
[[nodiscard]] bool ssh_dn_walk_plain(Bytes der, const SshX509Rules &rules, Visitor &visitor) {
  const uint8_t *const end = der.data() + der.size();
  if (der.empty() || der[0] != 0x30) return false;
  const SshBerSpan rdns = ssh_ber_span(der.data(), end);
  if (rdns.end != end || rdns.bytes().size() > SSH_DN_RDNS_MAX) return false;
  for (const uint8_t *at = rdns.content; at != end;) {
    if (*at != 0x31) return false;
    const SshBerSpan pairs = ssh_ber_span(at, end);
    if (!pairs.content) return false;
    visitor.rdn();
    for (const uint8_t *in = pairs.content; in != pairs.end;) {
      SshDNPairView pair;
      in = ssh_dn_read_plain_pair(in, pairs.end, rules, &pair);
      if (!in) return false;
      visitor.pair(pair);
    }
    at = pairs.end;
  }
  return true;
}
