#include "x509/dn.h"

#include <algorithm>
#include <array>
#include <utility>

#include "util/owner.h"
#include "x509/dn_parts.h"
#include "x509/oid_registry.h"

namespace {

constexpr uint32_t kRdnsAtFirst = 8;
constexpr uint32_t kPairsPerContext = 256;

constexpr const char *kEmail = "1.2.840.113549.1.9.1";
constexpr const char *kUnstructuredName = "1.2.840.113549.1.9.2";

// mode_of gives the mode in which the parts of a name are read.
SshAsn1Mode mode_of(const SshX509Rules &rules) {
  return rules.reads_whole ? SshAsn1Mode::kWhole : SshAsn1Mode::kSearch;
}

// kValueTypes has the string types that values can have, by their identifier byte in DER, and the
// character set that their letters are read in. The last two are read if the profile says so.
// VisibleString is read as IA5, which has all of its letters: the visible set of ssh_str lacks
// some. The template of read_value has the others in the same order.
struct ValueType {
  uint8_t identifier;
  int16_t charset;
  bool SshX509Rules::*rule = nullptr;
};
constexpr uint8_t kBitString = 0x03;
constexpr ValueType kValueTypes[] = {
    {0x13, SSH_CHARSET_PRINTABLE},
    {0x14, SSH_CHARSET_T61},
    {0x1E, SSH_CHARSET_BMP},
    {0x1C, SSH_CHARSET_UNIVERSAL},
    {0x0C, SSH_CHARSET_UTF8},
    {0x16, SSH_CHARSET_IA5},
    {kBitString, SSH_CHARSET_IA5},
    {0x12, SSH_CHARSET_PRINTABLE, &SshX509Rules::plain_text_values},
    {0x1A, SSH_CHARSET_IA5, &SshX509Rules::plain_text_values},
};

// CountVisitor checks a name: it lets the walk see everything, and counts the relative names.
struct CountVisitor {
  uint32_t rdns = 0;
  void rdn() { ++rdns; }
  void pair(const SshDNPairView &) {}
};

// AppendVisitor appends what it sees to a name, and is full at SSH_DN_RDNS_MAX.
struct AppendVisitor {
  SshDN *dn;
  bool full = false;

  void rdn() { full |= !ssh_dn_append(dn, SshRDNOwner(ssh_dn_rdn_new())); }
  void pair(const SshDNPairView &pair) const {
    if (full) return;
    SshStr *value = nullptr;
    if (!pair.value.empty()) {
      auto *octets = static_cast<uint8_t *>(ssh_xmemdup(pair.value.data(), pair.value.size()));
      value = ssh_str_make(pair.charset, octets, pair.value.size());
    }
    ssh_dn_rdn_append(dn->rdns[dn->count - 1], ssh_x509_oid_text(pair.type), value);
  }
};

// Encoder encodes names as DER, from the inside out: pairs are collected in `pairs_`, sorted into a
// SET, collected in `rdns_`, and put into the SEQUENCE. The ASN.1 contexts in which single pairs
// are created are freed after kPairsPerContext uses, so that a name of any size takes little memory
// beyond its encoding.
class Encoder {
 public:
  explicit Encoder(bool canonical) : canonical_(canonical) {}

  bool rdn(const SshRDN &rdn);
  bool finish(uint8_t **der, size_t *length);

 private:
  bool pair(const SshDNAva &ava);
  bool value(const SshDNAva &ava, SshAsn1Node *node);
  SshAsn1Context *context();

