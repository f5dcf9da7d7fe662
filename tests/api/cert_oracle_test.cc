// Certificates through the public interface against OpenSSL's reading.
#include <gmock/gmock.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include "api/client.h"
#include "crypto/public_key.h"
#include "util/mp_int.h"

namespace {

using client::Cert;
using client::Key;
using client::Result;
using sample::CertParts;
using ApiCertOracleTest = sample::Balanced;

const Result kFailed{KWPKI_FAILED, ""};

using Peer = std::unique_ptr<X509, decltype(&X509_free)>;
Peer peer(const Der &octets) {
  const uint8_t *at = octets.data();
  return {d2i_X509(nullptr, &at, static_cast<long>(octets.size())), X509_free};
}

std::string peer_serial(const X509 *cert) {
  BIGNUM *number = ASN1_INTEGER_to_BN(X509_get0_serialNumber(cert), nullptr);
  char *text = BN_bn2dec(number);
  std::string decimal = text;
  OPENSSL_free(text);
  BN_free(number);
  return decimal;
}

std::string peer_subject(X509 *cert) {
  const uint8_t *data = nullptr;
  size_t length = 0;
  X509_NAME_get0_der(X509_get_subject_name(cert), &data, &length);
  return hex({data, length});
}

std::string peer_number(const EVP_PKEY *key, const char *name) {
  BIGNUM *number = nullptr;
  if (!EVP_PKEY_get_bn_param(key, name, &number)) return "none";
  Der octets(static_cast<size_t>(BN_num_bytes(number)));
  BN_bn2bin(number, octets.data());
  BN_free(number);
  return hex(octets);
}

// expect_key imports an exported key and compares its numbers.
void expect_key(KwPkiPublicKey blob, X509 *cert) {
  SshPublicKey *imported = nullptr;
  ASSERT_EQ(ssh_public_key_import({blob->data, blob->length}, &imported), SSH_KEY_OK);
  const SshPublicKeyOwner owner(imported);
  const EVP_PKEY *theirs = X509_get0_pubkey(cert);
  const bool rsa = EVP_PKEY_is_a(theirs, "RSA");
  const std::vector<std::pair<SshKeyTag, const char *>> numbers =
      rsa ? std::vector<std::pair<SshKeyTag, const char *>>{{SSH_KEY_TAG_N, OSSL_PKEY_PARAM_RSA_N},
                                                            {SSH_KEY_TAG_E, OSSL_PKEY_PARAM_RSA_E}}
          : std::vector<std::pair<SshKeyTag, const char *>>{
                {SSH_KEY_TAG_P, OSSL_PKEY_PARAM_FFC_P},
                {SSH_KEY_TAG_Q, OSSL_PKEY_PARAM_FFC_Q},
                {SSH_KEY_TAG_G, OSSL_PKEY_PARAM_FFC_G},
                {SSH_KEY_TAG_Y, OSSL_PKEY_PARAM_PUB_KEY}};
  for (const auto &[tag, name] : numbers) {
    SshMpInt value;
    ASSERT_EQ(ssh_public_key_get_info(imported, {{.tag = tag, .integer = &value}}), SSH_KEY_OK);
    EXPECT_EQ(hex(value.magnitude()), peer_number(theirs, name)) << name;
  }
}

TEST_F(ApiCertOracleTest, ExamplesReadAsAnotherLibraryReadsThem) {
  size_t accepted = 0, refused = 0;
  for (const client::File &file : client::examples()) {
    SCOPED_TRACE(file.name);
    if (client::starts(file, "crl")) continue;
    const Cert cert;
    const Key key;
    const Peer theirs = peer(file.octets);
    ASSERT_TRUE(theirs);
    if (client::starts(file, "refused")) {
      EXPECT_EQ(client::set(cert, file.octets), KWPKI_FAILED);
      ++refused;
      continue;
    }
    ASSERT_EQ(client::set(cert, file.octets), KWPKI_OK);
    EXPECT_EQ(client::ber(cert), (Result{KWPKI_OK, hex(file.octets)}));
    EXPECT_EQ(client::serial(cert), (Result{KWPKI_OK, peer_serial(theirs.get())}));
    EXPECT_EQ(client::subject_der(cert), (Result{KWPKI_OK, peer_subject(theirs.get())}));
    ASSERT_EQ(KwPkiCertGetPublicKey(cert, key), KWPKI_OK);
    expect_key(key, theirs.get());
    ++accepted;
  }
  EXPECT_GE(accepted, 11u);
  EXPECT_EQ(refused, 3u);
}

TEST_F(ApiCertOracleTest, SerialNumbers) {
  Der largest(SSH_MP_DECIMAL_MAX, 0x55), above(SSH_MP_DECIMAL_MAX + 1, 0x55);
  const struct {
    const char *what;
    Der serial;
    bool readable;
  } rows[] = {
      {"zero", der::integer(0), true},
      {"negative", der::integer(-129), true},
      {"leading zeros", unhex("0203000001"), true},
      {"21 octets", der::natural(Der(21, 0xFE)), true},
      {"the largest", der::natural(largest), true},
      {"above the largest", der::natural(above), false},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.what);
    CertParts parts;
    parts.serial = row.serial;
    const Cert cert;
    ASSERT_EQ(client::set(cert, parts.build()), KWPKI_OK);
    if (!row.readable) {
      EXPECT_EQ(client::serial(cert), kFailed);
      continue;
    }
    const der::Element element = der::children(row.serial).at(0);
    BIGNUM *number =
        BN_bin2bn(element.content.data(), static_cast<int>(element.content.size()), nullptr);
    if (element.content[0] & 0x80) {  // two's complement
      BIGNUM *modulus = BN_new();
      BN_set_bit(modulus, static_cast<int>(8 * element.content.size()));
      BN_sub(number, number, modulus);
      BN_free(modulus);
    }
    char *decimal = BN_bn2dec(number);
    EXPECT_EQ(client::serial(cert), (Result{KWPKI_OK, decimal}));
    OPENSSL_free(decimal);
    BN_free(number);
  }
}

}  // namespace
