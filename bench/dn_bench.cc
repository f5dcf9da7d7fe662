// Distinguished names: from text to DER.
#include "x509/dn.h"

#include <mbedtls/asn1write.h>
#include <mbedtls/x509.h>
#include <nss/cert.h>
#include <nss/nss.h>
#include <openssl/x509.h>

#include <memory>

#include "bench.h"
#include "inputs.h"

namespace {

bool parse_ours(Bytes) {
  SshDN dn;
  ssh_dn_init(&dn);
  uint8_t *der = nullptr;
  size_t length = 0;
  const bool good =
      ssh_dn_decode_ldap(kBenchName, &dn) && ssh_dn_encode_der(&dn, false, &der, &length);
  const SshBlock block(der);
  ssh_dn_clear(&dn);
  return good && length > 0;
}

bool parse_openssl(Bytes) {
  constexpr const char *kParts[][2] = {{"C", "FI"},
                                       {"ST", "Uusimaa"},
                                       {"L", "Helsinki"},
                                       {"O", "Example Networks Oy"},
                                       {"OU", "Remote Access"},
                                       {"OU", "Gateways"},
                                       {"CN", "gateway-17.example.com"}};
  X509_NAME *name = X509_NAME_new();
  bool good = name != nullptr;
  for (const auto &[field, value] : kParts) {
    const auto *octets = reinterpret_cast<const unsigned char *>(value);
    good = good && X509_NAME_add_entry_by_txt(name, field, MBSTRING_ASC, octets, -1, -1, 0) == 1;
  }
  unsigned char *der = nullptr;
  good = good && i2d_X509_NAME(name, &der) > 0;
  OPENSSL_free(der);
  X509_NAME_free(name);
  return good;
}

bool parse_nss(Bytes) {
  static const bool ready = NSS_NoDB_Init(nullptr) == SECSuccess;
  CERTName *name = ready ? CERT_AsciiToName(kBenchName) : nullptr;
  if (!name) return false;
  SECItem *der = SEC_ASN1EncodeItem(nullptr, nullptr, name, SEC_ASN1_GET(CERT_NameTemplate));
  const bool good = der != nullptr;
  if (der) SECITEM_FreeItem(der, PR_TRUE);
  CERT_DestroyName(name);
  return good;
}

bool parse_mbedtls(Bytes) {
  mbedtls_asn1_named_data *names = nullptr;
  unsigned char der[512];
  unsigned char *p = der + sizeof der;
  const bool good = mbedtls_x509_string_to_names(&names, kBenchName) == 0 &&
                    mbedtls_x509_write_names(&p, der, names) > 0;
  mbedtls_asn1_free_named_data_list(&names);
  return good;
}

constexpr SshBenchCase kCases[] = {
    {kBenchOurs, "", parse_ours},
    {"mbedtls", "", parse_mbedtls},
    {"nss", "", parse_nss},
    {"openssl", "no parser of whole names: given each field and value", parse_openssl},
};

}  // namespace

void ssh_bench_add_dn() { ssh_bench_add("name-from-text", ssh_bench_name, 1, kCases); }
