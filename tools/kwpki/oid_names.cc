#include "kwpki/oid_names.h"

#include <algorithm>
#include <iterator>

namespace kwpki {
namespace {

struct NameRow {
  std::string_view oid;
  std::string_view name;
};

constexpr NameRow kNames[] = {
    {"1.2.840.113549.1.1.7", "id-RSAES-OAEP"},
    {"1.2.840.113549.1.1.8", "id-mgf1"},
    {"1.2.840.113549.1.1.10", "id-RSASSA-PSS"},
    {"1.2.840.113549.1.1.11", "sha256WithRSAEncryption"},
    {"1.2.840.113549.1.1.12", "sha384WithRSAEncryption"},
    {"1.2.840.113549.1.1.13", "sha512WithRSAEncryption"},
    {"1.2.840.113549.1.1.14", "sha224WithRSAEncryption"},
    {"1.2.840.113549.1.3.1", "dhKeyAgreement"},
    {"1.2.840.10045.2.1", "id-ecPublicKey"},
    {"1.2.840.10045.3.1.1", "secp192r1"},
    {"1.2.840.10045.3.1.7", "secp256r1"},
    {"1.3.132.0.10", "secp256k1"},
    {"1.3.132.0.33", "secp224r1"},
    {"1.3.132.0.34", "secp384r1"},
    {"1.3.132.0.35", "secp521r1"},
    {"1.2.840.10045.4.1", "ecdsa-with-SHA1"},
    {"1.2.840.10045.4.3.1", "ecdsa-with-SHA224"},
    {"1.2.840.10045.4.3.2", "ecdsa-with-SHA256"},
    {"1.2.840.10045.4.3.3", "ecdsa-with-SHA384"},
    {"1.2.840.10045.4.3.4", "ecdsa-with-SHA512"},
    {"1.3.101.110", "X25519"},
    {"1.3.101.111", "X448"},
    {"1.3.101.112", "Ed25519"},
    {"1.3.101.113", "Ed448"},
    {"2.16.840.1.101.3.4.2.1", "sha256"},
    {"2.16.840.1.101.3.4.2.2", "sha384"},
    {"2.16.840.1.101.3.4.2.3", "sha512"},
    {"2.16.840.1.101.3.4.3.1", "dsa-with-SHA224"},
    {"2.16.840.1.101.3.4.3.2", "dsa-with-SHA256"},
    {"1.3.14.3.2.26", "sha1"},
    {"2.5.4.9", "streetAddress"},
    {"2.5.4.13", "description"},
    {"2.5.4.15", "businessCategory"},
    {"2.5.4.16", "postalAddress"},
    {"2.5.4.17", "postalCode"},
    {"2.5.4.20", "telephoneNumber"},
    {"2.5.4.65", "pseudonym"},
    {"2.5.4.72", "role"},
    {"2.5.4.97", "organizationIdentifier"},
    {"0.9.2342.19200300.100.1.1", "userId"},
    {"1.3.6.1.5.5.7.9.1", "dateOfBirth"},
    {"1.3.6.1.5.5.7.9.2", "placeOfBirth"},
    {"1.3.6.1.5.5.7.9.3", "gender"},
    {"1.3.6.1.5.5.7.9.4", "countryOfCitizenship"},
    {"1.3.6.1.5.5.7.9.5", "countryOfResidence"},
    {"1.3.6.1.4.1.311.60.2.1.1", "jurisdictionLocality"},
    {"1.3.6.1.4.1.311.60.2.1.2", "jurisdictionStateOrProvince"},
    {"1.3.6.1.4.1.311.60.2.1.3", "jurisdictionCountry"},
    {"2.5.29.32.0", "anyPolicy"},
    {"2.5.29.37.0", "anyExtendedKeyUsage"},
    {"2.5.29.46", "freshestCRL"},
    {"2.5.29.54", "inhibitAnyPolicy"},
    {"1.3.6.1.5.5.7.1.3", "qcStatements"},
    {"1.3.6.1.5.5.7.1.11", "subjectInformationAccess"},
    {"1.3.6.1.5.5.7.1.24", "tlsFeature"},
    {"1.3.6.1.5.5.7.3.1", "serverAuth"},
    {"1.3.6.1.5.5.7.3.2", "clientAuth"},
    {"1.3.6.1.5.5.7.3.3", "codeSigning"},
    {"1.3.6.1.5.5.7.3.4", "emailProtection"},
    {"1.3.6.1.5.5.7.3.5", "ipsecEndSystem"},
    {"1.3.6.1.5.5.7.3.6", "ipsecTunnel"},
    {"1.3.6.1.5.5.7.3.7", "ipsecUser"},
    {"1.3.6.1.5.5.7.3.8", "timeStamping"},
    {"1.3.6.1.5.5.7.3.9", "OCSPSigning"},
    {"1.3.6.1.5.5.7.3.17", "ipsecIKE"},
    {"1.3.6.1.5.5.8.2.2", "ikeIntermediate"},
    {"1.3.6.1.5.5.7.48.1", "ocsp"},
    {"1.3.6.1.5.5.7.48.1.5", "ocspNoCheck"},
    {"1.3.6.1.5.5.7.48.2", "caIssuers"},
    {"1.3.6.1.5.5.7.48.3", "timeStamping"},
    {"1.3.6.1.5.5.7.48.5", "caRepository"},
    {"1.3.6.1.4.1.11129.2.4.2", "signedCertificateTimestamps"},
    {"1.3.6.1.4.1.11129.2.4.3", "certificateTransparencyPoison"},
    {"1.3.6.1.4.1.311.20.2", "certificateTemplateName"},
    {"1.3.6.1.4.1.311.20.2.2", "smartcardLogon"},
    {"1.3.6.1.4.1.311.20.2.3", "userPrincipalName"},
    {"1.3.6.1.4.1.311.21.1", "caVersion"},
    {"1.3.6.1.4.1.311.21.7", "certificateTemplate"},
    {"2.16.840.1.113730.1.1", "netscapeCertType"},
    {"2.16.840.1.113730.1.2", "netscapeBaseUrl"},
    {"2.16.840.1.113730.1.3", "netscapeRevocationUrl"},
    {"2.16.840.1.113730.1.4", "netscapeCaRevocationUrl"},
    {"2.16.840.1.113730.1.7", "netscapeRenewalUrl"},
    {"2.16.840.1.113730.1.8", "netscapeCaPolicyUrl"},
    {"2.16.840.1.113730.1.12", "netscapeSslServerName"},
    {"2.16.840.1.113730.1.13", "netscapeComment"},
    {"2.16.840.1.113730.4.1", "netscapeServerGatedCrypto"},
};

}  // namespace

std::string_view oid_name_of_kind(const std::string &dotted, SshOidKind kind) {
  const SshOidRow *row = ssh_oid_find_by_oid(dotted.c_str(), kind);
  return row ? std::string_view(row->name) : std::string_view();
}

std::string_view oid_name(const std::string &dotted) {
  for (uint32_t kind = SSH_OID_PUBLIC_KEY; kind <= SSH_OID_POLICY_QUALIFIER; ++kind) {
    const std::string_view name = oid_name_of_kind(dotted, static_cast<SshOidKind>(kind));
    if (!name.empty()) return name;
  }
  const auto *row = std::find_if(std::begin(kNames), std::end(kNames),
                                 [&](const NameRow &r) { return r.oid == dotted; });
  return row == std::end(kNames) ? std::string_view() : row->name;
}

}  // namespace kwpki
