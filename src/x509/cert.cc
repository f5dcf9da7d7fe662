#include "x509/cert.h"

#include "util/mem.h"
#include "x509/decoder.h"
#include "x509/signature.h"
#include "x509/subject_key.h"

namespace {

constexpr uint8_t kBitString = 0x03;

// PrivateKeyUsagePeriod ::= SEQUENCE {
//      notBefore       [0]     GeneralizedTime OPTIONAL,
//      notAfter        [1]     GeneralizedTime OPTIONAL }                    RFC 3280, 4.2.1.4
bool decode_key_usage_period(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  int has_from = 0, has_to = 0;
  auto *period = decoder.pool.make<SshX509Period>();
  cert.key_period = period;
  return decoder.read(
      value, "(sequence ()(optional(generalized-time (0)))(optional(generalized-time (1))))"_asn1,
      &has_from, &period->not_before, &has_to, &period->not_after);
}

bool decode_authority_key_id(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  return ssh_x509_decode_key_id(value, &cert.authority_key_id, decoder);
}

// SubjectKeyIdentifier ::= OCTET STRING
//                                                                 RFC 5280, 4.2.1.2
bool decode_subject_key_id(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  auto *id = decoder.pool.make<SshX509KeyId>();
  cert.subject_key_id = id;
  return decoder.read(value, "(octet-string ())"_asn1, &id->key_id);
}

// KeyUsage ::= BIT STRING
//                                                                 RFC 5280, 4.2.1.3
bool decode_key_usage(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshAsn1Bits bits;
  if (!decoder.read(value, "(bit-string ())"_asn1, &bits)) return false;
  cert.key_usage = ssh_x509_bits_to_mask(bits);
  return true;
}

bool decode_policies(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  return ssh_x509_decode_policies(value, &cert.policies, decoder);
}

// PolicyMappings ::= SEQUENCE SIZE (1..MAX) OF SEQUENCE {
//      issuerDomainPolicy      CertPolicyId,
//      subjectDomainPolicy     CertPolicyId }                                    RFC 5280, 4.2.1.5
bool decode_policy_mappings(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshAsn1Unread item;
  if (!decoder.read(value, "(sequence ()(any ()))"_asn1, &item)) return false;
  SshX509Tail mappings(&cert.policy_mappings);
  for (; item; item.next()) {
    auto *mapping = decoder.pool.make<SshX509PolicyMapping>();
    if (!decoder.read(item, "(sequence ()(object-identifier ())(object-identifier ()))"_asn1,
                      &mapping->issuer_policy, &mapping->subject_policy)) {
      return false;
    }
    mappings.append(mapping);
  }
  return true;
}

bool decode_subject_alt_name(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  return ssh_x509_name_decode_general_names(value, decoder, &cert.subject_names);
}

bool decode_issuer_alt_name(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  return ssh_x509_name_decode_general_names(value, decoder, &cert.issuer_names);
}

// SubjectDirectoryAttributes ::= SEQUENCE SIZE (1..MAX) OF Attribute
//                                                                 RFC 5280, 4.2.1.8
// Attribute ::= SEQUENCE { type OBJECT IDENTIFIER, values SET OF AttributeValue }
bool decode_directory_attributes(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshAsn1Unread item;
  if (!decoder.read(value, "(sequence ()(any ()))"_asn1, &item)) return false;
  SshX509Tail attributes(&cert.directory_attributes);
  for (; item; item.next()) {
    auto *attribute = decoder.pool.make<SshX509Attribute>();
    SshAsn1Node values;
    if (!decoder.read(item, "(sequence ()(object-identifier ())(any ()))"_asn1, &attribute->type,
                      &values)) {
      return false;
    }
    attribute->value = values.der();
    attributes.append(attribute);
  }
  return true;
}

// BasicConstraints ::= SEQUENCE {
//      cA                 BOOLEAN DEFAULT FALSE,
//      pathLenConstraint  INTEGER (0..MAX) OPTIONAL }                            RFC 5280, 4.2.1.9
bool decode_basic_constraints(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  int has_ca = 0, has_path = 0;
  SshMpInt path;
  // A negative length or one of 2^32 or more is refused.
  return decoder.read_whole(value, "(sequence ()(optional(boolean ()))(optional(integer ())))"_asn1,
                            &has_ca, &cert.ca, &has_path, &path) &&
         (!has_path || path.to_uint32(cert.path_length));
}

bool decode_authority_info_access(SshAsn1Unread &value, SshX509Cert &cert,
                                  SshX509Decoder &decoder) {
  return ssh_x509_decode_access(value, &cert.authority_info_access, decoder);
}

bool decode_distribution_points(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  return ssh_x509_decode_points(value, cert.issuer_names, &cert.distribution_points, decoder);
}

// ExtKeyUsageSyntax ::= SEQUENCE SIZE (1..MAX) OF KeyPurposeId
//                                                                RFC 5280, 4.2.1.12
bool decode_extended_key_usage(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshAsn1Unread item;
  if (!decoder.read(value, "(sequence () (any ()))"_asn1, &item)) return false;
  SshX509Tail purposes(&cert.extended_key_usage);
  for (; item; item.next()) {
    auto *purpose = decoder.pool.make<SshX509KeyPurpose>();
    if (!decoder.read(item, "(object-identifier ())"_asn1, &purpose->id)) return false;
    purposes.append(purpose);
  }
  return true;
}

constexpr SshX509ExtensionTable<SshX509Cert> kExtensions({
    {SSH_X509_EXT_AUTHORITY_KEY_ID, decode_authority_key_id},
    {SSH_X509_EXT_SUBJECT_KEY_ID, decode_subject_key_id},
    {SSH_X509_EXT_KEY_USAGE, decode_key_usage},
    {SSH_X509_EXT_PRIVATE_KEY_USAGE_PERIOD, decode_key_usage_period},
    {SSH_X509_EXT_CERTIFICATE_POLICIES, decode_policies},
    {SSH_X509_EXT_POLICY_MAPPINGS, decode_policy_mappings},
    {SSH_X509_EXT_SUBJECT_ALT_NAME, decode_subject_alt_name},
    {SSH_X509_EXT_ISSUER_ALT_NAME, decode_issuer_alt_name},
    {SSH_X509_EXT_SUBJECT_DIRECTORY_ATTRIBUTES, decode_directory_attributes},
    {SSH_X509_EXT_BASIC_CONSTRAINTS, decode_basic_constraints},
    {SSH_X509_EXT_NAME_CONSTRAINTS, ssh_x509_decode_name_constraints},
    {SSH_X509_EXT_POLICY_CONSTRAINTS, ssh_x509_decode_policy_constraints},
    {SSH_X509_EXT_AUTHORITY_INFO_ACCESS, decode_authority_info_access},
    {SSH_X509_EXT_CRL_DISTRIBUTION_POINTS, decode_distribution_points},
    {SSH_X509_EXT_EXTENDED_KEY_USAGE, decode_extended_key_usage},
});

// UniqueIdentifier ::= BIT STRING; its length is kept in bits, deliberately, unlike that of every
// other name.
void add_unique_id(const SshAsn1Bits &bits, SshPool &pool, SshX509Name **list) {
  auto *name = pool.make<SshX509Name>();
  name->type = SSH_X509_NAME_UNIQUE_ID;
  name->data = bits.octets;
  name->data_length = static_cast<uint32_t>(bits.bits);
  ssh_x509_name_add(list, name);
}

// Validity ::= SEQUENCE { notBefore Time, notAfter Time }
bool decode_validity(SshAsn1Unread &validity, SshX509Cert &cert, SshX509Decoder &decoder) {
  int from = -1, to = -1;
  return decoder.read(validity,
                      "(sequence ()(choice (utc-time ()) (generalized-time ()))"
                      "(choice (utc-time ()) (generalized-time ())))"_asn1,
                      &from, &cert.not_before, &cert.not_before, &to, &cert.not_after,
                      &cert.not_after);
}

// TbsParts are the elements of a TBSCertificate.
struct TbsParts {
  int has_version = 0, has_issuer_id = 0, has_subject_id = 0, has_extensions = 0;
  SshMpInt version;
  SshAsn1Unread algorithm, issuer, validity, subject, key, extensions;
  SshAsn1Bits issuer_id, subject_id;
};

// TBSCertificate ::= SEQUENCE {
//      version         [0]  EXPLICIT Version DEFAULT v1,
//      serialNumber         CertificateSerialNumber,
//      signature            AlgorithmIdentifier,
//      issuer               Name,
//      validity             Validity,
//      subject              Name,
//      subjectPublicKeyInfo SubjectPublicKeyInfo,
//      issuerUniqueID  [1]  IMPLICIT UniqueIdentifier OPTIONAL,
//      subjectUniqueID [2]  IMPLICIT UniqueIdentifier OPTIONAL,
//      extensions      [3]  EXPLICIT Extensions OPTIONAL }                       RFC 5280, 4.1
bool read_tbs(SshAsn1Unread &tbs, TbsParts &parts, SshX509Cert &cert, SshX509Decoder &decoder) {
  return decoder.read_known(
      tbs,
      "(sequence ()(optional(integer (e 0)))(integer ())(any ())(any ())(any ())(any "
      "())(any ())"
      "(optional(bit-string (1)))(optional(bit-string (2)))(optional(any (e 3))))"_asn1,
      &parts.has_version, &parts.version, &cert.serial, &parts.algorithm, &parts.issuer,
      &parts.validity, &parts.subject, &parts.key, &parts.has_issuer_id, &parts.issuer_id,
      &parts.has_subject_id, &parts.subject_id, &parts.has_extensions, &parts.extensions);
}

// version_of gives the INTEGER under the version's tag, which is there.
SshAsn1Node version_of(SshAsn1Node tbs) {
  constexpr uint8_t kVersion = 0xA0;
  return ssh_asn1_node_child(ssh_asn1_node_find(ssh_asn1_node_child(tbs), kVersion));
}

// set_version gives the record its version if the fields that are present belong to it.
bool set_version(const TbsParts &parts, SshX509Cert &cert) {
  uint32_t encoded = 0;
  if (!parts.version.to_uint32(encoded) || encoded > 2) return false;
  if (encoded < 1 && (parts.has_issuer_id || parts.has_subject_id)) return false;
  if (encoded < 2 && parts.has_extensions) return false;
  cert.version = encoded + 1;
  return true;
}

// decode_algorithms compares the algorithms by the scheme that they stand for, and where that is in
// their parameters by these too: nobody has signed the outer ones.       RFC 5280, 4.1.1.2
bool decode_algorithms(SshAsn1Unread &outer, SshAsn1Unread &inner, SshX509Cert &cert,
                       SshX509Decoder &decoder) {
  SshAsn1Node parameters, signed_parameters;
  ssh_x509_to_sequence(outer, decoder);
  ssh_x509_to_sequence(inner, decoder);
  cert.algorithm = outer.der();
  cert.signed_algorithm = inner.der();
  const SshOidRow *row = ssh_x509_signature_algorithm(outer, decoder, &parameters);
  if (!row) return false;
  cert.signature_key_type = row->code;
  cert.signature_scheme = row->description;
  const SshOidRow *signed_row = ssh_x509_signature_algorithm(inner, decoder, &signed_parameters);
  if (!signed_row) return false;
  if (row != signed_row && std::strcmp(row->description, signed_row->description) != 0)
    return decoder.refuse("two signature algorithms that differ", inner.data());
  if (row->code != SSH_OID_KEY_RSA_PSS ||
      ssh_bytes_equal(parameters.der(), signed_parameters.der()))
    return true;
  return decoder.refuse("two signature algorithms whose parameters differ", inner.data());
}

bool decode_names(TbsParts &parts, SshX509Cert &cert, SshX509Decoder &decoder) {
  if (!ssh_x509_name_decode_dn(parts.issuer, SSH_X509_NAME_DN, decoder, &cert.issuer_names)) {
    return decoder.refuse("issuer", parts.issuer.data());
  }
  if (!ssh_x509_name_decode_dn(parts.subject, SSH_X509_NAME_DN, decoder, &cert.subject_names)) {
    return decoder.refuse("subject", parts.subject.data());
  }
  if (parts.has_issuer_id) add_unique_id(parts.issuer_id, decoder.pool, &cert.issuer_names);
  if (parts.has_subject_id) add_unique_id(parts.subject_id, decoder.pool, &cert.subject_names);
  return true;
}

// signature_in finds the signature behind its algorithm. What stands behind a plain one cannot be
// reached from it.
const uint8_t *signature_in(SshAsn1Node algorithm, SshX509Decoder &decoder) {
  decoder.unusual |= decoder.plain;
  return decoder.plain ? nullptr : ssh_asn1_node_find(algorithm, kBitString).data;
}

// Certificate ::= SEQUENCE {
//      tbsCertificate       TBSCertificate,
//      signatureAlgorithm   AlgorithmIdentifier,
//      signatureValue       BIT STRING }                                         RFC 5280, 4.1
bool decode_certificate(SshAsn1Unread &sequence, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshAsn1Unread tbs, algorithm;
  SshAsn1Bits signature;
  TbsParts parts;
  cert.element = sequence.der();
  if (!decoder.read(sequence, "(sequence ()(any ())(any ())(bit-string ()))"_asn1, &tbs, &algorithm,
                    &signature)) {
    return decoder.refuse("Certificate", sequence.data());
  }
  decoder.inside = tbs.data();
  if (!read_tbs(tbs, parts, cert, decoder)) return decoder.refuse("TBSCertificate", tbs.data());
  if (!set_version(parts, cert)) {
    return decoder.refuse("version",
                          parts.has_version ? version_of(decoder.node(tbs)).data : nullptr);
  }
  const SshAsn1Node algorithm_list = algorithm.node();
  const uint8_t *const key_at = parts.key.data();
  if (!decode_algorithms(algorithm, parts.algorithm, cert, decoder)) return false;
  cert.signed_data = tbs.der();
  if (!decode_validity(parts.validity, cert, decoder))
    return decoder.refuse("Validity", parts.validity.data());
  if (!ssh_x509_subject_key_decode(parts.key, cert, decoder))
    return decoder.refuse("SubjectPublicKeyInfo", key_at);
  if (!ssh_x509_signature_convert(signature, cert, decoder))
    return decoder.refuse("signatureValue", signature_in(algorithm_list, decoder));
  if (!decode_names(parts, cert, decoder)) return false;
  return !parts.has_extensions ||
         ssh_x509_extensions_decode(parts.extensions, kExtensions, true, cert, decoder,
                                    &ssh_x509_further_extensions);
}

}  // namespace

