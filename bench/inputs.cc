#include "inputs.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "util/owner.h"

namespace {

using KeyOwner = Owner<EVP_PKEY, EVP_PKEY_free>;
using CertOwner = Owner<X509, X509_free>;
using CrlOwner = Owner<X509_CRL, X509_CRL_free>;
using ConfOwner = Owner<CONF, NCONF_free>;

// need ends the program where an input cannot be made: nothing could be measured.
void need(bool made, const char *what) {
  if (made) return;
  std::fprintf(stderr, "cannot make the %s\n", what);
  std::exit(1);
}

EVP_PKEY *needed(const KeyOwner &key) {
  need(key != nullptr, "key");
  return key.get();
}

EVP_PKEY *key() {
  static const KeyOwner made(EVP_RSA_gen(1024));
  return needed(made);
}

EVP_PKEY *rsa_key() {
  static const KeyOwner made(EVP_RSA_gen(2048));
  return needed(made);
}

EVP_PKEY *ec_key() {
  static const KeyOwner made(EVP_EC_gen("P-256"));
  return needed(made);
}

struct Extension {
  const char *name;
  const char *value;
};

constexpr Extension kExtensions[] = {
    {"subjectKeyIdentifier", "hash"},
    {"authorityKeyIdentifier", "keyid:always"},
    {"basicConstraints", "critical,CA:TRUE,pathlen:2"},
    {"keyUsage", "critical,digitalSignature,keyEncipherment,keyCertSign,cRLSign"},
    {"extendedKeyUsage", "serverAuth,clientAuth"},
    {"certificatePolicies", "ia5org,1.3.6.1.4.1.99999.1.2,@policy"},
    {"subjectAltName",
     "DNS:gateway-17.example.com,DNS:gw.example.net,email:admin@example.com,IP:192.0.2.17"},
    {"issuerAltName", "URI:http://ca.example.com/"},
    {"crlDistributionPoints", "URI:http://crl.example.com/access.crl"},
    {"authorityInfoAccess",
     "OCSP;URI:http://ocsp.example.com/,caIssuers;URI:http://ca.example.com/ca.cer"},
};

constexpr char kTimestampsOid[] = "1.3.6.1.4.1.11129.2.4.2";

// The values of today's server certificates; the timestamps are added to them.
constexpr Extension kLeafExtensions[] = {
    {"keyUsage", "critical,digitalSignature"},
    {"extendedKeyUsage", "serverAuth,clientAuth"},
    {"basicConstraints", "critical,CA:FALSE"},
    {"subjectKeyIdentifier", "hash"},
    {"authorityKeyIdentifier", "keyid:always"},
    {"authorityInfoAccess",
     "OCSP;URI:http://ocsp.example.com/,caIssuers;URI:http://ca.example.com/r3.cer"},
    {"subjectAltName", "DNS:www.example.com,DNS:example.com,DNS:static.example.com"},
    {"certificatePolicies", "2.23.140.1.2.1,1.3.6.1.4.1.99999.1.2"},
    {"crlDistributionPoints", "URI:http://crl.example.com/r3.crl"},
};

constexpr char kPolicy[] =
    "[policy]\npolicyIdentifier=1.3.6.1.4.1.99999.1.3\nCPS.1=http://www.example.com/"
    "cps\nuserNotice.1=@notice\n"
    "[notice]\nexplicitText=Gateways only\norganization=Example Networks\nnoticeNumbers=1\n";

void add_names(X509_NAME *name, const char *unit, const char *common,
               int type = V_ASN1_PRINTABLESTRING) {
  const struct {
    const char *field, *value;
  } parts[] = {{"C", "FI"},
               {"ST", "Uusimaa"},
               {"L", "Helsinki"},
               {"O", "Example Networks Oy"},
               {"OU", "Remote Access"},
               {"OU", unit},
               {"CN", common}};
  for (const auto &part : parts) {
    const auto *value = reinterpret_cast<const unsigned char *>(part.value);
    // Countries are printable by rule, and of the classic era all: every library prints that type.
    const int own = *part.field == 'C' && !part.field[1] ? V_ASN1_PRINTABLESTRING : type;
    need(X509_NAME_add_entry_by_txt(name, part.field, own, value, -1, -1, 0) == 1, "name");
  }
}

void add_extensions(X509 *cert, X509 *issuer, std::span<const Extension> rows) {
  const ConfOwner conf(NCONF_new(nullptr));
  BIO *text = BIO_new_mem_buf(kPolicy, -1);
  need(NCONF_load_bio(conf.get(), text, nullptr) == 1, "policy section");
  BIO_free(text);
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, cert, nullptr, nullptr, 0);
  X509V3_set_nconf(&context, conf.get());
  for (const Extension &row : rows) {
    X509_EXTENSION *extension = X509V3_EXT_nconf(conf.get(), &context, row.name, row.value);
    need(extension != nullptr && X509_add_ext(cert, extension, -1) == 1, row.name);
    X509_EXTENSION_free(extension);
  }
}

