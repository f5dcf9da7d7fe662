#include "x509/cert.h"

#include "util/mem.h"
#include "util/owner.h"
#include "x509/parts.h"
#include "x509/signature.h"
#include "x509/subject_key.h"

namespace {

// PrivateKeyUsagePeriod ::= SEQUENCE {
//      notBefore       [0]     GeneralizedTime OPTIONAL,
//      notAfter        [1]     GeneralizedTime OPTIONAL }                    RFC 3280, 4.2.1.4
bool decode_key_usage_period(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  int has_from = 0, has_to = 0;
  auto *period = decoder.pool.make<SshX509Period>();
  cert.key_period = period;
  return decoder.read(
             value,
             "(sequence ()(optional(generalized-time (0)))(optional(generalized-time (1))))"_asn1,
             &has_from, &period->not_before, &has_to, &period->not_after) &&
         decoder.times_pass(period->not_before, period->not_after, value);
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
  cert.key_usage = decoder.rules.unused_bits_masked ? ssh_x509_named_bits_to_mask(bits)
                                                    : ssh_x509_bits_to_mask(bits);
  return true;
}

bool decode_policies(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  return ssh_x509_decode_policies(value, &cert.policies, decoder);
}

// PolicyMappings ::= SEQUENCE SIZE (1..MAX) OF SEQUENCE {
//      issuerDomainPolicy      CertPolicyId,
//      subjectDomainPolicy     CertPolicyId }                                    RFC 5280, 4.2.1.5
bool decode_policy_mappings(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  const auto read = [&](SshAsn1Unread &item, SshX509PolicyMapping &mapping) {
    return decoder.read(item, "(sequence ()(object-identifier ())(object-identifier ()))"_asn1,
                        &mapping.issuer_policy, &mapping.subject_policy);
  };
  return ssh_x509_decode_list(value, &cert.policy_mappings, decoder, read);
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
  const auto read = [&](SshAsn1Unread &item, SshX509Attribute &attribute) {
    SshAsn1Node values;
    const bool good = decoder.read(item, "(sequence ()(object-identifier ())(any ()))"_asn1,
                                   &attribute.type, &values);
    attribute.value = values.der();
    return good;
  };
  return ssh_x509_decode_list(value, &cert.directory_attributes, decoder, read);
}

// BasicConstraints ::= SEQUENCE {
//      cA                 BOOLEAN DEFAULT FALSE,
//      pathLenConstraint  INTEGER (0..MAX) OPTIONAL }                            RFC 5280, 4.2.1.9
bool decode_basic_constraints(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  int has_ca = 0, has_path = 0;
  SshMpInt path;
  if (!decoder.read_whole(value, "(sequence ()(optional(boolean ()))(optional(integer ())))"_asn1,
                          &has_ca, &cert.ca, &has_path, &path))
    return false;
  return decoder.require(!has_path || path.to_uint32(cert.path_length), "path length",
                         SSH_X509_RULE_32_BITS, value.data());
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
  const auto read = [&](SshAsn1Unread &item, SshX509KeyPurpose &purpose) {
    return decoder.read(item, "(object-identifier ())"_asn1, &purpose.id);
  };
  return ssh_x509_decode_list(value, &cert.extended_key_usage, decoder, read);
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

// UniqueIdentifier ::= BIT STRING; its length is kept in bits, deliberately, where all other names
// have theirs in bytes.
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
                      &cert.not_after) &&
         decoder.times_pass(cert.not_before, cert.not_after, validity);
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

// version_of gives the INTEGER inside the version's tag. The TBSCertificate must have that tag.
SshAsn1Node version_of(SshAsn1Node tbs) {
  constexpr uint8_t kVersion = 0xA0;
  return ssh_asn1_node_child(ssh_asn1_node_find(ssh_asn1_node_child(tbs), kVersion));
}

// set_version gives the record its version. It refuses a version that is not defined, and one that
// is too low for the fields that are there: unique identifiers need 2, extensions need 3 (encoded 1
// and 2).
bool set_version(SshAsn1Unread &tbs, const TbsParts &parts, SshX509Cert &cert,
                 SshX509Decoder &decoder) {
  uint32_t encoded = 0;
  const bool defined = parts.version.to_uint32(encoded) && encoded <= 2;
  const bool has_id = parts.has_issuer_id || parts.has_subject_id;
  cert.version = encoded + 1;
  if (defined && (encoded >= 1 || !has_id) && (encoded >= 2 || !parts.has_extensions)) return true;
  const uint8_t *const at = parts.has_version ? version_of(decoder.node(tbs)).data : nullptr;
  if (!defined) return decoder.refuse_value("version", "0 to 2 are defined", at);
  return parts.has_extensions
             ? decoder.refuse("version", "is too low for extensions, which take 2", at)
             : decoder.refuse("version", "is too low for unique identifiers, which take 1", at);
}

// Two rows can have the same scheme. Algorithms without a row are compared by their identifiers.
bool same_scheme(const SshX509SignatureAlgorithm &a, const SshX509SignatureAlgorithm &b) {
  if (a.row == b.row) return a.row || a.id == b.id;
  return a.row && b.row && std::strcmp(a.scheme(), b.scheme()) == 0;
}

constexpr char kInnerAlgorithm[] = "signature algorithm of the TBSCertificate";

// decode_algorithms reads the outer algorithm and compares it with the inner one: the outer one is
// not signed, so that anybody could change it. Two identifiers of one scheme count as equal. The
// parameters are compared only where they choose the scheme, which is so for RSASSA-PSS.
//                                                                         RFC 5280, 4.1.1.2
bool decode_algorithms(SshAsn1Unread &outer, SshAsn1Unread &inner, SshX509Cert &cert,
                       SshX509Decoder &decoder) {
  SshX509SignatureAlgorithm given, signed_one;
  ssh_x509_to_sequence(outer, decoder);
  ssh_x509_to_sequence(inner, decoder);
  cert.algorithm = outer.der();
  cert.signed_algorithm = inner.der();
  if (!ssh_x509_signature_algorithm(outer, decoder, given)) return false;
  cert.signature_key_type = given.key_type();
  cert.signature_scheme = given.scheme();
  if (ssh_bytes_equal(cert.algorithm, cert.signed_algorithm)) return true;  // as nearly always
  if (!ssh_x509_signature_algorithm(inner, decoder, signed_one)) return false;
  if (!same_scheme(given, signed_one))
    return decoder.refuse(kInnerAlgorithm, "differs from the one outside", inner.data(),
                          signed_one.id);
  const bool same = given.key_type() != SSH_OID_KEY_RSA_PSS ||
                    ssh_bytes_equal(given.parameters.der(), signed_one.parameters.der());
  return decoder.require(same, kInnerAlgorithm, "has other parameters than the one outside",
                         inner.data(), signed_one.id);
}

// decode_names adds the entries of issuer and subject, and then those of the unique identifiers.
bool decode_names(TbsParts &parts, SshX509Cert &cert, SshX509Decoder &decoder) {
  if (!ssh_x509_name_decode_dn(parts.issuer, SSH_X509_NAME_DN, decoder, &cert.issuer_names)) {
    return decoder.refuse_read("issuer", parts.issuer);
  }
  if (ssh_bytes_equal(parts.issuer.der(), parts.subject.der())) {
    // Issuer and subject are the same bytes, so the name need not be read again. An empty name has
    // no entry.
    if (cert.issuer_names)
      ssh_x509_name_add_dn(parts.subject.der(), SSH_X509_NAME_DN, decoder, &cert.subject_names);
  } else if (!ssh_x509_name_decode_dn(parts.subject, SSH_X509_NAME_DN, decoder,
                                      &cert.subject_names)) {
    return decoder.refuse_read("subject", parts.subject);
  }
  if (parts.has_issuer_id) add_unique_id(parts.issuer_id, decoder.pool, &cert.issuer_names);
  if (parts.has_subject_id) add_unique_id(parts.subject_id, decoder.pool, &cert.subject_names);
  return true;
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
    return decoder.refuse_read("Certificate", sequence);
  }
  decoder.inside = tbs.data();
  if (!read_tbs(tbs, parts, cert, decoder)) return decoder.refuse_read("TBSCertificate", tbs);
  if (!set_version(tbs, parts, cert, decoder)) return false;
  if (!decode_algorithms(algorithm, parts.algorithm, cert, decoder)) return false;
  cert.signed_data = tbs.der();
  if (!decode_validity(parts.validity, cert, decoder))
    return decoder.refuse_read("Validity", parts.validity);
  if (!ssh_x509_subject_key_decode(parts.key, cert, decoder))
    return decoder.refuse_read("SubjectPublicKeyInfo", parts.key);
  if (!ssh_x509_signature_convert(signature, cert, decoder))
    return decoder.refuse_read("signatureValue", signature.octets);
  if (!decode_names(parts, cert, decoder)) return false;
  return !parts.has_extensions ||
         ssh_x509_extensions_decode(parts.extensions, kExtensions, true, cert, decoder,
                                    &ssh_x509_further_extensions);
}

