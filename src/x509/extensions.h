// The records of extensions, and what reads a decoded record's list of them.
//
//   if (cert.extensions.test(SSH_X509_EXT_KEY_USAGE)) use(cert.key_usage);
//   for (auto *point = cert.distribution_points; point; point = point->next) use(point->name.full);
//
// Records are plain data in the pool of their certificate or CRL, and valid as long as that is.
// Lists are linked, in the order of the encoding; only lists of names are in the reverse order.
// Identifiers are views of their bytes (ssh_x509_oid_text gives the dotted text). There is one
// decoder for each extension, which a table in cert.cc, further_extensions.cc or crl.cc leads to.
// docs/architecture.md lists what a new extension needs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "asn1/node.h"
#include "asn1/time.h"
#include "util/mp_int.h"
#include "util/pool.h"
#include "x509/name.h"

struct SshOidRow;

// SshX509ExtensionKind numbers the extensions; it is the code of the registry's extension rows.
enum SshX509ExtensionKind : uint32_t {
  SSH_X509_EXT_AUTHORITY_KEY_ID = 0,
  SSH_X509_EXT_SUBJECT_KEY_ID = 1,
  SSH_X509_EXT_KEY_USAGE = 2,
  SSH_X509_EXT_PRIVATE_KEY_USAGE_PERIOD = 3,
  SSH_X509_EXT_CERTIFICATE_POLICIES = 4,
  SSH_X509_EXT_POLICY_MAPPINGS = 5,
  SSH_X509_EXT_SUBJECT_ALT_NAME = 6,
  SSH_X509_EXT_ISSUER_ALT_NAME = 7,
  SSH_X509_EXT_SUBJECT_DIRECTORY_ATTRIBUTES = 8,
  SSH_X509_EXT_BASIC_CONSTRAINTS = 9,
  SSH_X509_EXT_NAME_CONSTRAINTS = 10,
  SSH_X509_EXT_POLICY_CONSTRAINTS = 11,
  SSH_X509_EXT_PRIVATE_INTERNET = 12,
  SSH_X509_EXT_AUTHORITY_INFO_ACCESS = 13,
  SSH_X509_EXT_CRL_DISTRIBUTION_POINTS = 14,
  SSH_X509_EXT_EXTENDED_KEY_USAGE = 15,
  SSH_X509_EXT_REASON_CODE = 16,
  SSH_X509_EXT_HOLD_INSTRUCTION = 17,
  SSH_X509_EXT_INVALIDITY_DATE = 18,
  SSH_X509_EXT_CRL_NUMBER = 19,
  SSH_X509_EXT_ISSUING_DISTRIBUTION_POINT = 20,
  SSH_X509_EXT_DELTA_CRL_INDICATOR = 21,
  SSH_X509_EXT_CERTIFICATE_ISSUER = 22,
  SSH_X509_EXT_UNKNOWN = 23,
  // From here on: those that only the modern profile knows.
  SSH_X509_EXT_INHIBIT_ANY_POLICY = 24,
  SSH_X509_EXT_SUBJECT_INFO_ACCESS = 25,
  SSH_X509_EXT_FRESHEST_CRL = 26,
  SSH_X509_EXT_SCT_LIST = 27,
  SSH_X509_EXT_PRECERTIFICATE_POISON = 28,
  SSH_X509_EXT_TLS_FEATURE = 29,
  SSH_X509_EXT_OCSP_NO_CHECK = 30,
  SSH_X509_EXT_QC_STATEMENTS = 31,
  SSH_X509_EXT_NETSCAPE_CERT_TYPE = 32,
  SSH_X509_EXT_NETSCAPE_BASE_URL = 33,
  SSH_X509_EXT_NETSCAPE_REVOCATION_URL = 34,
  SSH_X509_EXT_NETSCAPE_CA_REVOCATION_URL = 35,
  SSH_X509_EXT_NETSCAPE_RENEWAL_URL = 36,
  SSH_X509_EXT_NETSCAPE_CA_POLICY_URL = 37,
  SSH_X509_EXT_NETSCAPE_SERVER_NAME = 38,
  SSH_X509_EXT_NETSCAPE_COMMENT = 39,
  SSH_X509_EXT_TEMPLATE_NAME = 40,
  SSH_X509_EXT_TEMPLATE = 41,
  SSH_X509_EXT_CA_VERSION = 42,
  SSH_X509_EXT_PREVIOUS_CA_HASH = 43,
  SSH_X509_EXT_APPLICATION_POLICIES = 44,
  SSH_X509_EXT_EXPIRED_CERTS_ON_CRL = 45,
  SSH_X509_EXT_NEXT_CRL_PUBLISH = 46,
  SSH_X509_EXT_IP_BLOCKS = 47,
  SSH_X509_EXT_AS_NUMBERS = 48,
  SSH_X509_EXT_KINDS = 49
};

