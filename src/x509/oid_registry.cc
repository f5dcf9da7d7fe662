#include "x509/oid_registry.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "util/ascii.h"
#include "x509/extensions.h"

namespace {

// Entry is a row as it is written below. The compiler makes an SshOidRow of it, with the encoded
// identifier.
struct Entry {
  const char *oid;
  const char *name;
  const char *description;
  const SshOidKeyType *key_type = nullptr;
  const char *key_scheme = nullptr;
  uint32_t code = 0;
};

// What keys of a type may be used for, if no extension says less. kCa is added in certificates of
// CAs, for keys that can sign. For the newer types this is what the standards say: RFC 4055, 1.2;
// RFC 5480, 3; RFC 8410, 5.
constexpr uint32_t kCa = SSH_X509_USAGE_KEY_CERT_SIGN | SSH_X509_USAGE_CRL_SIGN;
constexpr uint32_t kSign = SSH_X509_USAGE_DIGITAL_SIGNATURE | SSH_X509_USAGE_NON_REPUDIATION;
constexpr uint32_t kEncipher = SSH_X509_USAGE_KEY_ENCIPHERMENT | SSH_X509_USAGE_DATA_ENCIPHERMENT;
constexpr uint32_t kAgree =
    SSH_X509_USAGE_KEY_AGREEMENT | SSH_X509_USAGE_ENCIPHER_ONLY | SSH_X509_USAGE_DECIPHER_ONLY;
// 0x10000 is not the bit of decipherOnly (0x8000), deliberately: clients have always been given
// this mask.
constexpr uint32_t kDhAgree = SSH_X509_USAGE_KEY_AGREEMENT | SSH_X509_USAGE_ENCIPHER_ONLY | 0x10000;

constexpr SshOidKeyType octets_key(SshOidKeyCode code, uint32_t usage, uint32_t ca_usage,
                                   uint32_t length) {
  return {code, usage, ca_usage, SSH_OID_KEY_OCTETS, length};
}
constexpr SshOidKeyType kRsa = {SSH_OID_KEY_RSA, kSign | kEncipher, kSign | kEncipher | kCa};
constexpr SshOidKeyType kDsa = {SSH_OID_KEY_DSA, kSign, kSign | kCa};
constexpr SshOidKeyType kDh = {SSH_OID_KEY_DH, kDhAgree, kDhAgree};
constexpr SshOidKeyType kRsaPss = {SSH_OID_KEY_RSA_PSS, kSign, kSign | kCa};
constexpr SshOidKeyType kEc = octets_key(SSH_OID_KEY_EC, kSign | kAgree, kSign | kAgree | kCa, 0);
constexpr SshOidKeyType kEd25519 = octets_key(SSH_OID_KEY_ED25519, kSign, kSign | kCa, 32);
constexpr SshOidKeyType kEd448 = octets_key(SSH_OID_KEY_ED448, kSign, kSign | kCa, 57);
constexpr SshOidKeyType kX25519 = octets_key(SSH_OID_KEY_X25519, kAgree, kAgree, 32);
constexpr SshOidKeyType kX448 = octets_key(SSH_OID_KEY_X448, kAgree, kAgree, 56);

constexpr const char *kRsaScheme = "if-modn{sign{rsa-pkcs1-md5},encrypt{rsa-pkcs1-none}}";
constexpr const char *kDsaScheme = "dl-modp{sign{dsa-nist-sha1}}";

// clang-format off
constexpr Entry kPublicKeys[] = {
    {.oid = "1.2.840.113549.1.1.1", .name = "rsaEncryption", .description = kRsaScheme,    .key_type = &kRsa},
    {.oid = "2.5.8.1",              .name = "rsa",           .description = kRsaScheme,    .key_type = &kRsa},
    {.oid = "1.2.840.10040.4.1",    .name = "dsaEncryption", .description = kDsaScheme,    .key_type = &kDsa},
    {.oid = "1.3.14.3.2.12",        .name = "dsaEncryption", .description = kDsaScheme,    .key_type = &kDsa},
    {.oid = "1.2.840.10046.2.1",    .name = "diffieHellman", .description = "dl-modp{dh}", .key_type = &kDh},
};

// 1.3.14.3.2.29 has two rows: by its identifier the first one is found, the second by name alone.
constexpr Entry kSignatures[] = {
    {.oid = "1.3.14.7.2.3.2", .name = "elgamalWithMD2", .description = "elgamal-none-md2",
     .key_scheme = "dl-modp{sign{elgamal-none-md2}}", .code = SSH_OID_KEY_ELGAMAL},
    {.oid = "1.3.14.3.2.29", .name = "rsaWithSHA-1", .description = "rsa-nist-sha1",
     .key_scheme = "if-modn{sign{rsa-nist-sha1}}", .code = SSH_OID_KEY_RSA},
    {.oid = "1.3.14.3.2.29", .name = "rsaWithSHA", .description = "rsa-nist-sha",
     .key_scheme = "if-modn{sign{rsa-nist-sha}}", .code = SSH_OID_KEY_RSA},
    {.oid = "1.2.840.10040.4.3", .name = "dsaWithSHA-1", .description = "dsa-nist-sha1",
     .key_scheme = "dl-modp{sign{dsa-nist-sha1}}", .code = SSH_OID_KEY_DSA},
    {.oid = "1.3.14.3.2.27", .name = "dsaWithSHA-1", .description = "dsa-nist-sha1",
     .key_scheme = "dl-modp{sign{dsa-nist-sha1}}", .code = SSH_OID_KEY_DSA},
    {.oid = "1.3.14.3.2.13", .name = "dsaWithSHA", .description = "dsa-nist-sha",
     .key_scheme = "dl-modp{sign{dsa-nist-sha}}", .code = SSH_OID_KEY_DSA},
    {.oid = "1.2.840.113549.1.1.2", .name = "md2WithRSAEncryption", .description = "rsa-pkcs1-md2",
     .key_scheme = "if-modn{sign{rsa-pkcs1-md2},encrypt{rsa-pkcs1-none}}", .code = SSH_OID_KEY_RSA},
    {.oid = "1.2.840.113549.1.1.3", .name = "md4WithRSAEncryption", .description = "rsa-pkcs1-md4",
     .key_scheme = "if-modn{sign{rsa-pkcs1-md4},encrypt{rsa-pkcs1-none}}", .code = SSH_OID_KEY_RSA},
    {.oid = "1.2.840.113549.1.1.4", .name = "md5WithRSAEncryption", .description = "rsa-pkcs1-md5",
     .key_scheme = "if-modn{sign{rsa-pkcs1-md5},encrypt{rsa-pkcs1-none}}", .code = SSH_OID_KEY_RSA},
    {.oid = "1.2.840.113549.1.1.5", .name = "sha1WithRSAEncryption", .description = "rsa-pkcs1-sha1",
     .key_scheme = "if-modn{sign{rsa-pkcs1-sha1},encrypt{rsa-pkcs1-none}}", .code = SSH_OID_KEY_RSA},
};

// The code is the extension's kind. SSH_X509_EXT_UNKNOWN is for extensions that have a name here
// but no decoder; they are passed over unless they are critical.
constexpr Entry kExtensionEntries[] = {
    {.oid = "2.5.29.35",             .name = "authorityKeyIdentifier",     .description = "authority key identifier",     .code = SSH_X509_EXT_AUTHORITY_KEY_ID},
    {.oid = "2.5.29.14",             .name = "subjectKeyIdentifier",       .description = "subject key identifier",       .code = SSH_X509_EXT_SUBJECT_KEY_ID},
    {.oid = "2.5.29.15",             .name = "keyUsage",                   .description = "key usage",                    .code = SSH_X509_EXT_KEY_USAGE},
    {.oid = "2.5.29.16",             .name = "privateKeyUsagePeriod",      .description = "private key usage period",     .code = SSH_X509_EXT_PRIVATE_KEY_USAGE_PERIOD},
    {.oid = "2.5.29.32",             .name = "certificatePolicies",        .description = "certificate policies",         .code = SSH_X509_EXT_CERTIFICATE_POLICIES},
    {.oid = "2.5.29.33",             .name = "policyMappings",             .description = "policy mappings",              .code = SSH_X509_EXT_POLICY_MAPPINGS},
    {.oid = "2.5.29.17",             .name = "subjectAlternativeName",     .description = "subject alternative name",     .code = SSH_X509_EXT_SUBJECT_ALT_NAME},
    {.oid = "2.5.29.18",             .name = "issuerAlternativeName",      .description = "issuer alternative name",      .code = SSH_X509_EXT_ISSUER_ALT_NAME},
    {.oid = "2.5.29.9",              .name = "subjectDirectoryAttributes", .description = "subject directory attributes", .code = SSH_X509_EXT_SUBJECT_DIRECTORY_ATTRIBUTES},
    {.oid = "2.5.29.19",             .name = "basicConstraints",           .description = "basic constraints",            .code = SSH_X509_EXT_BASIC_CONSTRAINTS},
    {.oid = "2.5.29.30",             .name = "nameConstraints",            .description = "name constraints",             .code = SSH_X509_EXT_NAME_CONSTRAINTS},
    {.oid = "2.5.29.36",             .name = "policyConstraints",          .description = "policy constraints",           .code = SSH_X509_EXT_POLICY_CONSTRAINTS},
    {.oid = "1.3.6.1.5.5.7.1",       .name = "privateInternetExtensions",  .description = "private internet extensions",  .code = SSH_X509_EXT_PRIVATE_INTERNET},
    {.oid = "1.3.6.1.5.5.7.1.1",     .name = "authorityInformationAccess", .description = "authority information access", .code = SSH_X509_EXT_AUTHORITY_INFO_ACCESS},
    {.oid = "2.5.29.31",             .name = "CRLDistributionPoints",      .description = "CRL distribution points",      .code = SSH_X509_EXT_CRL_DISTRIBUTION_POINTS},
    {.oid = "2.5.29.37",             .name = "extendedKeyUsage",           .description = "extended key usage",           .code = SSH_X509_EXT_EXTENDED_KEY_USAGE},
    {.oid = "2.5.29.20",             .name = "crlNumber",                  .description = "crl number",                   .code = SSH_X509_EXT_CRL_NUMBER},
    {.oid = "2.5.29.28",             .name = "issuingDistributionPoint",   .description = "issuing distribution point",   .code = SSH_X509_EXT_ISSUING_DISTRIBUTION_POINT},
    {.oid = "2.5.29.27",             .name = "deltaCRLIndicator",          .description = "delta crl indicator",          .code = SSH_X509_EXT_DELTA_CRL_INDICATOR},
    {.oid = "2.5.29.29",             .name = "certificateIssuer",          .description = "certificate issuer",           .code = SSH_X509_EXT_CERTIFICATE_ISSUER},
    {.oid = "2.5.29.21",             .name = "crlReason",                  .description = "crl reason",                   .code = SSH_X509_EXT_REASON_CODE},
    {.oid = "2.5.29.23",             .name = "holdInstructionCode",        .description = "hold instruction code",        .code = SSH_X509_EXT_HOLD_INSTRUCTION},
    {.oid = "2.5.29.24",             .name = "invalidityDate",             .description = "invalidity date",              .code = SSH_X509_EXT_INVALIDITY_DATE},
    {.oid = "2.5.29.1",              .name = "unknown (Entrust ANX)",      .description = "unknown",                      .code = SSH_X509_EXT_UNKNOWN},
    {.oid = "2.5.29.2",              .name = "unknown (Entrust ANX)",      .description = "unknown",                      .code = SSH_X509_EXT_UNKNOWN},
    {.oid = "2.5.29.10",             .name = "unknown (Entrust ANX)",      .description = "unknown",                      .code = SSH_X509_EXT_UNKNOWN},
    {.oid = "2.5.29.25",             .name = "unknown (Entrust ANX)",      .description = "unknown",                      .code = SSH_X509_EXT_UNKNOWN},
    {.oid = "1.2.840.113533.7.65.0", .name = "unknown (Entrust ANX)",      .description = "unknown",                      .code = SSH_X509_EXT_UNKNOWN},
};

// 2.5.4.5 is STREET, deliberately, although it is the serial number in X.520: stored names and the
// texts of clients have it so.
constexpr Entry kAttributes[] = {
    {.oid = "2.5.4.6",                    .name = "C",       .description = "country",                     .code = 0},
    {.oid = "2.5.4.7",                    .name = "L",       .description = "locality name",               .code = 1},
    {.oid = "2.5.4.5",                    .name = "STREET",  .description = "street address",              .code = 2},
    {.oid = "2.5.4.8",                    .name = "ST",      .description = "state or province name",      .code = 3},
    {.oid = "2.5.4.10",                   .name = "O",       .description = "organization",                .code = 4},
    {.oid = "2.5.4.11",                   .name = "OU",      .description = "organization unit",           .code = 5},
    {.oid = "2.5.4.3",                    .name = "CN",      .description = "common name",                 .code = 6},
    {.oid = "1.2.840.113549.1.9.1",       .name = "MAILTO",  .description = "PKCS 9 email address",        .code = 7},
    {.oid = "1.2.840.113549.1.9.2",       .name = "UN",      .description = "PKCS 9 unstructured name",    .code = 8},
    {.oid = "2.5.4.4",                    .name = "S",       .description = "surname",                     .code = 9},
    {.oid = "2.5.4.12",                   .name = "T",       .description = "title",                       .code = 10},
    {.oid = "2.5.4.41",                   .name = "N",       .description = "name",                        .code = 11},
    {.oid = "2.5.4.42",                   .name = "G",       .description = "given name",                  .code = 12},
    {.oid = "2.5.4.43",                   .name = "I",       .description = "initials",                    .code = 13},
    {.oid = "2.5.4.44",                   .name = "GQ",      .description = "generation qualifier",        .code = 14},
    {.oid = "2.5.4.45",                   .name = "UI",      .description = "X.500 unique identifier",     .code = 15},
    {.oid = "2.5.4.46",                   .name = "DNQ",     .description = "dn qualifier",                .code = 16},
    {.oid = "1.2.840.113549.1.9.8",       .name = "UA",      .description = "PKCS 9 unstructured address", .code = 17},
    {.oid = "2.5.4.54",                   .name = "dmdName", .description = "directory management domain", .code = 18},
    {.oid = "0.9.2342.19200300.100.1.25", .name = "DC",      .description = "domain component",            .code = 19},
};

constexpr Entry kPkcs9[] = {
    {.oid = "1.2.840.113549.1.9.1",  .name = "emailAddress",                  .description = "PKCS 9 email address",                   .code = 0},
    {.oid = "1.2.840.113549.1.9.2",  .name = "unstructuredName",              .description = "PKCS 9 unstructured name",               .code = 1},
    {.oid = "1.2.840.113549.1.9.3",  .name = "contentType",                   .description = "PKCS 9 content type",                    .code = 2},
    {.oid = "1.2.840.113549.1.9.4",  .name = "messageDigest",                 .description = "PKCS 9 message digest",                  .code = 3},
    {.oid = "1.2.840.113549.1.9.6",  .name = "counterSignature",              .description = "PKCS 9 counter signature",               .code = 4},
    {.oid = "1.2.840.113549.1.9.7",  .name = "challengePassword",             .description = "PKCS 9 challenge password",              .code = 5},
    {.oid = "1.2.840.113549.1.9.8",  .name = "unstructuredAddress",           .description = "PKCS 9 unstructured address",            .code = 6},
    {.oid = "1.2.840.113549.1.9.9",  .name = "extendedCertificateAttributes", .description = "PKCS 9 extended certificate attributes", .code = 7},
    {.oid = "1.2.840.113549.1.9.14", .name = "extensionReq",                  .description = "PKCS 9 extension request",               .code = 8},
};

constexpr Entry kOther[] = {
    {.oid = "1.3.6.1.4.1.311.2.1.14", .name = "catExtension", .description = "Microsoft Cat Extension"},
};

constexpr Entry kHold[] = {
    {.oid = "1.2.840.10040.2",   .name = "holdInstruction",           .description = "hold instruction"},
    {.oid = "1.2.840.10040.2.1", .name = "holdInstructionNone",       .description = "hold instruction none"},
    {.oid = "1.2.840.10040.2.2", .name = "holdInstructionCallIssuer", .description = "hold instruction call issuer"},
    {.oid = "1.2.840.10040.2.3", .name = "holdInstructionReject",     .description = "hold instruction reject"},
};

constexpr Entry kQualifiers[] = {
    {.oid = "1.3.6.1.5.5.7.2",   .name = "pkix-id-qt",         .description = "policy qualifier type", .code = 0},
    {.oid = "1.3.6.1.5.5.7.2.1", .name = "pkix-id-qt-cps",     .description = "policy qualifier id",   .code = 1},
    {.oid = "1.3.6.1.5.5.7.2.2", .name = "pkix-id-qt-unotice", .description = "user notice",           .code = 2},
};

// The further rows: what public and enterprise PKIs have issued since. They come behind the given
// rows of their kind, so that a search finds those first.
constexpr Entry kFurtherPublicKeys[] = {
    {.oid = "1.2.840.10045.2.1",     .name = "ecPublicKey",    .description = "elliptic curve", .key_type = &kEc},
    {.oid = "1.3.101.112",           .name = "Ed25519",        .description = "Ed25519", .key_type = &kEd25519},
    {.oid = "1.3.101.113",           .name = "Ed448",          .description = "Ed448", .key_type = &kEd448},
    {.oid = "1.3.101.110",           .name = "X25519",         .description = "X25519", .key_type = &kX25519},
    {.oid = "1.3.101.111",           .name = "X448",           .description = "X448", .key_type = &kX448},
    {.oid = "1.2.840.113549.1.1.10", .name = "rsassaPss",      .description = "RSASSA-PSS", .key_type = &kRsaPss},
    {.oid = "1.2.840.113549.1.3.1",  .name = "dhKeyAgreement", .description = "dl-modp{dh}", .key_type = &kDh},
};

constexpr Entry kFurtherSignatures[] = {
    {.oid = "1.2.840.113549.1.1.14", .name = "sha224WithRSAEncryption", .description = "rsa-pkcs1-sha224",
     .key_scheme = "if-modn{sign{rsa-pkcs1-sha224},encrypt{rsa-pkcs1-none}}", .code = SSH_OID_KEY_RSA},
    {.oid = "1.2.840.113549.1.1.11", .name = "sha256WithRSAEncryption", .description = "rsa-pkcs1-sha256",
     .key_scheme = "if-modn{sign{rsa-pkcs1-sha256},encrypt{rsa-pkcs1-none}}", .code = SSH_OID_KEY_RSA},
    {.oid = "1.2.840.113549.1.1.12", .name = "sha384WithRSAEncryption", .description = "rsa-pkcs1-sha384",
     .key_scheme = "if-modn{sign{rsa-pkcs1-sha384},encrypt{rsa-pkcs1-none}}", .code = SSH_OID_KEY_RSA},
    {.oid = "1.2.840.113549.1.1.13", .name = "sha512WithRSAEncryption", .description = "rsa-pkcs1-sha512",
     .key_scheme = "if-modn{sign{rsa-pkcs1-sha512},encrypt{rsa-pkcs1-none}}", .code = SSH_OID_KEY_RSA},
    {.oid = "1.2.840.113549.1.1.10", .name = "rsassaPss", .description = "rsa-pss", .code = SSH_OID_KEY_RSA_PSS},
    {.oid = "2.16.840.1.101.3.4.3.1", .name = "dsaWithSHA-224", .description = "dsa-nist-sha224",
     .key_scheme = "dl-modp{sign{dsa-nist-sha224}}", .code = SSH_OID_KEY_DSA},
    {.oid = "2.16.840.1.101.3.4.3.2", .name = "dsaWithSHA-256", .description = "dsa-nist-sha256",
     .key_scheme = "dl-modp{sign{dsa-nist-sha256}}", .code = SSH_OID_KEY_DSA},
    {.oid = "2.16.840.1.101.3.4.3.3", .name = "dsaWithSHA-384", .description = "dsa-nist-sha384",
     .key_scheme = "dl-modp{sign{dsa-nist-sha384}}", .code = SSH_OID_KEY_DSA},
    {.oid = "2.16.840.1.101.3.4.3.4", .name = "dsaWithSHA-512", .description = "dsa-nist-sha512",
     .key_scheme = "dl-modp{sign{dsa-nist-sha512}}", .code = SSH_OID_KEY_DSA},
    {.oid = "1.2.840.10045.4.1", .name = "ecdsaWithSHA-1", .description = "ecdsa-sha1", .code = SSH_OID_KEY_EC},
    {.oid = "1.2.840.10045.4.3.1", .name = "ecdsaWithSHA-224", .description = "ecdsa-sha224", .code = SSH_OID_KEY_EC},
    {.oid = "1.2.840.10045.4.3.2", .name = "ecdsaWithSHA-256", .description = "ecdsa-sha256", .code = SSH_OID_KEY_EC},
    {.oid = "1.2.840.10045.4.3.3", .name = "ecdsaWithSHA-384", .description = "ecdsa-sha384", .code = SSH_OID_KEY_EC},
    {.oid = "1.2.840.10045.4.3.4", .name = "ecdsaWithSHA-512", .description = "ecdsa-sha512", .code = SSH_OID_KEY_EC},
    {.oid = "1.3.101.112", .name = "Ed25519", .description = "ed25519", .code = SSH_OID_KEY_ED25519},
    {.oid = "1.3.101.113", .name = "Ed448", .description = "ed448", .code = SSH_OID_KEY_ED448},
};

constexpr Entry kFurtherExtensions[] = {
    {.oid = "2.5.29.54",               .name = "inhibitAnyPolicy",               .description = "inhibit any policy",               .code = SSH_X509_EXT_INHIBIT_ANY_POLICY},
    {.oid = "1.3.6.1.5.5.7.1.11",      .name = "subjectInformationAccess",       .description = "subject information access",       .code = SSH_X509_EXT_SUBJECT_INFO_ACCESS},
    {.oid = "2.5.29.46",               .name = "freshestCRL",                    .description = "freshest CRL",                     .code = SSH_X509_EXT_FRESHEST_CRL},
    {.oid = "1.3.6.1.4.1.11129.2.4.2", .name = "signedCertificateTimestampList", .description = "signed certificate timestamps",    .code = SSH_X509_EXT_SCT_LIST},
    {.oid = "1.3.6.1.4.1.11129.2.4.3", .name = "precertificatePoison",           .description = "precertificate poison",            .code = SSH_X509_EXT_PRECERTIFICATE_POISON},
    {.oid = "1.3.6.1.5.5.7.1.24",      .name = "tlsFeature",                     .description = "TLS feature",                      .code = SSH_X509_EXT_TLS_FEATURE},
    {.oid = "1.3.6.1.5.5.7.48.1.5",    .name = "ocspNoCheck",                    .description = "OCSP no check",                    .code = SSH_X509_EXT_OCSP_NO_CHECK},
    {.oid = "1.3.6.1.5.5.7.1.3",       .name = "qcStatements",                   .description = "qualified certificate statements", .code = SSH_X509_EXT_QC_STATEMENTS},
    {.oid = "2.16.840.1.113730.1.1",   .name = "netscapeCertType",               .description = "Netscape certificate type",        .code = SSH_X509_EXT_NETSCAPE_CERT_TYPE},
    {.oid = "2.16.840.1.113730.1.2",   .name = "netscapeBaseURL",                .description = "Netscape base URL",                .code = SSH_X509_EXT_NETSCAPE_BASE_URL},
    {.oid = "2.16.840.1.113730.1.3",   .name = "netscapeRevocationURL",          .description = "Netscape revocation URL",          .code = SSH_X509_EXT_NETSCAPE_REVOCATION_URL},
    {.oid = "2.16.840.1.113730.1.4",   .name = "netscapeCARevocationURL",        .description = "Netscape CA revocation URL",       .code = SSH_X509_EXT_NETSCAPE_CA_REVOCATION_URL},
    {.oid = "2.16.840.1.113730.1.7",   .name = "netscapeRenewalURL",             .description = "Netscape renewal URL",             .code = SSH_X509_EXT_NETSCAPE_RENEWAL_URL},
    {.oid = "2.16.840.1.113730.1.8",   .name = "netscapeCAPolicyURL",            .description = "Netscape CA policy URL",           .code = SSH_X509_EXT_NETSCAPE_CA_POLICY_URL},
    {.oid = "2.16.840.1.113730.1.12",  .name = "netscapeServerName",             .description = "Netscape server name",             .code = SSH_X509_EXT_NETSCAPE_SERVER_NAME},
    {.oid = "2.16.840.1.113730.1.13",  .name = "netscapeComment",                .description = "Netscape comment",                 .code = SSH_X509_EXT_NETSCAPE_COMMENT},
    {.oid = "1.3.6.1.4.1.311.20.2",    .name = "certificateTemplateName",        .description = "certificate template name",        .code = SSH_X509_EXT_TEMPLATE_NAME},
    {.oid = "1.3.6.1.4.1.311.21.7",    .name = "certificateTemplate",            .description = "certificate template",             .code = SSH_X509_EXT_TEMPLATE},
    {.oid = "1.3.6.1.4.1.311.21.1",    .name = "caVersion",                      .description = "CA version",                       .code = SSH_X509_EXT_CA_VERSION},
    {.oid = "1.3.6.1.4.1.311.21.2",    .name = "previousCAHash",                 .description = "previous CA certificate hash",     .code = SSH_X509_EXT_PREVIOUS_CA_HASH},
    {.oid = "1.3.6.1.4.1.311.21.10",   .name = "applicationPolicies",            .description = "application policies",             .code = SSH_X509_EXT_APPLICATION_POLICIES},
    {.oid = "2.5.29.60",               .name = "expiredCertsOnCRL",              .description = "expired certificates on CRL",      .code = SSH_X509_EXT_EXPIRED_CERTS_ON_CRL},
    {.oid = "1.3.6.1.4.1.311.21.4",    .name = "nextCRLPublish",                 .description = "next CRL publish",                 .code = SSH_X509_EXT_NEXT_CRL_PUBLISH},
    {.oid = "1.3.6.1.5.5.7.1.7",       .name = "ipAddrBlocks",                   .description = "IP address blocks",                .code = SSH_X509_EXT_IP_BLOCKS},
    {.oid = "1.3.6.1.5.5.7.1.8",       .name = "autonomousSysIds",               .description = "AS numbers",                       .code = SSH_X509_EXT_AS_NUMBERS},
};

// Their names differ from those of the given rows. 2.5.4.5 stays STREET, so the street address of
// X.520 has its long name here; and the user id is UID, since the given rows have a UI.
constexpr Entry kFurtherAttributes[] = {
    {.oid = "2.5.4.9",                   .name = "streetAddress",          .description = "street address of X.520",            .code = 20},
    {.oid = "2.5.4.97",                  .name = "organizationIdentifier", .description = "organization identifier",            .code = 21},
    {.oid = "2.5.4.15",                  .name = "businessCategory",       .description = "business category",                  .code = 22},
    {.oid = "2.5.4.17",                  .name = "postalCode",             .description = "postal code",                        .code = 23},
    {.oid = "1.3.6.1.4.1.311.60.2.1.1",  .name = "jurisdictionL",          .description = "locality of incorporation",          .code = 24},
    {.oid = "1.3.6.1.4.1.311.60.2.1.2",  .name = "jurisdictionST",         .description = "state or province of incorporation", .code = 25},
    {.oid = "1.3.6.1.4.1.311.60.2.1.3",  .name = "jurisdictionC",          .description = "country of incorporation",           .code = 26},
    {.oid = "0.9.2342.19200300.100.1.1", .name = "UID",                    .description = "user id",                            .code = 27},
    {.oid = "2.5.4.65",                  .name = "pseudonym",              .description = "pseudonym",                          .code = 28},
};
// clang-format on

// Table is a kind's rows, the given ones first, and an index over them, made by the compiler. The
// index is a hash table: the last byte of an identifier, in which those of one kind mostly differ,
// chooses a chain of rows. A chain is in the order of the table, so that of equal rows the first
// one is found first, and a search that stops at the first further row sees the given rows alone.
constexpr uint32_t kChains = 64;
template <size_t N>
struct Table {
  uint32_t given;                 // how many rows are given ones
  std::array<SshOidRow, N> rows;  // the given ones, then the further ones
  uint8_t chains[kChains];        // the index of a chain's first row; N if it is empty
  uint8_t next[N];                // the index of the next row of a row's chain; N for the last
};

constexpr uint32_t chain_of(uint8_t last_octet) { return last_octet % kChains; }

consteval SshOidRow row_of(const Entry &entry) {
  return {entry.oid,        entry.name, entry.description,        entry.key_type,
          entry.key_scheme, entry.code, SshOidConstant(entry.oid)};
}

// table_of makes the table of two lists of entries. It goes backwards and puts each row at the head
// of its chain, which leaves the chains in order.
template <const auto &Given, const auto &Further, size_t... I, size_t... J>
consteval auto table_of(std::index_sequence<I...>, std::index_sequence<J...>) {
  constexpr size_t kCount = sizeof...(I) + sizeof...(J);
  Table<kCount> table = {sizeof...(I), {row_of(Given[I])..., row_of(Further[J])...}, {}, {}};
  for (uint8_t &first : table.chains) first = kCount;
  for (size_t i = kCount; i-- > 0;) {
    const SshOidConstant &encoded = table.rows[i].encoded;
    uint8_t &first = table.chains[chain_of(encoded.octets[encoded.length - 1])];
    table.next[i] = first;
    first = static_cast<uint8_t>(i);
  }
  return table;
}
constexpr std::array<Entry, 0> kNoFurther = {};
template <const auto &Given, const auto &Further = kNoFurther>
constexpr auto kTableOf = table_of<Given, Further>(std::make_index_sequence<std::size(Given)>(),
                                                   std::make_index_sequence<std::size(Further)>());

// Kind is a table whose size is no longer a part of its type, so that tables can be in an array.
struct Kind {
  const SshOidRow *rows;
  const uint8_t *chains;
  const uint8_t *next;
  SshOidKind kind;
  uint32_t given;
  uint32_t all;

