#include "kwpki/values/oid_names.h"

#include <algorithm>
#include <iterator>

namespace kwpki {
namespace {

struct NameRow {
  std::string_view oid;
  std::string_view name;
};

constexpr NameRow kNames[] = {
    // Algorithms that are shown and not computed: NIST CSOR; RFC 9881, 9909, 8692, 4491, 9215, 3279.
    {"2.16.840.1.101.3.4.3.5", "dsaWithSHA3-224"},
    {"2.16.840.1.101.3.4.3.6", "dsaWithSHA3-256"},
    {"2.16.840.1.101.3.4.3.7", "dsaWithSHA3-384"},
    {"2.16.840.1.101.3.4.3.8", "dsaWithSHA3-512"},
    {"2.16.840.1.101.3.4.3.9", "ecdsaWithSHA3-224"},
    {"2.16.840.1.101.3.4.3.10", "ecdsaWithSHA3-256"},
    {"2.16.840.1.101.3.4.3.11", "ecdsaWithSHA3-384"},
    {"2.16.840.1.101.3.4.3.12", "ecdsaWithSHA3-512"},
    {"2.16.840.1.101.3.4.3.13", "rsaWithSHA3-224"},
    {"2.16.840.1.101.3.4.3.14", "rsaWithSHA3-256"},
    {"2.16.840.1.101.3.4.3.15", "rsaWithSHA3-384"},
    {"2.16.840.1.101.3.4.3.16", "rsaWithSHA3-512"},
    {"2.16.840.1.101.3.4.3.17", "ML-DSA-44"},
    {"2.16.840.1.101.3.4.3.18", "ML-DSA-65"},
    {"2.16.840.1.101.3.4.3.19", "ML-DSA-87"},
    {"2.16.840.1.101.3.4.3.20", "SLH-DSA-SHA2-128s"},
    {"2.16.840.1.101.3.4.3.21", "SLH-DSA-SHA2-128f"},
    {"2.16.840.1.101.3.4.3.22", "SLH-DSA-SHA2-192s"},
    {"2.16.840.1.101.3.4.3.23", "SLH-DSA-SHA2-192f"},
    {"2.16.840.1.101.3.4.3.24", "SLH-DSA-SHA2-256s"},
    {"2.16.840.1.101.3.4.3.25", "SLH-DSA-SHA2-256f"},
    {"2.16.840.1.101.3.4.3.26", "SLH-DSA-SHAKE-128s"},
    {"2.16.840.1.101.3.4.3.27", "SLH-DSA-SHAKE-128f"},
    {"2.16.840.1.101.3.4.3.28", "SLH-DSA-SHAKE-192s"},
    {"2.16.840.1.101.3.4.3.29", "SLH-DSA-SHAKE-192f"},
    {"2.16.840.1.101.3.4.3.30", "SLH-DSA-SHAKE-256s"},
    {"2.16.840.1.101.3.4.3.31", "SLH-DSA-SHAKE-256f"},
    {"1.3.6.1.5.5.7.6.30", "rsaPssWithSHAKE128"},
    {"1.3.6.1.5.5.7.6.31", "rsaPssWithSHAKE256"},
    {"1.3.6.1.5.5.7.6.32", "ecdsaWithSHAKE128"},
    {"1.3.6.1.5.5.7.6.33", "ecdsaWithSHAKE256"},
    {"1.2.840.113549.1.1.15", "sha512-224WithRSAEncryption"},
    {"1.2.840.113549.1.1.16", "sha512-256WithRSAEncryption"},
    {"1.2.840.10045.4.2", "ecdsaWithRecommended"},
    {"1.2.840.10045.4.3", "ecdsaWithSpecified"},
    {"1.3.36.3.3.1.2", "ripemd160WithRSAEncryption"},
    {"1.2.156.10197.1.501", "SM2 with SM3"},
    {"1.2.643.2.2.3", "GOST R 34.10-2001 with 34.11-94"},
    {"1.2.643.2.2.19", "GOST R 34.10-2001"},
    {"1.2.643.7.1.1.1.1", "GOST R 34.10-2012, 256 bits"},
    {"1.2.643.7.1.1.1.2", "GOST R 34.10-2012, 512 bits"},
    {"1.2.643.7.1.1.3.2", "GOST R 34.10-2012 with 34.11-2012, 256 bits"},
    {"1.2.643.7.1.1.3.3", "GOST R 34.10-2012 with 34.11-2012, 512 bits"},
    {"1.2.840.113549.1.1.7", "id-RSAES-OAEP"},
    {"1.2.840.113549.1.1.8", "id-mgf1"},
    {"2.16.840.1.101.3.4.2.4", "sha224"},
    {"0.4.0.1862.1.1", "qcsCompliance"},
    {"0.4.0.1862.1.2", "qcsLimitValue"},
    {"0.4.0.1862.1.3", "qcsRetentionPeriod"},
    {"0.4.0.1862.1.4", "qcsQSCD"},
    {"0.4.0.1862.1.5", "qcsPDS"},
    {"0.4.0.1862.1.6", "qcsType"},
    {"0.4.0.1862.1.6.1", "qctEsign"},
    {"0.4.0.1862.1.6.2", "qctEseal"},
    {"0.4.0.1862.1.6.3", "qctWeb"},
    {"1.3.6.1.5.5.7.11.2", "qcsPkixSyntaxV2"},
    {"1.3.132.1.12", "id-ecDH"},
    {"1.3.132.1.13", "id-ecMQV"},
    {"2.16.840.1.101.3.4.2.1", "sha256"},
    {"2.16.840.1.101.3.4.2.2", "sha384"},
    {"2.16.840.1.101.3.4.2.3", "sha512"},
    {"1.3.14.3.2.26", "sha1"},
    {"2.5.4.13", "description"},
    {"2.5.4.16", "postalAddress"},
    {"2.5.4.20", "telephoneNumber"},
    {"2.5.4.72", "role"},
    {"1.3.6.1.5.5.7.9.1", "dateOfBirth"},
    {"1.3.6.1.5.5.7.9.2", "placeOfBirth"},
    {"1.3.6.1.5.5.7.9.3", "gender"},
    {"1.3.6.1.5.5.7.9.4", "countryOfCitizenship"},
    {"1.3.6.1.5.5.7.9.5", "countryOfResidence"},
    {"2.5.29.32.0", "anyPolicy"},
    {"2.5.29.37.0", "anyExtendedKeyUsage"},
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
    {"1.3.6.1.5.5.7.48.2", "caIssuers"},
    {"1.3.6.1.5.5.7.48.3", "timeStamping"},
    {"1.3.6.1.5.5.7.48.5", "caRepository"},
    {"1.3.6.1.4.1.311.20.2.2", "smartcardLogon"},
    {"1.3.6.1.4.1.311.20.2.3", "userPrincipalName"},
    {"2.16.840.1.113730.4.1", "netscapeServerGatedCrypto"},
};

// Curves with their sizes: SEC 2, with the NIST's names of some; RFC 5639; one of GB/T 32918.
constexpr CurveRow kCurves[] = {
    {"1.2.840.10045.3.1.1", "prime192v1", "P-192", 192},
    {"1.2.840.10045.3.1.2", "prime192v2", "", 192},
    {"1.2.840.10045.3.1.3", "prime192v3", "", 192},
    {"1.2.840.10045.3.1.4", "prime239v1", "", 239},
    {"1.2.840.10045.3.1.5", "prime239v2", "", 239},
    {"1.2.840.10045.3.1.6", "prime239v3", "", 239},
    {"1.2.840.10045.3.1.7", "prime256v1", "P-256", 256},
    {"1.3.132.0.6", "secp112r1", "", 112},
    {"1.3.132.0.7", "secp112r2", "", 112},
    {"1.3.132.0.28", "secp128r1", "", 128},
    {"1.3.132.0.29", "secp128r2", "", 128},
    {"1.3.132.0.9", "secp160k1", "", 160},
    {"1.3.132.0.8", "secp160r1", "", 160},
    {"1.3.132.0.30", "secp160r2", "", 160},
    {"1.3.132.0.31", "secp192k1", "", 192},
    {"1.3.132.0.32", "secp224k1", "", 224},
    {"1.3.132.0.33", "secp224r1", "P-224", 224},
    {"1.3.132.0.10", "secp256k1", "", 256},
    {"1.3.132.0.34", "secp384r1", "P-384", 384},
    {"1.3.132.0.35", "secp521r1", "P-521", 521},
    {"1.3.132.0.4", "sect113r1", "", 113},
    {"1.3.132.0.5", "sect113r2", "", 113},
    {"1.3.132.0.22", "sect131r1", "", 131},
    {"1.3.132.0.23", "sect131r2", "", 131},
    {"1.3.132.0.1", "sect163k1", "K-163", 163},
    {"1.3.132.0.2", "sect163r1", "", 163},
    {"1.3.132.0.15", "sect163r2", "B-163", 163},
    {"1.3.132.0.24", "sect193r1", "", 193},
    {"1.3.132.0.25", "sect193r2", "", 193},
    {"1.3.132.0.26", "sect233k1", "K-233", 233},
    {"1.3.132.0.27", "sect233r1", "B-233", 233},
    {"1.3.132.0.3", "sect239k1", "", 239},
    {"1.3.132.0.16", "sect283k1", "K-283", 283},
    {"1.3.132.0.17", "sect283r1", "B-283", 283},
    {"1.3.132.0.36", "sect409k1", "K-409", 409},
    {"1.3.132.0.37", "sect409r1", "B-409", 409},
    {"1.3.132.0.38", "sect571k1", "K-571", 571},
    {"1.3.132.0.39", "sect571r1", "B-571", 571},
    {"1.3.36.3.3.2.8.1.1.1", "brainpoolP160r1", "", 160},
    {"1.3.36.3.3.2.8.1.1.2", "brainpoolP160t1", "", 160},
    {"1.3.36.3.3.2.8.1.1.3", "brainpoolP192r1", "", 192},
    {"1.3.36.3.3.2.8.1.1.4", "brainpoolP192t1", "", 192},
    {"1.3.36.3.3.2.8.1.1.5", "brainpoolP224r1", "", 224},
    {"1.3.36.3.3.2.8.1.1.6", "brainpoolP224t1", "", 224},
    {"1.3.36.3.3.2.8.1.1.7", "brainpoolP256r1", "", 256},
    {"1.3.36.3.3.2.8.1.1.8", "brainpoolP256t1", "", 256},
    {"1.3.36.3.3.2.8.1.1.9", "brainpoolP320r1", "", 320},
    {"1.3.36.3.3.2.8.1.1.10", "brainpoolP320t1", "", 320},
    {"1.3.36.3.3.2.8.1.1.11", "brainpoolP384r1", "", 384},
    {"1.3.36.3.3.2.8.1.1.12", "brainpoolP384t1", "", 384},
    {"1.3.36.3.3.2.8.1.1.13", "brainpoolP512r1", "", 512},
    {"1.3.36.3.3.2.8.1.1.14", "brainpoolP512t1", "", 512},
    {"1.2.156.10197.1.301", "sm2p256v1", "", 256},
};

}  // namespace

std::string_view oid_name_of_kind(const std::string &dotted, SshOidKind kind) {
  const SshOidRow *row = ssh_oid_find_by_oid(dotted.c_str(), kind);
  return row ? std::string_view(row->name) : std::string_view();
}

std::string_view oid_name(const std::string &dotted) {
  if (const SshOidRow *row = ssh_oid_find_of_any_kind(dotted.c_str())) return row->name;
  const auto *row = std::find_if(std::begin(kNames), std::end(kNames),
                                 [&](const NameRow &r) { return r.oid == dotted; });
  if (row != std::end(kNames)) return row->name;
  const CurveRow *curve = find_curve(dotted);
  return curve ? curve->name : std::string_view();
}

const CurveRow *find_curve(const std::string &dotted) {
  const auto *row = std::find_if(std::begin(kCurves), std::end(kCurves),
                                 [&](const CurveRow &r) { return r.oid == dotted; });
  return row == std::end(kCurves) ? nullptr : row;
}

}  // namespace kwpki