template <class T>
std::vector<uint8_t> encode(T *object, int (*encoder)(const T *, unsigned char **)) {
  unsigned char *der = nullptr;
  const int length = encoder(object, &der);
  need(length > 0, "encoding");
  std::vector<uint8_t> octets(der, der + length);
  OPENSSL_free(der);
  return octets;
}

void fill(X509 *cert, EVP_PKEY *subject_key, const char *until) {
  constexpr uint8_t kSerial[] = {0x5A, 0x31, 0x0F, 0xC2, 0x77, 0x9E, 0x04, 0xB8,
                                 0x1D, 0x60, 0xE3, 0x92, 0x48, 0xAF, 0x15, 0x7B};
  X509_set_version(cert, 2);
  ASN1_STRING_set(X509_get_serialNumber(cert), kSerial, sizeof kSerial);
  ASN1_TIME_set_string(X509_getm_notBefore(cert), "040101000000Z");
  ASN1_TIME_set_string(X509_getm_notAfter(cert), until);
  X509_set_pubkey(cert, subject_key);
}

std::vector<uint8_t> make_certificate() {
  const CertOwner cert(X509_new());
  fill(cert.get(), key(), "340101000000Z");
  add_names(X509_get_issuer_name(cert.get()), "Certificates", "Access CA 2");
  add_names(X509_get_subject_name(cert.get()), "Gateways", "gateway-17.example.com");
  add_extensions(cert.get(), cert.get(), kExtensions);
  need(X509_sign(cert.get(), key(), EVP_sha1()) > 0, "certificate");
  return encode<X509>(cert.get(), i2d_X509);
}

// timestamps are two of logs, with signatures of the usual length, as the value of their extension.
std::string timestamps() {
  std::string list;
  for (const char log : {'\x11', '\x22'}) {
    const std::string one = std::string(1, '\0') + std::string(32, log) +
                            std::string("\0\0\1\x8B\xCF\xE5\x68\x7B\0\0\4\3\0\x47", 14) +
                            std::string(71, '\x33');
    list += std::string(1, '\0') + static_cast<char>(one.size()) + one;
  }
  list = std::string(1, '\0') + static_cast<char>(list.size()) + list;
  return std::string("\x04\x81") + static_cast<char>(list.size()) + list;
}

void add_timestamps(X509 *cert) {
  const std::string value = timestamps();
  ASN1_OCTET_STRING *octets = ASN1_OCTET_STRING_new();
  ASN1_OBJECT *id = OBJ_txt2obj(kTimestampsOid, 1);
  ASN1_OCTET_STRING_set(octets, reinterpret_cast<const unsigned char *>(value.data()),
                        static_cast<int>(value.size()));
  X509_EXTENSION *extension = X509_EXTENSION_create_by_OBJ(nullptr, id, 0, octets);
  need(extension != nullptr && X509_add_ext(cert, extension, -1) == 1, "timestamps");
  X509_EXTENSION_free(extension);
  ASN1_OBJECT_free(id);
  ASN1_OCTET_STRING_free(octets);
}

std::vector<uint8_t> make_leaf(EVP_PKEY *subject_key) {
  const CertOwner cert(X509_new()), issuer(X509_new());
  fill(cert.get(), subject_key, "20550101000000Z");
  add_names(X509_get_issuer_name(cert.get()), "Certificates", "R3", V_ASN1_UTF8STRING);
  add_names(X509_get_subject_name(cert.get()), "Web", "www.example.com", V_ASN1_UTF8STRING);
  fill(issuer.get(), subject_key, "20550101000000Z");
  add_extensions(issuer.get(), issuer.get(), std::span(kLeafExtensions).subspan(3, 1));
  add_extensions(cert.get(), issuer.get(), kLeafExtensions);
  add_timestamps(cert.get());
  need(X509_sign(cert.get(), subject_key, EVP_sha256()) > 0, "certificate of today");
  return encode<X509>(cert.get(), i2d_X509);
}

