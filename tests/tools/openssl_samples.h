// Keys and certificates that OpenSSL makes, for the tests of the tool that compare with it.
#pragma once

#include <gtest/gtest.h>
#include <openssl/dh.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include "tools/inspect_samples.h"

namespace openssl_samples {

using Key = Owner<EVP_PKEY, EVP_PKEY_free>;
using KeyContext = Owner<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using X509Owner = Owner<X509, X509_free>;
using CrlOwner = Owner<X509_CRL, X509_CRL_free>;
using NameOwner = Owner<X509_NAME, X509_NAME_free>;

// generate makes a key of a type after `set` has told what it is to be like.
template <class Set>
Key generate(const char *type, Set set) {
  const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, type, nullptr));
  EVP_PKEY *key = nullptr;
  EXPECT_GT(EVP_PKEY_keygen_init(context.get()), 0);
  set(context.get());
  EXPECT_GT(EVP_PKEY_generate(context.get(), &key), 0);
  return Key(key);
}

inline NameOwner name_of(const std::string &text, int type = V_ASN1_PRINTABLESTRING) {
  NameOwner name(X509_NAME_new());
  X509_NAME_add_entry_by_txt(name.get(), "CN", type, reinterpret_cast<const uint8_t *>(text.data()),
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
  std::string subject_key_id = {}, authority_key_id = {};
  int pss_salt = -1;

  [[nodiscard]] std::string make() const {
    const X509Owner cert(X509_new());
    X509_set_version(cert.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), 4711);
    X509_set_subject_name(cert.get(), subject.get());
    X509_set_issuer_name(cert.get(), issuer.get());
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 86400);
    X509_set_pubkey(cert.get(), key.get());
    add(cert.get(), NID_subject_key_identifier, subject_key_id, der::text(4, subject_key_id));
    add(cert.get(), NID_authority_key_identifier, authority_key_id,
        der::seq({der::text(0x80, authority_key_id)}));
    const Owner<EVP_MD_CTX, EVP_MD_CTX_free> context(EVP_MD_CTX_new());
    EVP_PKEY_CTX *padding = nullptr;
    EXPECT_EQ(EVP_DigestSignInit(context.get(), &padding, hash, nullptr, signer.get()), 1);
    if (pss_salt >= 0) EVP_PKEY_CTX_set_rsa_pss_saltlen(padding, pss_salt);
    EXPECT_GT(X509_sign_ctx(cert.get(), context.get()), 0);
    return der_of<i2d_X509>(cert.get());
  }

 private:
  static void add(X509 *cert, int nid, const std::string &id, const Der &value) {
    if (id.empty()) return;
    const Owner<ASN1_OCTET_STRING, ASN1_OCTET_STRING_free> octets(ASN1_OCTET_STRING_new());
    ASN1_OCTET_STRING_set(octets.get(), value.data(), static_cast<int>(value.size()));
    const Owner<X509_EXTENSION, X509_EXTENSION_free> extension(
        X509_EXTENSION_create_by_NID(nullptr, nid, 0, octets.get()));
    X509_add_ext(cert, extension.get(), -1);
  }
};

}  // namespace openssl_samples