// SshX509ExtensionSet holds which kinds are present and which of them are critical.
class SshX509ExtensionSet {
 public:
  void clear() { *this = {}; }
  void set(uint32_t kind, bool critical) {
    present_ |= uint64_t{1} << kind;
    critical_ |= uint64_t{critical} << kind;
  }
  void drop(uint32_t kind) {
    present_ &= ~(uint64_t{1} << kind);
    critical_ &= ~(uint64_t{1} << kind);
  }
  [[nodiscard]] bool test(uint32_t kind) const { return (present_ >> kind & 1) != 0; }
  [[nodiscard]] bool critical(uint32_t kind) const { return (critical_ >> kind & 1) != 0; }

 private:
  static_assert(SSH_X509_EXT_KINDS <= 64);
  uint64_t present_ = 0;
  uint64_t critical_ = 0;
};

// Key usages. The first byte of the BIT STRING is bits 0 to 7, the second one is bits 8 to 15; the
// top bit of each, which the standard calls its first, stays the top bit.
enum : uint32_t {
  SSH_X509_USAGE_DIGITAL_SIGNATURE = 0x80,
  SSH_X509_USAGE_NON_REPUDIATION = 0x40,
  SSH_X509_USAGE_KEY_ENCIPHERMENT = 0x20,
  SSH_X509_USAGE_DATA_ENCIPHERMENT = 0x10,
  SSH_X509_USAGE_KEY_AGREEMENT = 0x08,
  SSH_X509_USAGE_KEY_CERT_SIGN = 0x04,
  SSH_X509_USAGE_CRL_SIGN = 0x02,
  SSH_X509_USAGE_ENCIPHER_ONLY = 0x01,
  SSH_X509_USAGE_DECIPHER_ONLY = 0x8000
};

// SSH_X509_NO_LIMIT is the value of counts and path lengths that are not given.
constexpr uint32_t SSH_X509_NO_LIMIT = 0xFFFFFFFF;

// SshX509KeyId is a subject key identifier, which has `key_id` alone, or an authority's.
struct SshX509KeyId {
  Bytes key_id;
  SshX509Name *issuer = nullptr;
  bool has_serial = false;
  Bytes serial_octets;  // the INTEGER's content

  // serial gives the serial number, -1 if there is none.
  [[nodiscard]] SshMpInt serial() const {
    SshMpInt number(-1);
    if (has_serial) number.set_twos_complement(serial_octets);
    return number;
  }
};

// SshX509Period is a private key usage period; a time that is not given is unset.
struct SshX509Period {
  SshBerTime not_before, not_after;
};

// SshX509Text is a view of a string's bytes. ssh_x509_text_make makes an SshStr of it, which
// belongs to the caller; null if the bytes are no letters of the set. That is no reason to refuse a
// certificate, so a decode does not try.
struct SshX509Text {
  SshCharset charset = SSH_CHARSET_IA5;
  Bytes octets;
  bool present = false;
};
[[nodiscard]] SshStr *ssh_x509_text_make(const SshX509Text &text);

// ssh_x509_text_read reads bytes that are one string of any type; false if they are not.
// NumericString gets the set PRINTABLE, which has its letters; GeneralString gets IA5.
[[nodiscard]] bool ssh_x509_text_read(Bytes octets, SshX509Text *text);

