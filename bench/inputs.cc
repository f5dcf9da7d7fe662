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
#include <utility>
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

// The extensions beside the subject's alternative names.
constexpr Extension kExtensions[] = {
    {"subjectKeyIdentifier", "hash"},
    {"authorityKeyIdentifier", "keyid:always"},
    {"basicConstraints", "critical,CA:TRUE,pathlen:2"},
    {"keyUsage", "critical,digitalSignature,keyEncipherment,keyCertSign,cRLSign"},
    {"extendedKeyUsage", "serverAuth,clientAuth"},
    {"certificatePolicies", "ia5org,1.3.6.1.4.1.99999.1.2,@policy"},
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

// fill_serial makes the i-th number of so many bytes: no two are the same.
void fill_serial(ASN1_INTEGER *serial, size_t i, size_t length) {
  uint8_t octets[20];
  uint64_t state = (i + 1) * 0x9E3779B97F4A7C15u;
  for (uint8_t &octet : octets) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    octet = static_cast<uint8_t>(state >> 56);
  }
  octets[0] = static_cast<uint8_t>((octets[0] & 0x3F) | 0x40);  // positive, and no zero in front
  ASN1_STRING_set(serial, octets, static_cast<int>(length));
}

// The certificates of a set differ in what those of one issuer do: numbers, names, the order of
// their extensions, and how many names they have.
constexpr size_t kSetSize = 96;

void fill(X509 *cert, EVP_PKEY *subject_key, const char *until, size_t i) {
  constexpr size_t kSerialSize = 16;
  X509_set_version(cert, 2);
  fill_serial(X509_get_serialNumber(cert), i, kSerialSize);
  ASN1_TIME_set_string(X509_getm_notBefore(cert), "040101000000Z");
  ASN1_TIME_set_string(X509_getm_notAfter(cert), until);
  X509_set_pubkey(cert, subject_key);
}

// add_names_of adds a subject alternative name with so many names as the i-th certificate has.
void add_names_of(X509 *cert, X509 *issuer, size_t i) {
  const std::string number = std::to_string(i * 7919 % 10007);
  std::string names = "DNS:gateway-" + number + ".example.com";
  if (i % 2 == 0) names += ",DNS:gw" + number + ".example.net";
  if (i % 3 == 0) names += ",email:admin-" + number + "@example.com";
  for (size_t more = i % 5; more > 0; --more) names += ",IP:192.0.2." + std::to_string(i + more);
  const Extension row = {"subjectAltName", names.c_str()};
  add_extensions(cert, issuer, {&row, 1});
}

// add_rotated adds the extensions beginning with the i-th, and the i-th certificate's names among
// them.
void add_rotated(X509 *cert, X509 *issuer, std::span<const Extension> rows, size_t i) {
  for (size_t k = 0; k < rows.size(); ++k) {
    add_extensions(cert, issuer, rows.subspan((i + k) % rows.size(), 1));
    if (k == i % rows.size()) add_names_of(cert, issuer, i);
  }
}

std::string common_name(size_t i) {
  return std::string(i % 7, 'x') + "gateway-" + std::to_string(i * 104729 % 100003) +
         ".example.com";
}

std::vector<uint8_t> make_certificate(size_t i) {
  const CertOwner cert(X509_new()), issuer(X509_new());
  fill(cert.get(), key(), "340101000000Z", i);
  fill(issuer.get(), key(), "340101000000Z", i);
  add_extensions(issuer.get(), issuer.get(), std::span(kExtensions).first(1));
  add_names(X509_get_issuer_name(cert.get()), "Certificates", "Access CA 2");
  add_names(X509_get_subject_name(cert.get()), "Gateways", common_name(i).c_str());
  add_rotated(cert.get(), issuer.get(), kExtensions, i);
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

std::vector<uint8_t> make_leaf(EVP_PKEY *subject_key, size_t i) {
  const CertOwner cert(X509_new()), issuer(X509_new());
  fill(cert.get(), subject_key, "20550101000000Z", i);
  fill(issuer.get(), subject_key, "20550101000000Z", i);
  add_names(X509_get_issuer_name(cert.get()), "Certificates", "R3", V_ASN1_UTF8STRING);
  add_names(X509_get_subject_name(cert.get()), "Web", common_name(i).c_str(), V_ASN1_UTF8STRING);
  add_extensions(issuer.get(), issuer.get(), std::span(kLeafExtensions).subspan(3, 1));
  add_rotated(cert.get(), issuer.get(), kLeafExtensions, i);
  add_timestamps(cert.get());
  need(X509_sign(cert.get(), subject_key, EVP_sha256()) > 0, "certificate of today");
  return encode<X509>(cert.get(), i2d_X509);
}

std::vector<uint8_t> make_rsa_leaf(size_t i) { return make_leaf(rsa_key(), i); }
std::vector<uint8_t> make_ec_leaf(size_t i) { return make_leaf(ec_key(), i); }

// Set is encodings and views of them.
struct Set {
  std::vector<std::vector<uint8_t>> octets;
  std::vector<Bytes> views;

  explicit Set(std::vector<std::vector<uint8_t>> made) : octets(std::move(made)) {
    views.assign(octets.begin(), octets.end());
  }
};

template <std::vector<uint8_t> (*Make)(size_t i)>
std::span<const Bytes> set_of() {
  static const Set kSet([] {
    std::vector<std::vector<uint8_t>> made;
    for (size_t i = 0; i < kSetSize; ++i) made.push_back(Make(i));
    return made;
  }());
  return kSet.views;
}

std::vector<std::vector<uint8_t>> read_roots() {
  std::vector<std::vector<uint8_t>> read;
  BIO *file = BIO_new_file("/etc/ssl/certs/ca-certificates.crt", "r");
  if (!file) return read;
  for (CertOwner cert; cert.reset(PEM_read_bio_X509(file, nullptr, nullptr, nullptr)), cert;)
    read.push_back(encode<X509>(cert.get(), i2d_X509));
  BIO_free(file);
  return read;
}

void add_entry(X509_CRL *crl, size_t i, ASN1_TIME *date) {
  X509_REVOKED *entry = X509_REVOKED_new();
  ASN1_INTEGER *serial = ASN1_INTEGER_new();
  constexpr size_t kLengths[] = {16, 16, 20, 16, 16, 9, 16, 3};
  fill_serial(serial, i, kLengths[i % std::size(kLengths)]);
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

std::span<const Bytes> ssh_bench_certificates() { return set_of<make_certificate>(); }
Bytes ssh_bench_certificate() { return ssh_bench_certificates().front(); }
std::span<const Bytes> ssh_bench_leafs_rsa() { return set_of<make_rsa_leaf>(); }
std::span<const Bytes> ssh_bench_leafs_ec() { return set_of<make_ec_leaf>(); }

std::span<const Bytes> ssh_bench_roots() {
  static const Set kRoots(read_roots());
  return kRoots.views;
}

Bytes ssh_bench_crl(size_t entries) {
  static std::map<size_t, std::vector<uint8_t>> made;
  std::vector<uint8_t> &der = made[entries];
  if (der.empty()) der = make_crl(entries);
  return der;
}

Bytes ssh_bench_name() { return ssh_text_bytes({kBenchName, sizeof kBenchName - 1}); }