  bool canonical_;
  uint32_t used_ = 0;
  SshAsn1ContextOwner context_;
  SshOctets pairs_;  // of the current relative name
  SshOctets rdns_;
};

// context gives the current context, or a new one if that was used often enough.
SshAsn1Context *Encoder::context() {
  if (used_++ % kPairsPerContext == 0) context_.reset(ssh_asn1_init());
  return context_.get();
}

template <SshAsn1Text Text>
bool create_string(SshAsn1Context *context, Bytes octets, SshAsn1Node *node) {
  return ssh_asn1_create_node(context, node, SshAsn1Template<Text>{}, octets) == SSH_ASN1_OK;
}

// value encodes a pair's value in the first character set that has all of its letters. IA5 and T.61
// values get the tag of PrintableString, deliberately: names are found by their canonical encoding,
// and those that peers have stored have that tag. Two attributes are always IA5String (PKCS #9).
bool Encoder::value(const SshDNAva &ava, SshAsn1Node *node) {
  const SshStrOwner chosen(ssh_str_charset_choose(ava.value));
  if (!chosen) return false;
  size_t length = 0;
  const SshBlock block(canonical_ ? ssh_str_get_canonical(chosen.get(), &length)
                                  : ssh_str_get(chosen.get(), &length));
  if (!block) return false;
  const Bytes octets(block.get(), length);
  if (std::strcmp(ava.oid, kEmail) == 0 || std::strcmp(ava.oid, kUnstructuredName) == 0) {
    return create_string<"(ia5-string ())">(context_.get(), octets, node);
  }
  if (chosen->charset == SSH_CHARSET_BMP)
    return create_string<"(bmp-string ())">(context_.get(), octets, node);
  if (chosen->charset == SSH_CHARSET_UTF8)
    return create_string<"(utf8-string ())">(context_.get(), octets, node);
  return create_string<"(printable-string ())">(context_.get(), octets, node);
}

// AttributeTypeAndValue ::= SEQUENCE {
//      type     OBJECT IDENTIFIER,
//      value    ANY }                                                 RFC 5280, 4.1.2.4
bool Encoder::pair(const SshDNAva &ava) {
  SshAsn1Context *const in = context();
  SshAsn1Node encoded, node;
  if (!value(ava, &encoded)) return false;
  const size_t most = SSH_OID_ENCODED_MAX(std::strlen(ava.oid));
  if (most > SSH_XMALLOC_MAX) return false;
  const SshBlock type = ssh_make_block(most);
  const SshOid oid = {
      {type.get(), ssh_ber_oid_from_text(ava.oid, type.get(), ssh_x509_rules().standard_oids)}};
  if (!oid || ssh_asn1_create_node(in, &node, "(sequence ()(object-identifier ())(any ()))"_asn1,
                                   oid, encoded) != SSH_ASN1_OK) {
    return false;
  }
  pairs_.append(node.der());
  return pairs_.good();
}

// RelativeDistinguishedName ::= SET OF AttributeTypeAndValue; the set is put into DER order.
bool Encoder::rdn(const SshRDN &rdn) {
  pairs_.shrink(0);
  for (const SshDNAva *ava = rdn.pairs; ava; ava = ava->next) {
    if (!pair(*ava)) return false;
  }
  SshAsn1Work work = SshAsn1Work::for_input(pairs_.bytes().size());
  SshAsn1Node node;
  if (ssh_asn1_create_node(context(), &node, "(set ()(any ()))"_asn1,
                           ssh_asn1_list_of(pairs_.bytes(), &work)) != SSH_ASN1_OK) {
    return false;
  }
  rdns_.append(node.der());
  return rdns_.good();
}

// Name ::= SEQUENCE OF RelativeDistinguishedName
bool Encoder::finish(uint8_t **der, size_t *length) {
  SshAsn1Work work = SshAsn1Work::for_input(rdns_.bytes().size());
  SshAsn1Node node;
  if (ssh_asn1_create_node(context(), &node, "(sequence ()(any ()))"_asn1,
                           ssh_asn1_list_of(rdns_.bytes(), &work)) != SSH_ASN1_OK ||
      !node) {
    return false;
  }
  ssh_asn1_node_get_data(node, der, length);
  return true;
}

// read_value reads a pair's value if it is of one of the types that both profiles have.
bool read_value(SshAsn1Node value, const SshX509Rules &rules, SshDNPairView *pair) {
  int kind = -1;
  Bytes text[6];
  SshAsn1Bits bits;
  if (ssh_asn1_read_node_as(
          mode_of(rules), value.alone(),
          "(choice(printable-string ())(teletex-string ())(bmp-string ())(universal-string ())"
          "(utf8-string ())(ia5-string ())(bit-string ()))"_asn1,
          &kind, &text[0], &text[1], &text[2], &text[3], &text[4], &text[5],
          &bits) != SSH_ASN1_OK) {
    return false;
  }
  pair->charset = kValueTypes[kind].charset;
  pair->value =
      kValueTypes[kind].identifier == kBitString ? bits.octets.first(bits.bits / 8) : text[kind];
  return true;
}

// read_further_value reads a value of a type that the profile adds, in the primitive form of DER.
bool read_further_value(SshAsn1Node value, const SshX509Rules &rules, SshDNPairView *pair) {
  if (!value) return false;
  const SshBerElement element = ssh_asn1_node_open(value);
  pair->charset = ssh_dn_further_charset(*element.data, rules);
  pair->value = element.content();
  return pair->charset != SSH_DN_NO_CHARSET;
}

}  // namespace

constinit const std::array<int16_t, 256> ssh_dn_plain_charsets = [] {
  std::array<int16_t, 256> table = {};
  table.fill(SSH_DN_NO_CHARSET);
  for (const ValueType &row : kValueTypes)
    if (!row.rule && row.identifier != kBitString) table[row.identifier] = row.charset;
  return table;
}();

// The types that the profile adds are rare, so that they are looked for in the list.
int16_t ssh_dn_further_charset(uint8_t identifier, const SshX509Rules &rules) {
  for (const ValueType &row : kValueTypes)
    if (row.rule && row.identifier == identifier && rules.*row.rule) return row.charset;
  return SSH_DN_NO_CHARSET;
}

SshRDN *ssh_dn_rdn_new() { return ssh_make<SshRDN>(); }

void ssh_dn_rdn_free(SshRDN *rdn) {
  if (!rdn) return;
  for (SshDNAva *ava = rdn->pairs; ava;) {
    SshDNAva *next = ava->next;
    ssh_xfree(ava->oid);
    ssh_str_free(ava->value);
    ssh_xfree(ava);
    ava = next;
  }
  ssh_xfree(rdn);
}