// SshX509PolicyQualifier is a qualifier of a policy: a URI, a user notice, or one that is not
// known.
struct SshX509PolicyQualifier {
  SshX509PolicyQualifier *next = nullptr;
  SshOid id;
  SshX509Text cps_uri;
  SshX509Text organization;
  uint32_t notice_count = 0;
  // An array of notice_count numbers. Only the first one is written, with the last number of the
  // notice, deliberately.
  uint32_t *notice_numbers = nullptr;
  SshX509Text explicit_text;
  Bytes value;  // the whole element of a qualifier that is not known
};

struct SshX509PolicyInfo {
  SshX509PolicyInfo *next = nullptr;
  SshOid id;
  SshX509PolicyQualifier *qualifiers = nullptr;
};

struct SshX509PolicyMapping {
  SshX509PolicyMapping *next = nullptr;
  SshOid issuer_policy;
  SshOid subject_policy;
};

struct SshX509Attribute {
  SshX509Attribute *next = nullptr;
  SshOid type;
  Bytes value;  // the whole value element
};

// SshX509Subtree is a part of the name space that name constraints permit or exclude.
struct SshX509Subtree {
  SshX509Subtree *next = nullptr;
  SshX509Name *base = nullptr;
  uint32_t minimum = 0;
  uint32_t maximum = SSH_X509_NO_LIMIT;
};

struct SshX509PolicyConstraint {
  SshX509PolicyConstraint *next = nullptr;
  uint32_t require_explicit_policy = SSH_X509_NO_LIMIT;
  uint32_t inhibit_policy_mapping = SSH_X509_NO_LIMIT;
};

// SshX509PointName is a distribution point's name: a list of general names, or a relative name that
// extends the name of the CRL's issuer.
struct SshX509PointName {
  SshX509Name *full = nullptr;
  Bytes relative_issuer;  // the Name that is extended; empty unless the name is relative
  Bytes relative;         // the RelativeDistinguishedName
};
// ssh_x509_point_name_expand stores the whole distinguished name that a relative name stands for.
// False if the name is not relative.
[[nodiscard]] bool ssh_x509_point_name_expand(const SshX509PointName &name, SshDN *dn);

// SshX509DistributionPoint says where a CRL is to be had.
struct SshX509DistributionPoint {
  SshX509DistributionPoint *next = nullptr;
  SshX509PointName name;
  uint32_t reasons = 0;
  SshX509Name *crl_issuer = nullptr;
};

struct SshX509AccessDescription {
  SshX509AccessDescription *next = nullptr;
  SshOid method;
  SshX509Name *location = nullptr;
};

struct SshX509KeyPurpose {
  SshX509KeyPurpose *next = nullptr;
  SshOid id;
};

// SshX509IssuingDistPoint says which certificates a CRL is about.
struct SshX509IssuingDistPoint {
  SshX509PointName name;
  int only_user_certs = 0;
  int only_ca_certs = 0;
  uint32_t only_some_reasons = 0;
  int indirect_crl = 0;
  int only_attribute_certs = 0;  // read under the modern profile
};

// SshX509Extra is an extension that is known by name, was checked to be of the right type, and is
// kept as encoded. Of the members below `value`, the one for its type is set.
struct SshX509Extra {
  SshX509Extra *next = nullptr;
  const SshOidRow *row = nullptr;  // of the registry: the kind, the name and a description
  Bytes value;                     // the whole element that is the extension's value
  Bytes octets;                    // of an OCTET STRING, BIT STRING or INTEGER: the content
  SshX509Text text;                // of a string
  SshBerTime time;                 // of a time
  Bytes items;                     // of a SEQUENCE: its elements, for SshX509ItemCursor
};

// SshX509CertTemplate names the template by which an enterprise's CA issued a certificate.
struct SshX509CertTemplate {
  SshOid id;
  int has_major = 0, has_minor = 0;  // whether the versions are there
  uint32_t major_version = 0;
  uint32_t minor_version = 0;
};

// SshX509Further holds the further extensions of a certificate, those of the modern profile. It is
// apart so that the record of a certificate without them stays small.
struct SshX509Further {
  uint32_t inhibit_any_policy = SSH_X509_NO_LIMIT;
  uint32_t tls_feature_count = 0;
  uint32_t *tls_features = nullptr;  // TLS extension numbers; 5 is "must staple"
  SshX509AccessDescription *subject_info_access = nullptr;
  SshX509DistributionPoint *freshest_crl = nullptr;
  SshX509CertTemplate *cert_template = nullptr;
  SshX509Extra *extras = nullptr;  // in the order of the certificate
};

