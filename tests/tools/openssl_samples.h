// Keys and certificates that OpenSSL makes, for the tests of the tool that compare with it.
#pragma once

#include <gtest/gtest.h>
#include <openssl/dh.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <ctime>

#include "tools/inspect_samples.h"

namespace openssl_samples {

using Key = Owner<EVP_PKEY, EVP_PKEY_free>;
using X509Owner = Owner<X509, X509_free>;
using CrlOwner = Owner<X509_CRL, X509_CRL_free>;
using NameOwner = Owner<X509_NAME, X509_NAME_free>;
using Extensions = std::vector<std::pair<int, std::string>>;

inline NameOwner name_of(const std::string &text) {
  NameOwner name(X509_NAME_new());
  X509_NAME_add_entry_by_txt(name.get(), "CN", V_ASN1_PRINTABLESTRING,
                             reinterpret_cast<const uint8_t *>(text.data()),
                             static_cast<int>(text.size()), -1, 0);
  return name;
}

template <auto Encode, class T>
std::string der_of(const T *object) {
  uint8_t *octets = nullptr;
  const int length = Encode(object, &octets);
  const std::string der(reinterpret_cast<char *>(octets), static_cast<size_t>(length));
  OPENSSL_free(octets);
  return der;
}

// Cert is a certificate to be made.
struct Cert {
  NameOwner subject, issuer;
  const Key &key, &signer;
  const EVP_MD *hash = EVP_sha1();
  Extensions extensions = {};    // in the words of openssl.cnf
  long from = 0, until = 86400;  // seconds from now
  long serial = 4711;

  [[nodiscard]] std::string make() const {
    const X509Owner cert(X509_new());
    X509_set_version(cert.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), serial);
    X509_set_subject_name(cert.get(), subject.get());
    X509_set_issuer_name(cert.get(), issuer.get());
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), from);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), until);
    X509_set_pubkey(cert.get(), key.get());
    for (const auto &[nid, value] : extensions) {
      const Owner<X509_EXTENSION, X509_EXTENSION_free> extension(
          X509V3_EXT_conf_nid(nullptr, nullptr, nid, value.c_str()));
      EXPECT_EQ(X509_add_ext(cert.get(), extension.get(), -1), 1) << value;
    }
    const Owner<EVP_MD_CTX, EVP_MD_CTX_free> context(EVP_MD_CTX_new());
    EXPECT_EQ(EVP_DigestSignInit(context.get(), nullptr, hash, nullptr, signer.get()), 1);
    EXPECT_GT(X509_sign_ctx(cert.get(), context.get()), 0);
    return der_of<i2d_X509>(cert.get());
  }
};

// crl makes a CRL of today, with entries for these serial numbers.
inline std::string crl(const std::string &issuer, const Key &signer,
                       const EVP_MD *hash = EVP_sha1(), const std::vector<long> &serials = {}) {
  const CrlOwner list(X509_CRL_new());
  X509_CRL_set_version(list.get(), X509_CRL_VERSION_2);
  X509_CRL_set_issuer_name(list.get(), name_of(issuer).get());
  const Owner<ASN1_TIME, ASN1_TIME_free> now(ASN1_TIME_adj(nullptr, std::time(nullptr), 0, 0)),
      tomorrow(ASN1_TIME_adj(nullptr, std::time(nullptr), 1, 0)), then(ASN1_TIME_new());
  ASN1_TIME_set_string(then.get(), "20260102030405Z");
  X509_CRL_set1_lastUpdate(list.get(), now.get());
  X509_CRL_set1_nextUpdate(list.get(), tomorrow.get());
  for (const long serial : serials) {
    const Owner<ASN1_INTEGER, ASN1_INTEGER_free> number(ASN1_INTEGER_new());
    const Owner<ASN1_ENUMERATED, ASN1_ENUMERATED_free> reason(ASN1_ENUMERATED_new());
    ASN1_INTEGER_set(number.get(), serial);
    ASN1_ENUMERATED_set(reason.get(), CRL_REASON_KEY_COMPROMISE);
    X509_REVOKED *entry = X509_REVOKED_new();
    X509_REVOKED_set_serialNumber(entry, number.get());
    X509_REVOKED_set_revocationDate(entry, then.get());
    X509_REVOKED_add1_ext_i2d(entry, NID_crl_reason, reason.get(), 0, 0);
    X509_CRL_add0_revoked(list.get(), entry);
  }
  EXPECT_GT(X509_CRL_sign(list.get(), signer.get(), hash), 0);
  return der_of<i2d_X509_CRL>(list.get());
}

}  // namespace openssl_samples