  template <size_t N>
  constexpr Kind(SshOidKind number, const Table<N> &table)
      : rows(table.rows.data()),
        chains(table.chains),
        next(table.next),
        kind(number),
        given(table.given),
        all(N) {
    static_assert(N < 255);
  }

  // count gives how many rows, from the first one on, are searched under a profile.
  [[nodiscard]] uint32_t count(const SshX509Rules &rules) const {
    return rules.further_identifiers ? all : given;
  }
};

constexpr Kind kKinds[] = {
    {SSH_OID_PUBLIC_KEY, kTableOf<kPublicKeys, kFurtherPublicKeys>},
    {SSH_OID_SIGNATURE, kTableOf<kSignatures, kFurtherSignatures>},
    {SSH_OID_EXTENSION, kTableOf<kExtensionEntries, kFurtherExtensions>},
    {SSH_OID_DN, kTableOf<kAttributes, kFurtherAttributes>},
    {SSH_OID_PKCS9, kTableOf<kPkcs9>},
    {SSH_OID_OTHER, kTableOf<kOther>},
    {SSH_OID_HOLD, kTableOf<kHold>},
    {SSH_OID_POLICY_QUALIFIER, kTableOf<kQualifiers>},
};

consteval bool kinds_in_order() {
  for (uint32_t i = 0; i < std::size(kKinds); ++i) {
    if (kKinds[i].kind != i) return false;
  }
  return std::size(kKinds) == SSH_OID_POLICY_QUALIFIER + 1;
}
static_assert(kinds_in_order());
static_assert(std::size(kPublicKeys) == 5 && std::size(kSignatures) == 10 &&
              std::size(kExtensionEntries) == 28);
static_assert(std::size(kAttributes) == 20 && std::size(kPkcs9) == 9 && std::size(kOther) == 1);
static_assert(std::size(kHold) == 4 && std::size(kQualifiers) == 3);

// find gives the first of `count` rows for which `is` is true, or null.
template <class Is>
const SshOidRow *find(const Kind &kind, uint32_t count, Is is) {
  const SshOidRow *const end = kind.rows + count;
  const SshOidRow *const row = std::find_if(kind.rows, end, is);
  return row == end ? nullptr : row;
}

const SshOidRow *find_text(const Kind &kind, uint32_t count, const char *oid) {
  return find(kind, count, [oid](const SshOidRow &row) { return std::strcmp(row.oid, oid) == 0; });
}

// same_ends compares the first and the last word of two runs of bytes.
template <class Word>
bool same_ends(const uint8_t *a, const uint8_t *b, size_t length) {
  Word first_a, first_b, last_a, last_b;
  std::memcpy(&first_a, a, sizeof(Word));
  std::memcpy(&first_b, b, sizeof(Word));
  std::memcpy(&last_a, a + length - sizeof(Word), sizeof(Word));
  std::memcpy(&last_b, b + length - sizeof(Word), sizeof(Word));
  return first_a == first_b && last_a == last_b;
}

// same_octets compares two identifiers of the same length, one of them from a table. It takes two
// words from each, one from either end, which together cover all bytes because a table's identifier
// has at most 15: words of eight bytes if there are eight, else of four, else single bytes and the
// one in the middle. That is quicker than a loop or a call for so few bytes.
inline bool same_octets(const uint8_t *a, const uint8_t *b, size_t length) {
  static_assert(sizeof(SshOidConstant::octets) < 2 * sizeof(uint64_t));
  if (length >= sizeof(uint64_t)) return same_ends<uint64_t>(a, b, length);
  if (length >= sizeof(uint32_t)) return same_ends<uint32_t>(a, b, length);
  return a[length / 2] == b[length / 2] && same_ends<uint8_t>(a, b, length);
}

// find_octets looks among the first `count` rows for an identifier. It walks over the chain of the
// identifier's last byte; an index of `count` or more ends the walk.
inline const SshOidRow *find_octets(const Kind &kind, uint32_t count, Bytes octets) {
  // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): callers have set the bytes
  for (uint32_t i = kind.chains[chain_of(octets.back())]; i < count; i = kind.next[i]) {
    const SshOidConstant &encoded = kind.rows[i].encoded;
    if (encoded.length == octets.size() &&
        same_octets(encoded.octets, octets.data(), octets.size()))
      return &kind.rows[i];
  }
  return nullptr;
}

// find_padded looks for an identifier that has needless bytes 80 at the beginning of an arc. They
// do not show in dotted text, and identifiers are equal if their texts are. So the function drops
// them and looks up the rest. It is not inlined, so that the usual case takes no room on the stack
// for it.
[[gnu::noinline]] const SshOidRow *find_padded(const Kind &kind, uint32_t count, Bytes octets) {
  uint8_t shortest[sizeof(SshOidConstant::octets)];
  if (!std::memchr(octets.data(), 0x80, octets.size())) return nullptr;
  size_t length = 0;
  bool arc_starts = false;  // the first byte holds two arcs and is never padding
  for (const uint8_t octet : octets) {
    if (arc_starts && octet == 0x80) continue;
    if (length == sizeof(shortest)) return nullptr;
    shortest[length++] = octet;
    arc_starts = length == 1 || octet < 0x80;
  }
  return ssh_ber_oid_is_valid(octets) ? find_octets(kind, count, {shortest, length}) : nullptr;
}

bool equal_ignoring_case(const char *a, const char *b) {
  while (*a && ssh_to_lower(*a) == ssh_to_lower(*b)) ++a, ++b;
  return *a == *b;
}

}  // namespace

const SshOidRow *ssh_oid_find_by_oid(const char *oid, SshOidKind kind) {
  return find_text(kKinds[kind], kKinds[kind].count(ssh_x509_rules()), oid);
}

const SshOidRow *ssh_oid_find_of_any_kind(const char *oid) {
  for (const Kind &kind : kKinds) {
    if (const SshOidRow *row = find_text(kind, kind.all, oid)) return row;
  }
  return nullptr;
}

const SshOidRow *ssh_oid_find_encoded(SshOid oid, SshOidKind kind, const SshX509Rules &rules) {
  if (!oid) return nullptr;
  const Kind &table = kKinds[kind];
  const uint32_t count = table.count(rules);
  const SshOidRow *row = find_octets(table, count, oid.octets);
  return row ? row : find_padded(table, count, oid.octets);
}

char *ssh_x509_oid_text(SshOid oid, const SshX509Rules &rules) {
  return ssh_ber_oid_text(oid, rules.standard_oids);
}

const SshOidRow *ssh_oid_find_by_std_name(const char *name, SshOidKind kind) {
  return find(kKinds[kind], kKinds[kind].count(ssh_x509_rules()),
              [name](const SshOidRow &row) { return equal_ignoring_case(row.name, name); });
}