void ssh_dn_rdn_append(SshRDN *rdn, char *oid, SshStr *value) {
  auto *ava = ssh_make<SshDNAva>();
  ava->oid = oid;
  ava->value = value;
  (rdn->last ? rdn->last->next : rdn->pairs) = ava;
  rdn->last = ava;
}

bool ssh_dn_append(SshDN *dn, SshRDNOwner rdn) {
  if (dn->count == SSH_DN_RDNS_MAX) return false;
  if (dn->count == dn->capacity) {
    dn->capacity = std::min(std::max(dn->capacity * 2, kRdnsAtFirst), SSH_DN_RDNS_MAX);
    dn->rdns = static_cast<SshRDN **>(ssh_xrealloc(dn->rdns, dn->capacity * sizeof(SshRDN *)));
  }
  dn->rdns[dn->count++] = rdn.release();
  return true;
}

bool ssh_dn_open_name(Bytes der, SshAsn1Work *work, SshAsn1Node *rdns) {
  SshAsn1Node root;
  int filled = 0;
  *rdns = {};
  if (ssh_asn1_decode_in_place(der, work, &root) != SSH_ASN1_OK || root.der().size() != der.size())
    return false;
  return ssh_asn1_read_node(root, "(sequence ()(optional(any ())))"_asn1, &filled, rdns) ==
         SSH_ASN1_OK;
}

bool ssh_dn_open_rdn(Bytes der, SshAsn1Work *work, SshAsn1Node *pairs) {
  if (ssh_asn1_decode_in_place(der, work, pairs) != SSH_ASN1_OK || !*pairs) return false;
  if (!ssh_asn1_node_open(*pairs).is(SSH_BER_UNIVERSAL, 17)) return true;
  return pairs->der().size() == der.size() && ssh_dn_read_rdn(*pairs, pairs);
}

bool ssh_dn_read_rdn(SshAsn1Node node, SshAsn1Node *pairs) {
  return ssh_asn1_read_node(node.alone(), "(set ()(any ()))"_asn1, pairs) == SSH_ASN1_OK;
}

bool ssh_dn_read_pair(SshAsn1Node node, const SshX509Rules &rules, SshDNPairView *pair) {
  SshAsn1Node value;
  if (ssh_asn1_read_node_as(mode_of(rules), node.alone(),
                            "(sequence ()(object-identifier ())(any ()))"_asn1, &pair->type,
                            &value) != SSH_ASN1_OK) {
    return false;
  }
  if (!pair->type || pair->type.octets.size() > SSH_DN_TYPE_MAX) return false;
  pair->element = value.der();
  return read_value(value, rules, pair) || read_further_value(value, rules, pair);
}

void ssh_dn_init(SshDN *dn) { *dn = {}; }

void ssh_dn_clear(SshDN *dn) {
  for (uint32_t i = 0; i < dn->count; ++i) ssh_dn_rdn_free(dn->rdns[i]);
  ssh_xfree(dn->rdns);
  *dn = {};
}

bool ssh_dn_decode_der(Bytes der, SshDN *dn) {
  AppendVisitor visitor{dn};
  return ssh_dn_walk(der, visitor) && !visitor.full;
}

bool ssh_dn_decode_rdn_der(Bytes der, SshDN *dn) {
  SshAsn1Work work = SshAsn1Work::for_input(der.size());
  SshAsn1Node pairs;
  if (!ssh_dn_open_rdn(der, &work, &pairs)) return false;
  AppendVisitor visitor{dn};
  visitor.rdn();
  return ssh_dn_walk_pairs(pairs, ssh_x509_rules(), visitor) && !visitor.full;
}

// The plain walk comes first; a name that it does not read is decided by the other.
bool ssh_dn_check_der(Bytes der, bool *empty, SshAsn1Fault *fault, const SshX509Rules &rules) {
  CountVisitor plain, any;
  if (ssh_dn_walk_plain(der, rules, plain)) {
    *empty = plain.rdns == 0;
    return true;
  }
  SshAsn1Work work = SshAsn1Work::for_input(der.size());
  const bool good = ssh_dn_walk(der, rules, any, work);
  *empty = good && any.rdns == 0;
  if (!good && fault) *fault = work.fault;
  return good;
}

bool ssh_dn_check_rdn_der(Bytes der, const SshX509Rules &rules) {
  SshAsn1Work work = SshAsn1Work::for_input(der.size());
  SshAsn1Node pairs;
  CountVisitor visitor;
  return ssh_dn_open_rdn(der, &work, &pairs) && ssh_dn_walk_pairs(pairs, rules, visitor);
}

bool ssh_dn_encode_der(const SshDN *dn, bool canonical, uint8_t **der, size_t *length) {
  *der = nullptr;
  *length = 0;
  Encoder encoder(canonical);
  for (uint32_t i = 0; i < dn->count; ++i) {
    if (!encoder.rdn(*dn->rdns[i])) return false;
  }
  return encoder.finish(der, length);
}

bool ssh_dn_encode_der_canonical(const SshDN *dn, uint8_t **der, size_t *length) {
  return ssh_dn_encode_der(dn, true, der, length);
}
