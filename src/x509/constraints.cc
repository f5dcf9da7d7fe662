// Name constraints and policy constraints. Each is read in one of two ways, which the profile
// chooses (x509/profile.h): as the standard says, or as classic clients have always read it, which
// is odd but decides what they accept. What is read in neither way is refused: a constraint must
// not be dropped silently.
#include "x509/cert.h"
#include "x509/decoder.h"

namespace {

// read_limit stores an optional integer. It is false if `tested`, which may be another integer, has
// more than 24 bits.
bool read_limit(int present, const SshMpInt &integer, const SshMpInt &tested, uint32_t &out) {
  if (!present) return true;
  if (tested.bits() > 24) return false;
  out = integer.low32();
  return true;
}

// GeneralSubtree ::= SEQUENCE {
//      base                    GeneralName,
//      minimum         [0]     BaseDistance DEFAULT 0,
//      maximum         [1]     BaseDistance OPTIONAL }
bool decode_subtree(const SshAsn1Node &given, SshX509Subtree &subtree, SshX509Decoder &decoder) {
  SshAsn1Node base;
  int has_minimum = 0, has_maximum = 0;
  SshMpInt minimum, maximum;
  if (!decoder.read_known(
          given, "(sequence ()(any ())(optional (integer (0)))(optional (integer (1))))"_asn1,
          &base, &has_minimum, &minimum, &has_maximum, &maximum)) {
    return false;
  }
  if (!read_limit(has_minimum, minimum, minimum, subtree.minimum) ||
      !read_limit(has_maximum, maximum, maximum, subtree.maximum))
    return decoder.refuse("number of a subtree", SSH_X509_RULE_24_BITS, given.data);
  SshAsn1Unread name(base);
  return ssh_x509_name_decode_general(name, decoder, &subtree.base);
}

// GeneralSubtrees ::= SEQUENCE SIZE (1..MAX) OF GeneralSubtree
// Classic: for each element of the list the fields are read from the list and not from the element,
// deliberately: which certificates with name constraints are accepted must stay what it was. (Those
// of today's usual form are refused.) So every element gives what the first one gave. The fields
// are therefore read once and copied, and the work for reading them again is only subtracted.
bool decode_subtrees(SshAsn1Node given, SshX509Subtree **list, SshX509Decoder &decoder) {
  SshAsn1Node cursor;
  if (!decoder.read(given, "(sequence ()(any ()))"_asn1, &cursor)) return false;
  SshX509Tail subtrees(list);
  for (const SshX509Subtree *first = nullptr; cursor; cursor = ssh_asn1_node_next(cursor)) {
    if (decoder.work.left == 0) return false;  // no read fails here, as nothing is read
    auto *subtree = decoder.pool.make<SshX509Subtree>();
    if (first) {
      decoder.work.spend_again(first->base ? first->base->der.size() : 0);
      auto *base = first->base ? decoder.pool.make<SshX509Name>(*first->base) : nullptr;
      *subtree = {nullptr, base, first->minimum, first->maximum};
    } else if (!decode_subtree(given, *subtree, decoder)) {
      return false;
    }
    if (!first) first = subtree;
    subtrees.append(subtree);
  }
  return true;
}

// holds is true if a list has this number of elements.
bool holds(SshAsn1Node list, int elements) {
  for (; list; list = ssh_asn1_node_next(list)) --elements;
  return elements == 0;
}

// store_counts stores two optional numbers; false if one has more than 32 bits.
bool store_counts(int has_first, const SshMpInt &one, uint32_t &first, int has_second,
                  const SshMpInt &other, uint32_t &second) {
  return (!has_first || one.to_uint32(first)) && (!has_second || other.to_uint32(second));
}

// GeneralSubtree, as the standard says. The base is read before the numbers and by itself, because
// its tag can be the same as that of a number.
bool decode_standard_subtree(SshAsn1Unread &item, SshX509Subtree &subtree,
                             SshX509Decoder &decoder) {
  SshAsn1Unread base;
  int has_minimum = 0, has_maximum = 0;
  SshMpInt minimum, maximum;
  if (!decoder.read_whole(item, "(sequence ()(any ()))"_asn1, &base) ||
      !ssh_x509_name_decode_general(base, decoder, &subtree.base))
    return false;
  if (!subtree.base) {
    // An empty directory name has no entry in other lists, but here it stands for the whole
    // directory.
    subtree.base = decoder.pool.make<SshX509Name>();
    subtree.base->type = SSH_X509_NAME_DIRECTORY;
    subtree.base->der = ssh_asn1_node_child(ssh_asn1_list_of(base.der(), &decoder.work)).der();
  }
  base.next();
  if (!decoder.read_whole_list(base, "(optional (integer (0)))(optional (integer (1)))"_asn1,
                               &has_minimum, &minimum, &has_maximum, &maximum))
    return false;
  const bool stored =
      store_counts(has_minimum, minimum, subtree.minimum, has_maximum, maximum, subtree.maximum);
  return decoder.require(stored, "number of a subtree", SSH_X509_RULE_32_BITS, item.data());
}

bool decode_standard_name_constraints(SshAsn1Unread &value, SshX509Cert &cert,
                                      SshX509Decoder &decoder) {
  int has_permitted = 0, has_excluded = 0;
  SshAsn1Unread permitted, excluded;
  const auto read = [&](SshAsn1Unread &item, SshX509Subtree &subtree) {
    return decode_standard_subtree(item, subtree, decoder);
  };
  return decoder.read_whole(value,
                            "(sequence ()(optional (sequence (0) (any ())))"
                            "(optional (sequence (1) (any ()))))"_asn1,
                            &has_permitted, &permitted, &has_excluded, &excluded) &&
         ssh_x509_decode_items(permitted, &cert.permitted, decoder, read) &&
         ssh_x509_decode_items(excluded, &cert.excluded, decoder, read);
}

// The standard has one constraint. If the value is none, it is read as the list of constraints that
// classic reads: no value can be both, and what was issued for classic clients stays readable.
bool decode_standard_policy_constraints(SshAsn1Unread &value, SshX509Cert &cert,
                                        SshX509Decoder &decoder) {
  const auto read = [&](SshAsn1Unread &item, SshX509PolicyConstraint &constraint) {
    int has_explicit = 0, has_inhibit = 0;
    SshMpInt require_explicit, inhibit;
    if (!decoder.read_whole(item,
                            "(sequence ()(optional (integer (0)))(optional (integer (1))))"_asn1,
                            &has_explicit, &require_explicit, &has_inhibit, &inhibit))
      return false;
    const bool stored =
        store_counts(has_explicit, require_explicit, constraint.require_explicit_policy,
                     has_inhibit, inhibit, constraint.inhibit_policy_mapping);
    return decoder.require(stored, "policy constraint", SSH_X509_RULE_32_BITS, item.data());
  };
  auto *single = decoder.pool.make<SshX509PolicyConstraint>();
  if (!read(value, *single))
    return ssh_x509_decode_list(value, &cert.policy_constraints, decoder, read);
  SshX509Tail(&cert.policy_constraints).append(single);
  return true;
}

}  // namespace

