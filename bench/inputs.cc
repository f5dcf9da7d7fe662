#include "inputs.h"

#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <vector>

namespace {

template <auto Free>
struct FreeWith {
  template <class T>
  void operator()(T *object) const {
    Free(object);
  }
};
using KeyOwner = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using CertOwner = std::unique_ptr<X509, FreeWith<X509_free>>;
using CrlOwner = std::unique_ptr<X509_CRL, FreeWith<X509_CRL_free>>;
using ConfOwner = std::unique_ptr<CONF, FreeWith<NCONF_free>>;

// need ends the program where an input cannot be made: nothing could be measured.
void need(bool made, const char *what) {
  if (made) return;
  std::fprintf(stderr, "cannot make the %s\n", what);
  std::exit(1);
}

EVP_PKEY *key() {
  static const KeyOwner made(EVP_RSA_gen(1024));
  need(made != nullptr, "key");
  return made.get();
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

constexpr char kPolicy[] =
    "[policy]\npolicyIdentifier=1.3.6.1.4.1.99999.1.3\nCPS.1=http://www.example.com/"
    "cps\nuserNotice.1=@notice\n"
    "[notice]\nexplicitText=Gateways only\norganization=Example Networks\nnoticeNumbers=1\n";

void add_names(X509_NAME *name, const char *unit, const char *common) {
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
    // Printable: the one string type that all of the libraries print.
    need(
        X509_NAME_add_entry_by_txt(name, part.field, V_ASN1_PRINTABLESTRING, value, -1, -1, 0) == 1,
        "name");
  }
}

void add_extensions(X509 *cert) {
  const ConfOwner conf(NCONF_new(nullptr));
  BIO *text = BIO_new_mem_buf(kPolicy, -1);
  need(NCONF_load_bio(conf.get(), text, nullptr) == 1, "policy section");
  BIO_free(text);
  X509V3_CTX context;
  X509V3_set_ctx(&context, cert, cert, nullptr, nullptr, 0);
  X509V3_set_nconf(&context, conf.get());
  for (const Extension &row : kExtensions) {
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

std::vector<uint8_t> make_certificate() {
  const CertOwner cert(X509_new());
  constexpr uint8_t kSerial[] = {0x5A, 0x31, 0x0F, 0xC2, 0x77, 0x9E, 0x04, 0xB8,
                                 0x1D, 0x60, 0xE3, 0x92, 0x48, 0xAF, 0x15, 0x7B};
  X509_set_version(cert.get(), 2);
  ASN1_STRING_set(X509_get_serialNumber(cert.get()), kSerial, sizeof kSerial);
  add_names(X509_get_issuer_name(cert.get()), "Certificates", "Access CA 2");
  add_names(X509_get_subject_name(cert.get()), "Gateways", "gateway-17.example.com");
  ASN1_TIME_set_string(X509_getm_notBefore(cert.get()), "040101000000Z");
  ASN1_TIME_set_string(X509_getm_notAfter(cert.get()), "340101000000Z");
  X509_set_pubkey(cert.get(), key());
  add_extensions(cert.get());
  need(X509_sign(cert.get(), key(), EVP_sha1()) > 0, "certificate");
  return encode<X509>(cert.get(), i2d_X509);
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

Bytes ssh_bench_crl(size_t entries) {
  static std::map<size_t, std::vector<uint8_t>> made;
  std::vector<uint8_t> &der = made[entries];
  if (der.empty()) der = make_crl(entries);
  return der;
}

Bytes ssh_bench_name() { return ssh_text_bytes({kBenchName, sizeof kBenchName - 1}); }
