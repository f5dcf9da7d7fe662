// CRLs: decode, a walk over all entries that looks at serial, date and reason, and free.
#include "x509/crl.h"

#include <benchmark/benchmark.h>
#include <mbedtls/x509_crl.h>
#include <nss/cert.h>
#include <nss/certdb.h>
#include <nss/nss.h>
#include <openssl/x509v3.h>

#include "bench.h"
#include "inputs.h"

namespace {

// The walks add up something of every entry and hand it over here, so that none is left out.
bool seen(uint64_t sum) {
  benchmark::DoNotOptimize(sum);
  return sum != 0;
}

bool walk_ours(Bytes der) {
  const SshX509CrlOwner crl(ssh_x509_crl_allocate());
  if (ssh_x509_crl_decode(der, crl.get()) == 0) return false;
  uint64_t sum = 0;
  SshX509RevokedCursor cursor(*crl);
  while (cursor.next()) {
    const SshX509RevokedEntry &entry = cursor.entry();
    sum += entry.serial.magnitude().size() + entry.date.year + entry.reason;
  }
  return seen(sum);
}

bool decode_ours(Bytes der) {
  const SshX509CrlOwner crl(ssh_x509_crl_allocate());
  return ssh_x509_crl_decode(der, crl.get()) != 0;
}

bool walk_openssl(Bytes der) {
  const unsigned char *p = der.data();
  X509_CRL *crl = d2i_X509_CRL(nullptr, &p, static_cast<long>(der.size()));
  if (!crl) return false;
  uint64_t sum = 0;
  const STACK_OF(X509_REVOKED) *entries = X509_CRL_get_REVOKED(crl);
  for (int i = 0; i < sk_X509_REVOKED_num(entries); ++i) {
    const X509_REVOKED *entry = sk_X509_REVOKED_value(entries, i);
    sum += static_cast<uint64_t>(ASN1_STRING_length(X509_REVOKED_get0_serialNumber(entry)) +
                                 ASN1_STRING_length(X509_REVOKED_get0_revocationDate(entry)));
  }
  X509_CRL_free(crl);
  return seen(sum);
}

bool walk_nss(Bytes der) {
  static const bool ready = NSS_NoDB_Init(nullptr) == SECSuccess;
  SECItem item = {siBuffer, const_cast<uint8_t *>(der.data()), static_cast<unsigned>(der.size())};
  CERTSignedCrl *crl =
      ready ? CERT_DecodeDERCrlWithFlags(nullptr, &item, SEC_CRL_TYPE, CRL_DECODE_DEFAULT_OPTIONS)
            : nullptr;
  if (!crl) return false;
  uint64_t sum = 0;
  for (CERTCrlEntry **entry = crl->crl.entries; entry && *entry; ++entry) {
    sum += (*entry)->serialNumber.len + (*entry)->revocationDate.len;
  }
  SEC_DestroyCrl(crl);
  return seen(sum);
}

bool walk_mbedtls(Bytes der) {
  mbedtls_x509_crl crl;
  mbedtls_x509_crl_init(&crl);
  uint64_t sum = 0;
  if (mbedtls_x509_crl_parse_der(&crl, der.data(), der.size()) == 0) {
    for (const mbedtls_x509_crl_entry *entry = &crl.entry; entry; entry = entry->next) {
      sum += entry->serial.len + static_cast<uint64_t>(entry->revocation_date.year);
    }
  }
  mbedtls_x509_crl_free(&crl);
  return seen(sum);
}

constexpr SshBenchCase kCases[] = {
    {kBenchFloor, "a copy and a loop over the headers", ssh_bench_crl_floor},
    {kBenchOurs, "", walk_ours},
    {"kwpki-decode", "no walk after the decode", decode_ours},
    {"mbedtls", "entry extensions are stepped over: no reason", walk_mbedtls},
    {"nss", "serials, times and reasons stay octets", walk_nss},
    {"openssl", "times stay octets", walk_openssl},
};

}  // namespace

void ssh_bench_add_crl() {
  for (const size_t entries : {size_t{1000}, size_t{100000}, size_t{1000000}}) {
    ssh_bench_add(
        "crl-" + std::to_string(entries), [entries] { return ssh_bench_crl(entries); }, entries,
        kCases);
  }
}