SshX509Cert *ssh_x509_cert_allocate() { return new (ssh_xmalloc(sizeof(SshX509Cert))) SshX509Cert; }

SshX509Cert *ssh_x509_cert_allocate_in(SshPool &pool) {
  auto *cert = new (pool.alloc(sizeof(SshX509Cert), alignof(SshX509Cert))) SshX509Cert;
  cert->pool.borrow(&pool);
  return cert;
}

void ssh_x509_cert_free(SshX509Cert *cert) {
  if (!cert) return;
  SshPool *const pool = cert->pool.lender();
  const bool settled = cert->pool.settled();
  cert->~SshX509Cert();
  if (!pool)
    ssh_xfree(cert);
  else if (!settled)
    pool->give_back(cert, sizeof *cert);
}

size_t ssh_x509_cert_decode(Bytes der, SshX509Cert *cert) {
  return ssh_x509_decode_record(true, der, decode_certificate, cert);
}

size_t ssh_x509_cert_decode_general(Bytes der, SshX509Cert *cert) {
  return ssh_x509_decode_record(false, der, decode_certificate, cert);
}

char *ssh_x509_cert_subject_text(SshX509Cert *cert) {
  const SshX509Name *name = ssh_x509_name_take(cert->subject_names, SSH_X509_NAME_DN);
  return name ? ssh_x509_name_text(name) : nullptr;
}

uint8_t *ssh_x509_cert_subject_der(SshX509Cert *cert, size_t *length) {
  *length = 0;
  const SshX509Name *name = ssh_x509_name_take(cert->subject_names, SSH_X509_NAME_DN);
  if (!name) return nullptr;
  *length = name->der.size();
  return static_cast<uint8_t *>(ssh_xmemdup(name->der.data(), name->der.size()));
}