// Reading the parts of a refused certificate (ssh_x509_cert_decode_parts). A step reads one element
// of the TBSCertificate by itself, and keeps what it could read.
using Step = void (*)(SshAsn1Unread &element, SshX509Cert &cert, SshX509Decoder &decoder);

void keep_version(SshAsn1Unread &element, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshMpInt version;
  uint32_t encoded = 0;
  const bool read = decoder.read(element, "(integer (e 0))"_asn1, &version) &&
                    version.to_uint32(encoded) && encoded <= 2;
  ssh_x509_keep(cert, read, SSH_X509_PART_VERSION);
  if (read) cert.stated_version = encoded + 1;
}

void keep_serial(SshAsn1Unread &element, SshX509Cert &cert, SshX509Decoder &decoder) {
  ssh_x509_keep(cert, decoder.read(element, "(integer ())"_asn1, &cert.serial),
                SSH_X509_PART_SERIAL);
}

void keep_algorithm(SshAsn1Unread &element, SshX509Cert &cert, SshX509Decoder &decoder) {
  ssh_x509_keep_algorithm(element, cert, decoder);
}

void keep_issuer(SshAsn1Unread &element, SshX509Cert &cert, SshX509Decoder &decoder) {
  ssh_x509_keep(cert,
                ssh_x509_name_decode_dn(element, SSH_X509_NAME_DN, decoder, &cert.issuer_names),
                SSH_X509_PART_ISSUER);
}

