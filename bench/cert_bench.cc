// Certificates: decode and free, and decode with subject text, serial number and key blob. One of
// the classic era under its profile; under the modern one a server's of today, and the system's
// roots.
#include "x509/cert.h"

#include <mbedtls/x509_crt.h>
#include <nss/cert.h>
#include <nss/keyhi.h>
#include <nss/nss.h>
#include <openssl/bn.h>
#include <openssl/x509v3.h>

#include "bench.h"
#include "inputs.h"

// The decoder behind CERT_NewTempCertificate, which adds a look-up in the certificate store.
extern "C" CERTCertificate *__CERT_DecodeDERCertificate(SECItem *der, PRBool copy, char *nickname);

namespace {

bool decode_ours(Bytes der) {
  const SshX509CertOwner cert(ssh_x509_cert_allocate_for(der.size()));
  return ssh_x509_cert_decode(der, cert.get()) != 0;
}

bool full_ours(Bytes der) {
  const SshX509CertOwner cert(ssh_x509_cert_allocate_for(der.size()));
  if (ssh_x509_cert_decode(der, cert.get()) == 0) return false;
  const SshText subject(ssh_x509_cert_subject_text(cert.get()));
  const SshText serial(cert->serial.to_decimal());
  const SshPublicKeyOwner key(ssh_x509_cert_public_key(cert.get()));
  uint8_t *octets = nullptr;
  uint32_t length = 0;
  if (!key || ssh_public_key_export(key.get(), &octets, &length) != SSH_KEY_OK) return false;
  const SshBlock blob(octets);
  return subject && serial && length > 0;
}

X509 *openssl_parse(Bytes der) {
  const unsigned char *p = der.data();
  return d2i_X509(nullptr, &p, static_cast<long>(der.size()));
}

bool decode_openssl(Bytes der) {
  X509 *cert = openssl_parse(der);
  X509_free(cert);
  return cert != nullptr;
}

bool openssl_extension(X509_EXTENSION *extension) {
  const X509V3_EXT_METHOD *method = X509V3_EXT_get(extension);
  void *value = X509V3_EXT_d2i(extension);
  if (!method) return true;  // one that it does not know
  if (!value) return false;
  if (method->it)
    ASN1_item_free(static_cast<ASN1_VALUE *>(value), ASN1_ITEM_ptr(method->it));
  else
    method->ext_free(value);
  return true;
}

bool extensions_openssl(Bytes der) {
  X509 *cert = openssl_parse(der);
  bool good = cert != nullptr;
  for (int i = 0; good && i < X509_get_ext_count(cert); ++i) {
    good = openssl_extension(X509_get_ext(cert, i));
  }
  X509_free(cert);
  return good;
}

bool full_openssl(Bytes der) {
  X509 *cert = openssl_parse(der);
  if (!cert) return false;
  char *subject = X509_NAME_oneline(X509_get_subject_name(cert), nullptr, 0);
  BIGNUM *number = ASN1_INTEGER_to_BN(X509_get0_serialNumber(cert), nullptr);
  char *serial = BN_bn2dec(number);
  unsigned char *blob = nullptr;
  const int length = i2d_PUBKEY(X509_get0_pubkey(cert), &blob);
  const bool good = subject && serial && length > 0;
  OPENSSL_free(blob);
  OPENSSL_free(serial);
  BN_free(number);
  OPENSSL_free(subject);
  X509_free(cert);
  return good;
}

CERTCertificate *nss_parse(Bytes der) {
  static const bool ready = NSS_NoDB_Init(nullptr) == SECSuccess;
  SECItem item = {siBuffer, const_cast<uint8_t *>(der.data()), static_cast<unsigned>(der.size())};
  return ready ? __CERT_DecodeDERCertificate(&item, PR_TRUE, nullptr) : nullptr;
}

bool decode_nss(Bytes der) {
  CERTCertificate *cert = nss_parse(der);
  if (cert) CERT_DestroyCertificate(cert);
  return cert != nullptr;
}

bool full_nss(Bytes der) {
  CERTCertificate *cert = nss_parse(der);
  if (!cert) return false;
  char *subject = CERT_NameToAscii(&cert->subject);
  char *serial = CERT_Hexify(&cert->serialNumber, 0);
  SECKEYPublicKey *key = CERT_ExtractPublicKey(cert);
  SECItem *blob = key ? SECKEY_EncodeDERSubjectPublicKeyInfo(key) : nullptr;
  const bool good = subject && serial && blob;
  if (blob) SECITEM_FreeItem(blob, PR_TRUE);
  if (key) SECKEY_DestroyPublicKey(key);
  PORT_Free(serial);
  PORT_Free(subject);
  CERT_DestroyCertificate(cert);
  return good;
}

bool decode_mbedtls(Bytes der) {
  mbedtls_x509_crt cert;
  mbedtls_x509_crt_init(&cert);
  const bool good = mbedtls_x509_crt_parse_der(&cert, der.data(), der.size()) == 0;
  mbedtls_x509_crt_free(&cert);
  return good;
}

bool mbedtls_serial(const mbedtls_x509_crt &cert) {
  mbedtls_mpi number;
  mbedtls_mpi_init(&number);
  char text[128];  // it asks for more than it writes
  size_t length = 0;
  const bool good = mbedtls_mpi_read_binary(&number, cert.serial.p, cert.serial.len) == 0 &&
                    mbedtls_mpi_write_string(&number, 10, text, sizeof text, &length) == 0;
  mbedtls_mpi_free(&number);
  return good;
}

bool full_mbedtls(Bytes der) {
  mbedtls_x509_crt cert;
  mbedtls_x509_crt_init(&cert);
  char subject[512];
  unsigned char blob[1024];
  const bool good = mbedtls_x509_crt_parse_der(&cert, der.data(), der.size()) == 0 &&
                    mbedtls_x509_dn_gets(subject, sizeof subject, &cert.subject) > 0 &&
                    mbedtls_serial(cert) &&
                    mbedtls_pk_write_pubkey_der(&cert.pk, blob, sizeof blob) > 0;
  mbedtls_x509_crt_free(&cert);
  return good;
}

constexpr char kMbedtlsUndone[] =
    "5 of 10 extensions are stepped over, and policy qualifiers; general names stay octets";
constexpr char kNssUndone[] = "5 of 10 extensions stay octets, and so do times and key";
constexpr char kNssFullUndone[] =
    "5 of 10 extensions and times stay octets; the serial is written in hexadecimal";

constexpr char kFloorDoes[] = "a copy and a loop over the headers";
constexpr char kOpensslUndone[] = "extension values stay octets; decodes the key";
constexpr char kFewExtensions[] = "keeps most extensions as octets, or steps over them";

constexpr SshBenchCase kDecode[] = {
    {kBenchFloor, kFloorDoes, ssh_bench_floor},
    {kBenchOurs, "", decode_ours},
    {"kwpki-modern", "", decode_ours, SSH_X509_MODERN},
    {"mbedtls", kMbedtlsUndone, decode_mbedtls},
    {"nss", kNssUndone, decode_nss},
    {"openssl", kOpensslUndone, decode_openssl},
    {"openssl-extensions", "nothing; decodes the key", extensions_openssl},
};

constexpr SshBenchCase kFull[] = {
    {kBenchFloor, kFloorDoes, ssh_bench_floor},
    {kBenchOurs, "", full_ours},
    {"mbedtls", kMbedtlsUndone, full_mbedtls},
    {"nss", kNssFullUndone, full_nss},
    {"openssl", "extension values stay octets", full_openssl},
};

// Certificates of today and roots, which only the modern profile reads.
constexpr SshBenchCase kDecodeToday[] = {
    {kBenchFloor, kFloorDoes, ssh_bench_floor},
    {kBenchOurs, "timestamps stay octets", decode_ours, SSH_X509_MODERN},
    {"mbedtls", kFewExtensions, decode_mbedtls},
    {"nss", kFewExtensions, decode_nss},
    {"openssl", kOpensslUndone, decode_openssl},
    {"openssl-extensions", "nothing; decodes the key", extensions_openssl},
};

constexpr SshBenchCase kFullToday[] = {
    {kBenchFloor, kFloorDoes, ssh_bench_floor},
    {kBenchOurs, "timestamps stay octets", full_ours, SSH_X509_MODERN},
    {"mbedtls", kFewExtensions, full_mbedtls},
    {"nss", kFewExtensions, full_nss},
    {"openssl", "extension values stay octets", full_openssl},
};

}  // namespace

void ssh_bench_add_cert() {
  ssh_bench_add_each("certificate", ssh_bench_certificates, kDecode);
  ssh_bench_add_each("certificate+text+serial+blob", ssh_bench_certificates, kFull);
  ssh_bench_add_each("today-rsa", ssh_bench_leafs_rsa, kDecodeToday);
  ssh_bench_add_each("today-ec", ssh_bench_leafs_ec, kDecodeToday);
  ssh_bench_add_each("today-rsa+text+serial+blob", ssh_bench_leafs_rsa, kFullToday);
  if (!ssh_bench_roots().empty()) ssh_bench_add_each("roots", ssh_bench_roots, kDecodeToday);
}