// NameConstraints ::= SEQUENCE {
//      permittedSubtrees       [0]     GeneralSubtrees OPTIONAL,
//      excludedSubtrees        [1]     GeneralSubtrees OPTIONAL }                RFC 5280, 4.2.1.10
// Classic: the excluded subtrees are read from the permitted ones too, deliberately; without
// permitted ones there is nothing to read, and the certificate is refused. The list of subtrees is
// a further element behind the fields, where decode_subtrees finds it. So that is the number of
// elements that there may be.
bool ssh_x509_decode_name_constraints(SshAsn1Unread &value, SshX509Cert &cert,
                                      SshX509Decoder &decoder) {
  if (decoder.rules.standard_name_constraints)
    return decode_standard_name_constraints(value, cert, decoder);
  int has_permitted = 0, has_excluded = 0;
  SshAsn1Node permitted, excluded;
  const SshAsn1Node node = decoder.node(value);  // checked, as decode_subtrees walks over it
  if (!decoder.read_known(node, "(sequence ()(optional (any (0))) (optional (any (1))))"_asn1,
                          &has_permitted, &permitted, &has_excluded, &excluded)) {
    return false;
  }
  const int lists = has_permitted + has_excluded;
  if (!holds(ssh_asn1_node_child(ssh_x509_sequence_in(node)), lists > 0 ? lists + 1 : 0))
    return decoder.refuse("name constraints", "are of the form of today, not of the classic one",
                          node.data);
  if (has_permitted && !decode_subtrees(permitted, &cert.permitted, decoder)) return false;
  return !has_excluded || decode_subtrees(permitted, &cert.excluded, decoder);
}

// PolicyConstraints ::= SEQUENCE {
//      requireExplicitPolicy           [0] SkipCerts OPTIONAL,
//      inhibitPolicyMapping            [1] SkipCerts OPTIONAL }                  RFC 5280, 4.2.1.11
// Classic: the value is a list, and each element of it is one constraint. The size of the first
// integer is tested for both, deliberately.
bool ssh_x509_decode_policy_constraints(SshAsn1Unread &value, SshX509Cert &cert,
                                        SshX509Decoder &decoder) {
  if (decoder.rules.standard_policy_constraints)
    return decode_standard_policy_constraints(value, cert, decoder);
  const auto read = [&](SshAsn1Unread &item, SshX509PolicyConstraint &constraint) {
    int has_explicit = 0, has_inhibit = 0;
    SshMpInt require_explicit, inhibit;
    if (!decoder.read_whole(item,
                            "(sequence ()(optional (integer (0)))(optional (integer (1))))"_asn1,
                            &has_explicit, &require_explicit, &has_inhibit, &inhibit)) {
      return false;
    }
    if (!read_limit(has_explicit, require_explicit, require_explicit,
                    constraint.require_explicit_policy) ||
        !read_limit(has_inhibit, inhibit, require_explicit, constraint.inhibit_policy_mapping))
      return decoder.refuse("policy constraint", SSH_X509_RULE_24_BITS, item.data());
    return true;
  };
  return ssh_x509_decode_list(value, &cert.policy_constraints, decoder, read);
}