void keep_validity(SshAsn1Unread &element, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshAsn1Unread from, to;
  if (!decoder.read(element, "(sequence ()(any ())(any ()))"_asn1, &from, &to)) return;
  SshAsn1Unread first(from.node().alone());
  ssh_x509_keep(cert, ssh_x509_keep_time(first, cert.not_before, decoder), SSH_X509_PART_START);
  ssh_x509_keep(cert, ssh_x509_keep_time(to, cert.not_after, decoder), SSH_X509_PART_END);
}

void keep_subject(SshAsn1Unread &element, SshX509Cert &cert, SshX509Decoder &decoder) {
  ssh_x509_keep(cert,
                ssh_x509_name_decode_dn(element, SSH_X509_NAME_DN, decoder, &cert.subject_names),
                SSH_X509_PART_SUBJECT);
}

void keep_key(SshAsn1Unread &element, SshX509Cert &cert, SshX509Decoder &decoder) {
  (void)ssh_x509_subject_key_decode(element, cert, decoder);
  ssh_x509_keep(cert, static_cast<bool>(cert.key.id), SSH_X509_PART_KEY);
}

void keep_extensions(SshAsn1Unread &element, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshAsn1Unread list;
  const bool read = decoder.read(element, "(any (e 3))"_asn1, &list) &&
                    ssh_x509_extensions_decode(list, kExtensions, true, cert, decoder,
                                               &ssh_x509_further_extensions);
  ssh_x509_keep(cert, read, SSH_X509_PART_EXTENSIONS);
}

void keep_signature(SshAsn1Unread &element, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshAsn1Bits bits;
  ssh_x509_keep(cert,
                decoder.read(element, "(bit-string ())"_asn1, &bits) &&
                    ssh_x509_signature_convert(bits, cert, decoder),
                SSH_X509_PART_SIGNATURE);
}

constexpr Step kSteps[] = {keep_serial,   keep_algorithm, keep_issuer,
                           keep_validity, keep_subject,   keep_key};

// step_at finds the step for an element of the TBSCertificate: by its tag or, for one of the
// universal types, by its place among these. If the first of them is no INTEGER, the serial number
// is missing, and the element is the one after it.
Step step_at(uint8_t identifier, size_t &place) {
  if (identifier == 0xA0) return keep_version;
  if (identifier == 0xA3) return keep_extensions;
  if (identifier >= 0x40) return nullptr;
  if (place == 0 && identifier != 0x02) ++place;
  return place < std::size(kSteps) ? kSteps[place++] : nullptr;
}

// The outer algorithm comes after the inner one, and replaces it where it can be read.
void read_parts(SshX509Cert &cert, SshX509Decoder &decoder) {
  SshAsn1Unread element;
  SshX509Pieces outer, fields;
  if (!ssh_x509_keep_frame(cert, outer, fields)) return;
  for (size_t place = 0; fields.next();) {
    const Step step = step_at(fields.identifier(), place);
    if (step && fields.take(element, decoder)) step(element, cert, decoder);
  }
  cert.signed_algorithm = cert.algorithm;
  if (outer.next() && outer.take(element, decoder)) keep_algorithm(element, cert, decoder);
  if (outer.next() && outer.take(element, decoder)) keep_signature(element, cert, decoder);
}

}  // namespace

SshX509Cert *ssh_x509_cert_allocate() { return ssh_make<SshX509Cert>(); }

// A large input has its room in a block of its own, where the limits of pools apply to it.
SshX509Cert *ssh_x509_cert_allocate_for(size_t input) {
  constexpr size_t kRoomMost = 0x10000;
  const size_t room = ssh_x509_pool_size(input);
  if (room > kRoomMost) return ssh_x509_cert_allocate();
  auto *cert = new (ssh_xmalloc(sizeof(SshX509Cert) + room)) SshX509Cert;
  cert->pool.begin_in({reinterpret_cast<uint8_t *>(cert + 1), room});
  return cert;
}

SshX509Cert *ssh_x509_cert_allocate_in(SshPool &pool) {
  auto *cert = new (pool.alloc(sizeof(SshX509Cert), alignof(SshX509Cert))) SshX509Cert;
  cert->pool.borrow(&pool);
  return cert;
}

// A record in a pool is freed with that pool. One that was not decoded gives its piece back, which
// works if the piece is the last one; one that was decoded must not touch the pool
// (SshPool::settle).
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

void ssh_x509_cert_decode_parts(Bytes der, SshX509Cert *cert) {
  ssh_x509_decode_parts(der, read_parts, cert);
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
