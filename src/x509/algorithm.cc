#include "x509/algorithm.h"

#include "x509/decoder.h"

namespace {

constexpr SshOidConstant kSha1("1.3.14.3.2.26"), kMgf1("1.2.840.113549.1.1.8");

// Parsed is bytes that were checked, as the list of their elements. The list is empty if they are
// not well-formed.
struct Parsed {
  explicit Parsed(Bytes octets) : work(SshAsn1Work::for_input(octets.size())) {
    if (ssh_asn1_decode_in_place(octets, &work, &root) != SSH_ASN1_OK) root = {};
  }
  Parsed(const Parsed &) = delete;
  Parsed &operator=(const Parsed &) = delete;

  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read(SshAsn1Template<Text> text, Outputs... outputs) const {
    return root &&
           ssh_asn1_read_node_as(SshAsn1Mode::kWhole, root, text, outputs...) == SSH_ASN1_OK;
  }

  SshAsn1Work work;
  SshAsn1Node root;
};

// read_optional reads an AlgorithmIdentifier if there is one, and leaves the default otherwise.
bool read_optional(SshAsn1Node node, SshX509Algorithm *algorithm) {
  return !node || ssh_x509_algorithm_read(node.der(), algorithm);
}

}  // namespace

// AlgorithmIdentifier ::= SEQUENCE {
//      algorithm     OBJECT IDENTIFIER,
//      parameters    ANY DEFINED BY algorithm OPTIONAL }                          RFC 5280, 4.1.1.2
bool ssh_x509_algorithm_read(Bytes der, SshX509Algorithm *algorithm) {
  const Parsed parsed(der);
  const SshAsn1Mode mode =
      ssh_x509_rules().reads_whole ? SshAsn1Mode::kWhole : SshAsn1Mode::kSearch;
  SshAsn1Node parameters;
  if (!parsed.root ||
      ssh_asn1_read_node_as(mode, parsed.root, "(sequence ()(object-identifier ())(any ()))"_asn1,
                            &algorithm->id, &parameters) != SSH_ASN1_OK) {
    return false;
  }
  algorithm->parameters = parameters.der();
  return true;
}

// RSASSA-PSS-params ::= SEQUENCE {
//      hashAlgorithm      [0] HashAlgorithm DEFAULT sha1Identifier,
//      maskGenAlgorithm   [1] MaskGenAlgorithm DEFAULT mgf1SHA1Identifier,
//      saltLength         [2] INTEGER DEFAULT 20,
//      trailerField       [3] INTEGER DEFAULT 1 }                                  RFC 4055, 3.1
bool ssh_x509_pss_parameters_read(Bytes parameters, SshX509PssParameters *pss) {
  int has_hash = 0, has_mask = 0, has_salt = 0, has_trailer = 0;
  SshAsn1Node hash_node, mask_node;
  const Parsed parsed(parameters);
  if (!parsed.read("(sequence ()(optional(any (e 0)))(optional(any (e 1)))"
                   "(optional(integer (e 2)))(optional(integer (e 3))))"_asn1,
                   &has_hash, &hash_node, &has_mask, &mask_node, &has_salt, &pss->salt_length,
                   &has_trailer, &pss->trailer_field)) {
    return false;
  }
  SshX509Algorithm hash = {kSha1.oid(), {}}, mask = {kMgf1.oid(), {}}, mask_hash = hash;
  if (!read_optional(hash_node, &hash) || !read_optional(mask_node, &mask)) return false;
  if (mask_node && !ssh_x509_algorithm_read(mask.parameters, &mask_hash)) return false;
  pss->hash = hash.id;
  pss->mask_generation = mask.id;
  pss->mask_hash = mask_hash.id;
  return true;
}

// ECParameters ::= CHOICE {
//      namedCurve      OBJECT IDENTIFIER,
//      implicitCurve   NULL,
//      specifiedCurve  SpecifiedECDomain }                                     RFC 5480, 2.1.1
// SpecifiedECDomain ::= SEQUENCE {
//      version INTEGER, fieldID SEQUENCE { type OBJECT IDENTIFIER, ANY }, ... }
// The field is a prime p or, of characteristic two, SEQUENCE { m INTEGER, ... }.    RFC 3279, 2.3.5
bool ssh_x509_curve_read(Bytes parameters, SshX509Curve *curve) {
  const Parsed parsed(parameters);
  curve->implied = parameters.empty() || parsed.read("(null ())"_asn1);
  if (curve->implied || parsed.read("(object-identifier ())"_asn1, &curve->name)) return true;
  int which = -1;
  SshMpInt version, prime, degree;
  SshOid type;
  uint32_t size = 0;
  if (!parsed.root ||
      ssh_asn1_read_node(parsed.root,
                         "(sequence ()(integer ())(sequence ()(object-identifier ())"
                         "(choice(integer ())(sequence ()(integer ())))))"_asn1,
                         &version, &type, &which, &prime, &degree) != SSH_ASN1_OK) {
    return false;
  }
  curve->field_bits = which == 0 ? prime.bits() : degree.to_uint32(size) ? size : 0;
  return true;
}

// DHParameter ::= SEQUENCE { prime INTEGER, base INTEGER, privateValueLength INTEGER OPTIONAL }
//                                                                                PKCS #3, 9
// DomainParameters ::= SEQUENCE { p INTEGER, g INTEGER, q INTEGER, ... }        RFC 3279, 2.3.3
void ssh_x509_dh_numbers_read(const SshX509Key &key, SshX509Key *numbers) {
  const Parsed parameters(key.parameters), value(key.value);
  const SshOidRow *row = key.algorithm;
  const bool has_q = !row || std::strcmp(row->name, "diffieHellman") == 0;
  Bytes third;
  int has_third = 0;
  if (parameters.root &&
      ssh_asn1_read_node(parameters.root,
                         "(sequence ()(integer ())(integer ())(optional(integer ())))"_asn1,
                         &numbers->p, &numbers->g, &has_third, &third) == SSH_ASN1_OK &&
      has_q) {
    numbers->q = third;
  }
  (void)value.read("(integer ())"_asn1, &numbers->y);
}