// SshX509ExtensionView is a view of one Extension.
struct SshX509ExtensionView {
  SshOid id;
  int has_critical = 0;  // whether the flag is there; without it the extension is not critical
  int critical = 0;
  Bytes value;  // the content of the OCTET STRING
  Bytes der;    // the whole Extension
};

// SshX509ExtensionCursor walks over the extension_list of a decoded record, which must outlive it.
//   SshX509ExtensionCursor cursor(cert.extension_list);
//   while (cursor.next()) use(cursor.extension());
class SshX509ExtensionCursor {
 public:
  explicit SshX509ExtensionCursor(Bytes list);

  // next goes to the first or following Extension; false at the end.
  [[nodiscard]] bool next();
  [[nodiscard]] const SshX509ExtensionView &extension() const { return extension_; }

 private:
  SshAsn1Work work_;
  Bytes list_;
  SshX509ExtensionView extension_;
};

// SshX509ItemCursor walks over the items of an SshX509Extra, each of which begins with an
// identifier:
//   Item ::= SEQUENCE { type OBJECT IDENTIFIER, value ANY OPTIONAL }
// A decode does not look at the items, so one may be of another form. The walk ends there, and
// `failed` is true.
class SshX509ItemCursor {
 public:
  explicit SshX509ItemCursor(Bytes items)
      : work_(SshAsn1Work::for_input(items.size())), items_(items) {}

  // next goes to the first or following item; false at the end and at an item of another form.
  [[nodiscard]] bool next();
  [[nodiscard]] SshOid type() const { return type_; }
  [[nodiscard]] Bytes value() const { return value_; }  // the whole element, empty without one
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  SshAsn1Work work_;
  Bytes items_, value_;
  SshOid type_;
  bool failed_ = false;
};

// SshX509Part numbers the parts of a refused input that were read by themselves
// (ssh_x509_cert_decode_parts).
enum SshX509Part : uint32_t {
  SSH_X509_PART_VERSION = 1,
  SSH_X509_PART_SERIAL = 2,
  SSH_X509_PART_ALGORITHM = 4,  // of the signature
  SSH_X509_PART_ISSUER = 8,
  SSH_X509_PART_START = 16,  // notBefore, or thisUpdate of a CRL
  SSH_X509_PART_END = 32,    // notAfter, or nextUpdate of a CRL
  SSH_X509_PART_SUBJECT = 64,
  SSH_X509_PART_KEY = 128,
  SSH_X509_PART_SIGNATURE = 256,
  SSH_X509_PART_EXTENSIONS = 512,  // the list of them; the set has those that could be read
  SSH_X509_PART_ENTRIES = 1024     // of a CRL: those before the first that cannot be read
};

// SshX509Found says what is at the place of a refusal, and so how a sentence is made of its rule.
enum SshX509Found : uint8_t {
  SSH_X509_FOUND_IT,      // the structure: "critical extension ... is not known"
  SSH_X509_FOUND_VALUE,   // its value: "version is 8; 0 to 2 are defined"
  SSH_X509_FOUND_INSIDE,  // an element in it: "Validity holds a NULL; a UTCTime belongs there"
  SSH_X509_FOUND_END      // its end: "Certificate ends; a BIT STRING belongs there"
};

// SshX509Refusal says why a decode failed: which structure breaks which rule, where in the input,
// and which identifier it is about. The first refusal of a decode, which is the innermost, stays.
struct SshX509Refusal {
  const char *structure = nullptr;  // static text: its name in ASN.1, or the usual one
  const char *rule = nullptr;       // static text; `found` tells how to put it into a sentence
  size_t offset = 0;                // of the deepest element that is wrong, in bytes
  SshOid identifier = {};           // the extension or algorithm in question, if any
  SshX509Found found = SSH_X509_FOUND_IT;

  explicit operator bool() const { return structure != nullptr; }
};
