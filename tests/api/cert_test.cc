// Certificates through the public interface: contents against another library's reading, replacing,
// emptiness, and who owns what. The sanitizers and the balance of blocks watch the ownership.

#include <gmock/gmock.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <atomic>
#include <thread>

#include "api/client.h"
#include "crypto/public_key.h"
#include "util/mp_int.h"

namespace {

using client::Cert;
using client::Key;
using client::Result;
using sample::CertParts;
using testing::Each;
using ApiCertTest = sample::Balanced;

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

TEST_F(ApiCertTest, ExamplesReadAsAnotherLibraryReadsThem) {
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

TEST_F(ApiCertTest, SubjectText) {
  const std::pair<const char *, Result> rows[] = {
      {"v1-rsa.der", {KWPKI_OK, "C=FI, O=Example Oy, CN=Version One, MAILTO=one@example.com"}},
      {"name-multivalued.der",
       {KWPKI_OK,
        "DC=com, DC=example, O=Nuts\\, Bolts \\+ Co, OU=East + L=Porvoo, STREET=77 + T=Dr + "
        "CN=Maija "
        "Malli"}},
      {"name-t61.der", {KWPKI_OK, "C=SE, O=#52e46b736df67267e573, CN=T.61 @home"}},
      {"name-bmp.der", {KWPKI_OK, "C=JP, O=#4f8b306e4f1a793e, CN=Two octets a letter"}},
      {"name-utf8-mixed.der", kFailed},
  };
  for (const auto &[name, expected] : rows) {
    const Cert cert;
    ASSERT_EQ(client::set(cert, client::read(client::example(name), false)), KWPKI_OK) << name;
    EXPECT_EQ(client::subject(cert), expected) << name;
    EXPECT_EQ(client::subject(cert), expected) << name << ", asked again";
    EXPECT_EQ(client::subject_der(cert).status, KWPKI_OK) << name;
  }
}

TEST_F(ApiCertTest, SubjectsThatAreMissingOrTooLong) {
  const Cert cert;
  CertParts parts;
  parts.subject = der::seq({});
  parts.extensions = {sample::extension("2.5.29.17", der::seq({der::text(0x82, "a.example")}))};
  ASSERT_EQ(client::set(cert, parts.build()), KWPKI_OK);
  EXPECT_EQ(client::subject(cert), kFailed);
  EXPECT_EQ(client::subject_der(cert), kFailed);

  // As hexadecimal this text would be longer than any block may be.
  const Der value(51u << 20, 0x01);
  parts.subject = der::seq({der::set({der::attribute("2.5.4.3", der::tlv(0x13, value))})});
  ASSERT_EQ(client::set(cert, parts.build()), KWPKI_OK);
  EXPECT_EQ(client::subject(cert), kFailed);
  EXPECT_EQ(client::subject_der(cert).value.size(), 2 * parts.subject.size());
}

TEST_F(ApiCertTest, SerialNumbers) {
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

TEST_F(ApiCertTest, AnEmptyCertificateHasNoContents) {
  const std::vector<Result> nothing(5, kFailed);
  const Cert cert;
  EXPECT_EQ(client::all(cert), nothing) << "never set";

  const Der good = CertParts().build();
  const std::pair<const char *, Der> failures[] = {{"nothing", {}},
                                                   {"cut", {good.begin(), good.end() - 1}},
                                                   {"a CRL", sample::CrlParts().build()}};
  for (const auto &[what, octets] : failures) {
    ASSERT_EQ(client::set(cert, good), KWPKI_OK);
    EXPECT_THAT(client::all(cert), Each(testing::Field(&Result::status, KWPKI_OK)));
    EXPECT_EQ(client::set(cert, octets), KWPKI_FAILED) << what;
    EXPECT_EQ(client::all(cert), nothing) << what;
  }
  ASSERT_EQ(client::set(cert, good), KWPKI_OK);
  EXPECT_EQ(KwPkiCertSetBer(nullptr, 1, cert), KWPKI_FAILED) << "a wrong argument changes nothing";
  EXPECT_EQ(client::ber(cert), (Result{KWPKI_OK, hex(good)}));
}

TEST_F(ApiCertTest, EncodingsStayValidUntilTheCertificateGoes) {
  CertParts parts;
  std::vector<std::pair<KwPkiBlock, Der>> shown;
  const Cert cert;
  for (int i = 0; i < 5; ++i) {
    parts.serial = der::integer(i);
    Der octets = parts.build();
    octets.push_back(static_cast<uint8_t>(i));  // what follows a certificate is kept with it
    const Der expected = octets;
    ASSERT_EQ(client::set(cert, octets), KWPKI_OK);
    octets.assign(octets.size(), 0xEE);  // the certificate holds a copy

    KwPkiBlock block{};
    ASSERT_EQ(KwPkiCertGetBer(cert, &block.data, &block.length), KWPKI_OK);
    shown.push_back({block, expected});
    EXPECT_TRUE(i != 2 || client::set(cert, unhex("30")) == KWPKI_FAILED);
  }
  // Its own encoding, and an earlier one of its own.
  for (const size_t i : {size_t{4}, size_t{0}}) {
    ASSERT_EQ(KwPkiCertSetBer(shown[i].first.data, shown[i].first.length, cert), KWPKI_OK);
    EXPECT_EQ(client::ber(cert), (Result{KWPKI_OK, hex(shown[i].second)}));
  }
  for (const auto &[block, expected] : shown) {
    EXPECT_EQ(hex({block.data, block.length}), hex(expected));
  }
}

TEST_F(ApiCertTest, OneHandleMayBeSetForeverWithoutGrowing) {
  const Cert cert;
  const Der octets = CertParts().build();
  ASSERT_EQ(client::set(cert, octets), KWPKI_OK);
  const int64_t blocks = ssh_mem_blocks();
  for (int i = 0; i < 100; ++i) ASSERT_EQ(client::set(cert, octets), KWPKI_OK);
  EXPECT_EQ(ssh_mem_blocks(), blocks);
}

TEST_F(ApiCertTest, PublicKeyHandlesHoldOneKey) {
  const Cert cert;
  const Key key;
  EXPECT_TRUE(key->data == nullptr && key->length == 0);
  int64_t blocks = 0;
  for (const char *name : {"v3-rich.der", "v1-rsa.der", "v1-rsa.der"}) {
    const Der octets = client::read(client::example(name), false);
    ASSERT_EQ(client::set(cert, octets), KWPKI_OK);
    ASSERT_EQ(KwPkiCertGetPublicKey(cert, key), KWPKI_OK);
    expect_key(key, peer(octets).get());
    EXPECT_TRUE(blocks == 0 || blocks == ssh_mem_blocks()) << "the key before was not freed";
    blocks = ssh_mem_blocks();
  }
  const std::string held = hex({key->data, key->length});
  ASSERT_EQ(client::set(cert, client::dh_cert()), KWPKI_OK);
  EXPECT_EQ(KwPkiCertGetPublicKey(cert, key), KWPKI_NO_PUBLIC_KEY);
  EXPECT_EQ(KwPkiCertGetPublicKey(cert, nullptr), KWPKI_FAILED);
  EXPECT_EQ(KwPkiCertGetPublicKey(Cert(), key), KWPKI_FAILED);
  EXPECT_EQ(hex({key->data, key->length}), held) << "a failure leaves the key as it was";
}

TEST_F(ApiCertTest, WhatWasHandedOutOutlivesTheCertificate) {
  char *text = nullptr;
  uint8_t *data = nullptr;
  uint32_t length = 0;
  const Key key;
  {
    const Cert cert;
    ASSERT_EQ(client::set(cert, CertParts().build()), KWPKI_OK);
    ASSERT_EQ(KwPkiCertGetSubjectDN(cert, &text), KWPKI_OK);
    ASSERT_EQ(KwPkiCertGetSubjectDNDer(cert, &data, &length), KWPKI_OK);
    ASSERT_EQ(KwPkiCertGetPublicKey(cert, key), KWPKI_OK);
  }
  EXPECT_STREQ(text, "CN=Subject");
  EXPECT_EQ(hex({data, length}), hex(CertParts().subject));
  EXPECT_EQ(ssh_load_be32(key->data + 4), key->length);
  EXPECT_EQ(KwPkiStringFree(text), KWPKI_OK);
  EXPECT_EQ(KwPkiStringFree(data), KWPKI_OK);
}

TEST_F(ApiCertTest, ThreadsReadDifferentHandlesAtOnce) {
  const std::vector<client::File> files = client::examples();
  std::vector<std::vector<Result>> alone;
  for (const client::File &file : files) {
    const Cert cert;
    static_cast<void>(client::set(cert, file.octets));
    alone.push_back(client::all(cert));
  }
  std::atomic<int> different{0};
  std::vector<std::thread> threads;
  for (size_t t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      const Cert cert;
      for (size_t i = 0; i < 20 * files.size(); ++i) {
        const size_t n = (i + t * 5) % files.size();
        static_cast<void>(client::set(cert, files[n].octets));
        if (client::all(cert) != alone[n]) ++different;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(different, 0);
}

}  // namespace
