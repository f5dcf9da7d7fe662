// The records of extensions, and the decoders that fill them. There is one decoder per extension;
// the tables in cert.cc and crl.cc lead to them. Records are plain data in the pool of their
// certificate or CRL and live as long as it does. Identifiers are views of their bytes
// (ssh_ber_oid_text gives the dotted text). docs/architecture.md lists what a new extension needs.
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
  // The registry's further rows.
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

// SshX509ExtensionSet remembers which kinds are present and which of them were marked critical.
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

// Key usage bits as the library numbers them: the BIT STRING's first byte in bits 0 to 7, its top
// bit at bit 7.
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

// SSH_X509_NO_LIMIT is the default of counts and path lengths.
constexpr uint32_t SSH_X509_NO_LIMIT = 0xFFFFFFFF;

struct SshX509KeyId {
  Bytes key_id;
  SshX509Name *issuer = nullptr;
  bool has_serial = false;
  Bytes serial_octets;  // the INTEGER's content

  // serial makes the number, -1 where there is none.
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

// SshX509Text is a string of a certificate as it stands; ssh_x509_text_make gives it as SshStr, or
// null if its bytes do not form letters of the set (which is not an error of the certificate).
struct SshX509Text {
  SshCharset charset = SSH_CHARSET_IA5;
  Bytes octets;
  bool present = false;
};
[[nodiscard]] SshStr *ssh_x509_text_make(const SshX509Text &text);

// ssh_x509_text_read reads bytes that are one string of any type; false if they are not. Letters
// of NumericString are PRINTABLE ones, those of GeneralString count as IA5.
[[nodiscard]] bool ssh_x509_text_read(Bytes octets, SshX509Text *text);

struct SshX509PolicyQualifier {
  SshX509PolicyQualifier *next = nullptr;
  SshOid id;
  SshX509Text cps_uri;
  SshX509Text organization;
  uint32_t notice_count = 0;
  uint32_t *notice_numbers =
      nullptr;  // deliberately only slot 0 is ever written, with the last number
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

// SshX509PointName is a distribution point's name: general names, or a name relative to the CRL
// issuer.
struct SshX509PointName {
  SshX509Name *full = nullptr;
  Bytes relative_issuer;  // Name that the relative name extends; empty unless the name is relative
  Bytes relative;         // the RelativeDistinguishedName
};
// ssh_x509_point_name_expand stores the whole distinguished name of a relative name; false if it is
// not relative.
[[nodiscard]] bool ssh_x509_point_name_expand(const SshX509PointName &name, SshDN *dn);

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

struct SshX509IssuingDistPoint {
  SshX509PointName name;
  int only_user_certs = 0;
  int only_ca_certs = 0;
  uint32_t only_some_reasons = 0;
  int indirect_crl = 0;
  int only_attribute_certs = 0;  // read where the profile knows it
};

// SshX509Extra is an extension that is known by name and kept as it stands.
struct SshX509Extra {
  SshX509Extra *next = nullptr;
  const SshOidRow *row = nullptr;  // of the registry: the kind, the name and a description
  Bytes value;                     // the whole element that is the extension's value
  Bytes octets;                    // of an OCTET STRING, BIT STRING or INTEGER: what it holds
  SshX509Text text;                // of a string
  SshBerTime time;                 // of a time
  Bytes items;                     // of a SEQUENCE: its elements, for SshX509ItemCursor
};

// SshX509CertTemplate is the template that an enterprise's CA made a certificate by.
struct SshX509CertTemplate {
  SshOid id;
  int has_major = 0, has_minor = 0;  // whether the versions are there
  uint32_t major_version = 0;
  uint32_t minor_version = 0;
};

// SshX509Further is what the further extensions of a certificate hold. It stands apart so that the
// record of a certificate without them stays small.
struct SshX509Further {
  uint32_t inhibit_any_policy = SSH_X509_NO_LIMIT;
  uint32_t tls_feature_count = 0;
  uint32_t *tls_features = nullptr;  // TLS extension numbers; 5 is "must staple"
  SshX509AccessDescription *subject_info_access = nullptr;
  SshX509DistributionPoint *freshest_crl = nullptr;
  SshX509CertTemplate *cert_template = nullptr;
  SshX509Extra *extras = nullptr;  // in the order of the certificate
};

// SshX509ExtensionView is one Extension of a decoded list, as it was read.
struct SshX509ExtensionView {
  SshOid id;
  int has_critical = 0;  // whether the flag is there; without it the extension is not critical
  int critical = 0;
  Bytes value;  // what the OCTET STRING holds
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

// SshX509ItemCursor walks over the items of a SshX509Extra, each of which begins with an
// identifier:
//   Item ::= SEQUENCE { type OBJECT IDENTIFIER, value ANY OPTIONAL }
// Decoding does not look into them: `failed` tells of one that is of another form.
class SshX509ItemCursor {
 public:
  explicit SshX509ItemCursor(Bytes items)
      : work_(SshAsn1Work::for_input(items.size())), items_(items) {}

  // next goes to the first or following item; false at the end and at one of another form.
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

// The parts of a record that is refused and whose parts were read each for itself.
enum SshX509Part : uint32_t {
  SSH_X509_PART_VERSION = 1,
  SSH_X509_PART_SERIAL = 2,
  SSH_X509_PART_ALGORITHM = 4,  // of the signature
  SSH_X509_PART_ISSUER = 8,
  SSH_X509_PART_START = 16,  // when it begins to be valid, or was issued
  SSH_X509_PART_END = 32,    // when it ends, or a CRL's next one comes
  SSH_X509_PART_SUBJECT = 64,
  SSH_X509_PART_KEY = 128,
  SSH_X509_PART_SIGNATURE = 256,
  SSH_X509_PART_EXTENSIONS = 512,  // their list; those that could be read are in the set
  SSH_X509_PART_ENTRIES = 1024     // of a CRL; those up to the first that cannot be read
};

// SshX509Found says what stands at the place of a refusal, and so how its rule reads.
enum SshX509Found : uint8_t {
  SSH_X509_FOUND_IT,      // the structure: "critical extension ... is not known"
  SSH_X509_FOUND_VALUE,   // its value: "version is 8; 0 to 2 are defined"
  SSH_X509_FOUND_INSIDE,  // an element in it: "Validity holds a NULL; a UTCTime belongs there"
  SSH_X509_FOUND_END      // its end: "Certificate ends; a BIT STRING belongs there"
};

// SshX509Refusal says why a decode failed: which structure breaks which rule, where in the input,
// and for which identifier. The first (innermost) refusal of a decode stays.
struct SshX509Refusal {
  const char *structure = nullptr;  // static text: the ASN.1 name, or the trade's
  const char *rule = nullptr;  // static text: goes on after the structure, or says what belongs
  size_t offset = 0;           // bytes from the start of the input, to the deepest element
  SshOid identifier = {};      // the extension or algorithm in question, if any
  SshX509Found found = SSH_X509_FOUND_IT;

  explicit operator bool() const { return structure != nullptr; }
};