// Roots are the certificates of a file, one behind the other.
struct Roots {
  std::vector<uint8_t> octets;
  size_t count = 0;

  Roots() {
    BIO *file = BIO_new_file("/etc/ssl/certs/ca-certificates.crt", "r");
    if (!file) return;
    for (CertOwner cert; cert.reset(PEM_read_bio_X509(file, nullptr, nullptr, nullptr)), cert;) {
      const std::vector<uint8_t> der = encode<X509>(cert.get(), i2d_X509);
      octets.insert(octets.end(), der.begin(), der.end());
      ++count;
    }
    BIO_free(file);
  }
};

const Roots &roots() {
  static const Roots kRoots;
  return kRoots;
}

// fill_serial gives entry i a number that no other entry has.
void fill_serial(ASN1_INTEGER *serial, size_t i) {
  constexpr int kLengths[] = {16, 16, 20, 16, 16, 9, 16, 3};
  uint8_t octets[20];
  uint64_t state = (i + 1) * 0x9E3779B97F4A7C15u;
  for (uint8_t &octet : octets) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    octet = static_cast<uint8_t>(state >> 56);
  }
  octets[0] = static_cast<uint8_t>((octets[0] & 0x3F) | 0x40);  // positive, and no zero in front
  ASN1_STRING_set(serial, octets, kLengths[i % std::size(kLengths)]);
}

void add_entry(X509_CRL *crl, size_t i, ASN1_TIME *date) {
  X509_REVOKED *entry = X509_REVOKED_new();
  ASN1_INTEGER *serial = ASN1_INTEGER_new();
  fill_serial(serial, i);
  X509_REVOKED_set_serialNumber(entry, serial);
  ASN1_TIME_adj(date, 1700000000, static_cast<int>(i * 7 % 400),
                static_cast<long>(i * 977 % 86400));
  X509_REVOKED_set_revocationDate(entry, date);
  ASN1_INTEGER_free(serial);
  if (i % 3 == 0) {
    ASN1_ENUMERATED *reason = ASN1_ENUMERATED_new();
    ASN1_ENUMERATED_set(reason, static_cast<long>(1 + i % 5));
    X509_REVOKED_add1_ext_i2d(entry, NID_crl_reason, reason, 0, 0);
    ASN1_ENUMERATED_free(reason);
  }
  need(X509_CRL_add0_revoked(crl, entry) == 1, "CRL entry");
}

std::vector<uint8_t> make_crl(size_t entries) {
  const CrlOwner crl(X509_CRL_new());
  X509_CRL_set_version(crl.get(), 1);
  X509_NAME *issuer = X509_NAME_new();
  add_names(issuer, "Certificates", "Access CA 2");
  X509_CRL_set_issuer_name(crl.get(), issuer);
  X509_NAME_free(issuer);
  ASN1_TIME *date = ASN1_TIME_new();
  ASN1_TIME_set_string(date, "250301120000Z");
  X509_CRL_set1_lastUpdate(crl.get(), date);
  X509_CRL_set1_nextUpdate(crl.get(), date);
  for (size_t i = 0; i < entries; ++i) add_entry(crl.get(), i, date);
  ASN1_TIME_free(date);
  ASN1_INTEGER *number = ASN1_INTEGER_new();
  ASN1_INTEGER_set(number, 1234);
  X509_CRL_add1_ext_i2d(crl.get(), NID_crl_number, number, 0, 0);
  ASN1_INTEGER_free(number);
  need(X509_CRL_sign(crl.get(), key(), EVP_sha1()) > 0, "CRL");
  return encode<X509_CRL>(crl.get(), i2d_X509_CRL);
}

}  // namespace

Bytes ssh_bench_certificate() {
  static const std::vector<uint8_t> der = make_certificate();
  return der;
}

Bytes ssh_bench_roots() { return roots().octets; }
size_t ssh_bench_root_count() { return roots().count; }

Bytes ssh_bench_leaf_rsa() {
  static const std::vector<uint8_t> der = make_leaf(rsa_key());
  return der;
}

Bytes ssh_bench_leaf_ec() {
  static const std::vector<uint8_t> der = make_leaf(ec_key());
  return der;
}

Bytes ssh_bench_crl(size_t entries) {
  static std::map<size_t, std::vector<uint8_t>> made;
  std::vector<uint8_t> &der = made[entries];
  if (der.empty()) der = make_crl(entries);
  return der;
}

Bytes ssh_bench_name() { return ssh_text_bytes({kBenchName, sizeof kBenchName - 1}); }
