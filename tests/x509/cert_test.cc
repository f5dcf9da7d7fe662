#include "x509/cert.h"

#include <gtest/gtest.h>

#include "support/samples.h"

namespace {

using namespace der;
using namespace sample;
using CertTest = sample::Balanced;
using P = CertParts;

const Der kIssuerId = retag(context(1), bits(unhex("ABC0"), 4));
const Der kSubjectId = retag(context(2), bits(unhex("0102030405")));
const Der kKeyUsage = extension("2.5.29.15", bits(unhex("84"), 2), true);
constexpr char kRsaSha256[] = "1.2.840.113549.1.1.11", kRsaMd5[] = "1.2.840.113549.1.1.4";

// with gives the sample with one part replaced.
Der with(Der P::*part, const Der &value) {
  CertParts parts;
  parts.*part = value;
  return parts.build();
}
Der with(const std::vector<Der> &extensions) {
  CertParts parts;
  parts.extensions = extensions;
  return parts.build();
}

void expect_all(bool accepted, const std::vector<Der> &inputs) {
  for (size_t i = 0; i < inputs.size(); ++i)
    EXPECT_EQ(static_cast<bool>(Cert(inputs[i])), accepted) << "input " << i << " from 0";
}

TEST_F(CertTest, ReadsEveryFieldOfTheSample) {
  CertParts parts;
  parts.unique_ids = join({kIssuerId, kSubjectId});
  parts.extensions = {kKeyUsage};
  const Der octets = parts.build();
  const Cert cert(octets);
  ASSERT_TRUE(cert);
  EXPECT_EQ(cert.length, octets.size());
  EXPECT_EQ(decimal(cert->serial), "78187493520");
  EXPECT_EQ(cert->not_before, (SshBerTime{2001, 2, 3, 4, 5, 6}));
  EXPECT_EQ(cert->not_after, (SshBerTime{2051, 2, 3, 4, 5, 6}));
  EXPECT_EQ(cert->allowed_ca_usage, 0xF6u);
  EXPECT_EQ(cert->signature_key_type, 1u);
  EXPECT_STREQ(cert->signature_scheme, "rsa-pkcs1-sha1");
  EXPECT_EQ(hex(cert->signature), "00112233445566778899");
  EXPECT_EQ(hex(cert->der), hex(octets));
  EXPECT_NE(cert->der.data(), octets.data());
  EXPECT_EQ(hex(cert->signed_data), hex(children(children(octets)[0].content)[0].whole));

  // The newest entry comes first: the unique identifier, its length in bits.
  const SshX509Name *name = cert->issuer_names;
  ASSERT_TRUE(name && name->next && !name->next->next);
  EXPECT_EQ(name->type, SSH_X509_NAME_UNIQUE_ID);
  EXPECT_EQ(name->data_length, 12u);
  EXPECT_EQ(hex(name->data), "abc0");
  EXPECT_EQ(name->next->type, SSH_X509_NAME_DN);
  EXPECT_EQ(hex(name->next->der), hex(parts.issuer));
  EXPECT_EQ(own_text(ssh_x509_name_text(name->next)), "CN=Issuer");
  EXPECT_EQ(cert->subject_names->data_length, 40u);
}

TEST_F(CertTest, AnEmptyRecordHasTheDefaults) {
  const SshX509CertOwner cert(ssh_x509_cert_allocate());
  EXPECT_TRUE(cert->version == 0 && cert->serial.is_zero() && !cert->key_period);
  EXPECT_EQ(cert->path_length, SSH_X509_NO_LIMIT);
  EXPECT_EQ(ssh_x509_cert_public_key(cert.get()), nullptr);
  ssh_x509_cert_free(nullptr);
}

TEST_F(CertTest, VersionsAndWhatBelongsToThem) {
  const Der kExtensions = wrap(3, seq({kKeyUsage})), kNoExtensions = wrap(3, seq({}));
  // An INTEGER of no octets is 0. Other versions than these three are refused.
  const Der versions[] = {{},         {2, 0},      integer(0), integer(1),
                          integer(2), integer(-1), integer(3), integer(0x100000002)};
  const uint32_t plain[] = {1, 1, 1, 2, 3, 0, 0, 0}, identified[] = {0, 0, 0, 2, 3, 0, 0, 0},
                 extended[] = {0, 0, 0, 0, 3, 0, 0, 0};
  for (size_t i = 0; i < std::size(versions); ++i) {
    SCOPED_TRACE(hex(versions[i]));
    CertParts parts;
    parts.version = versions[i].empty() ? Der{} : wrap(0, versions[i]);
    EXPECT_EQ(Cert(parts.build())->version, plain[i]);
    for (const Der &id : {kIssuerId, kSubjectId, join({kIssuerId, kSubjectId})}) {
      parts.unique_ids = id;
      EXPECT_EQ(Cert(parts.build())->version, identified[i]) << hex(id);
    }
    parts.unique_ids = {};
    for (const Der &wrapper : {kExtensions, kNoExtensions}) {
      parts.extensions_wrapper = wrapper;
      EXPECT_EQ(Cert(parts.build())->version, extended[i]) << hex(wrapper);
    }
  }
}

TEST_F(CertTest, BothSignatureAlgorithmsStandForOneScheme) {
  const Der kBare = seq({oid(kRsaSha1)}), kSha1 = algorithm(kRsaSha1), kMd5 = algorithm(kRsaMd5);
  const Der kNist = algorithm("1.3.14.3.2.29"), kUnknown = algorithm(kRsaSha256);
  const Der kKey = algorithm("1.2.840.113549.1.1.1"), kPrefix = algorithm("1.2.840.113549.1.1");
  const Der kElGamal = algorithm("1.3.14.7.2.3.2");  // nothing converts its signatures
  const auto scheme = [](const Der &inner, const Der &outer) {
    CertParts parts;
    parts.inner_algorithm = inner;
    parts.outer_algorithm = outer;
    const Cert cert(parts.build());
    return std::string(cert ? cert->signature_scheme : "refused");
  };
  EXPECT_EQ(scheme(kMd5, kMd5), "rsa-pkcs1-md5");
  EXPECT_EQ(scheme(kNist, kNist), "rsa-nist-sha1") << "the first of two rows counts";
  EXPECT_EQ(scheme(kBare, kSha1), "rsa-pkcs1-sha1");
  for (const Der &one : {kUnknown, kKey, kPrefix, kElGamal, seq({})})
    EXPECT_EQ(scheme(one, one), "refused") << hex(one);
  for (const Der &one : {kUnknown, kMd5, kNist}) {
    EXPECT_EQ(scheme(one, kSha1), "refused") << hex(one);
    EXPECT_EQ(scheme(kSha1, one), "refused") << hex(one);
  }
}

TEST_F(CertTest, Signatures) {
  const auto pair = [](int64_t r, int64_t s) { return seq({integer(r), integer(s)}); };
  const struct {
    const char *why;
    int64_t q;
    Der value;
    const char *signature = nullptr;  // null: refused
  } rows[] = {
      {"5 bits of q: one octet each", 0x11, pair(0x0F, 1), "0f01"},
      {"9 bits of q: two octets", 0x101, pair(1, 0x100), "00010100"},
      {"zero r and s", 0x101, pair(0, 0), "00000000"},
      {"the sign octet does not count", 0xFF, pair(0xFE, 0x80), "fe80"},
      {"r longer than q", 0xFF, pair(0x100, 1)},
      {"s longer than q", 0xFF, pair(1, 0x10000)},
      {"q is 0", 0, pair(0, 0)},
      {"only r", 0x101, seq({integer(1)})},
      {"no octets", 0x101, {}},
  };
  CertParts parts;
  parts.inner_algorithm = algorithm("1.3.14.3.2.27");  // as good as the other one
  parts.outer_algorithm = algorithm(kDsaSha1);
  parts.signature = bits(pair(1, 1));
  EXPECT_FALSE(Cert(parts.build())) << "a DSA signature over an RSA key";
  for (const auto &row : rows) {
    parts.key = dsa_key_info(row.q);
    parts.signature = bits(row.value);
    const Cert cert(parts.build());
    ASSERT_EQ(static_cast<bool>(cert), row.signature != nullptr) << row.why;
    if (!cert) continue;
    EXPECT_EQ(hex(cert->signature), row.signature) << row.why;
    EXPECT_EQ(cert->signature_key_type, 2u) << row.why;
  }
  expect_all(true, {with(&P::key, dsa_key_info(0x101))});  // that an RSA key signed
  expect_all(false,
             {with(&P::signature, {}), with(&P::signature, {3, 0}),
              with(&P::signature, octets(unhex("00"))), with(&P::signature, bits(unhex("00"), 9))});
  EXPECT_EQ(hex(Cert(with(&P::signature, bits(unhex("AAF0"), 4)))->signature), "aa");
}

TEST_F(CertTest, PublicKeys) {
  constexpr char kRsa[] = "1.2.840.113549.1.1.1", kDsa[] = "1.2.840.10040.4.1",
                 kDh[] = "1.2.840.10046.2.1",
                 kRsaName[] =
                     "if-modn{sign{rsa-pkcs1-md5},"
                     "encrypt{rsa-pkcs1-none}}",
                 kDsaName[] = "dl-modp{sign{dsa-nist-sha1}}";
  const Der kKey = seq({natural(modulus()), integer(3)}), kY = integer(8);
  const Der kGroup = seq({integer(23), integer(11), integer(4)});
  const struct {
    const char *why;
    Der info;
    uint32_t type, usage;
    const std::string name = {};  // of the key object, if there is one
  } rows[] = {
      {"RSA", key_info(null(), kKey, kRsa), 1, 0xF0, kRsaName},
      {"RSA by its old identifier", key_info(null(), kKey, "2.5.8.1"), 1, 0xF0, kRsaName},
      {"parameters of any kind", key_info(integer(5), kKey, kRsa), 1, 0xF0, kRsaName},
      {"an element after it", key_info(null(), join({kKey, null()}), kRsa), 1, 0xF0, kRsaName},
      {"DSA", key_info(kGroup, kY, kDsa), 2, 0xC0, kDsaName},
      {"DSA by its old identifier", key_info(kGroup, kY, "1.3.14.3.2.12"), 2, 0xC0, kDsaName},
      {"Diffie-Hellman", key_info(kGroup, kY, kDh), 4, 0x10009},
      {"Diffie-Hellman of anything that parses", key_info({}, null(), kDh), 4, 0x10009},
  };
  for (const auto &row : rows) {
    const Cert cert(with(&P::key, row.info));
    ASSERT_TRUE(cert) << row.why;
    EXPECT_EQ(cert->public_key_type, row.type) << row.why;
    EXPECT_EQ(cert->allowed_usage, row.usage) << row.why;
    const SshPublicKeyOwner key(ssh_x509_cert_public_key(cert.record.get()));
    EXPECT_EQ(key ? own_text(ssh_public_key_name(key.get())) : "", row.name) << row.why;
  }
  const std::vector<Der> refused = {
      key_info({}, kKey, kRsa),
      key_info(null(), seq({integer(15)}), kRsa),
      key_info(null(), {}, kRsa),
      key_info(null(), join({kKey, {2}}), kRsa),
      seq({seq({oid(kRsa), null()}), bits(kKey, 4)}),  // 4 bits cut off
      key_info(null(), kY, kDsa),
      key_info({}, kY, kDsa),  // inherited parameters
      key_info(seq({integer(23), integer(11)}), kY, kDsa),
      key_info(kGroup, kKey, kDsa),
      key_info({}, {2, 9}, kDh),
      key_info(null(), kKey, kRsaSha1),
  };
  for (const Der &info : refused) EXPECT_FALSE(Cert(with(&P::key, info))) << hex(info);
}

TEST_F(CertTest, NamesAndValidity) {
  const auto name = [](const std::vector<Der> &pair) { return seq({set({seq(pair)})}); };
  const Der kType = oid("2.5.4.3"), kTime = text(0x17, "010203040506Z");
  expect_all(true, {with(&P::subject, seq({})), with(&P::issuer, seq({})),
                    with(&P::subject, name({kType, text(0x0C, "a value that has no text")})),
                    with(&P::validity, seq({kTime, text(0x17, "0102030405Z")})),
                    with(&P::unique_ids, retag(0x82, bits({})))});
  expect_all(false,
             {with(&P::issuer, name({kType, text(0x12, "a NumericString")})),
              with(&P::subject, name({kType})), with(&P::subject, set({})),
              with(&P::validity, seq({kTime})),
              with(&P::validity, seq({text(0x17, "011303040506Z"), kTime})), with(&P::validity, {}),
              with(&P::serial, {}), with(&P::unique_ids, retag(0x82, bits({}, 1)))});
}

TEST_F(CertTest, SubjectsAreTakenOneByOne) {
  for (const char *value : {"printable", "untexted"}) {
    const bool printable = value[0] == 'p';
    const Der subject = seq({set({attribute("2.5.4.3", text(printable ? 0x13u : 0x0Cu, value))})});
    const Cert cert(with(&P::subject, subject));
    ASSERT_TRUE(cert);
    EXPECT_EQ(own_text(ssh_x509_cert_subject_text(cert.record.get())),
              printable ? "CN=printable" : "(null)");
    size_t length = 1;
    EXPECT_EQ(ssh_x509_cert_subject_der(cert.record.get(), &length), nullptr) << "taken";
    EXPECT_EQ(length, 0u);
    ssh_x509_name_reset(cert->subject_names);
    const SshBlock der(ssh_x509_cert_subject_der(cert.record.get(), &length));
    EXPECT_EQ(hex({der.get(), length}), hex(subject));
    EXPECT_EQ(ssh_x509_cert_subject_text(cert.record.get()), nullptr) << "taken";
  }
}

TEST_F(CertTest, WhatFollowsIsToleratedAndCountedIfGood) {
  const Der whole = CertParts().build();
  for (const char *tail : {"", "FF", "30023005", "0A2D2D0A"})
    EXPECT_EQ(Cert(join({whole, unhex(tail)})).length, whole.size()) << tail;
  EXPECT_EQ(Cert(join({whole, unhex("050030")})).length, whole.size() + 2);
  EXPECT_TRUE(Cert(join({null(), whole}))) << "reads look forward for the SEQUENCE";
  for (const Der &none : {Der{}, unhex("0000"), Der(SSH_X509_INPUT_MAX + 1)})
    EXPECT_FALSE(Cert(none)) << none.size();
}

// The junk is a value that no decoder takes, except that of the subject key identifier.
TEST_F(CertTest, ExtensionsByKind) {
  const auto junk = [](std::string_view id, bool critical = false) {
    return extension(id, octets(unhex("DEAD")), critical);
  };
  const Der kAttributes = extension("2.5.29.9", seq({seq({oid("2.5.29.9"), set({null()})})}));
  const Der kId = oid("1.2.3.4"), kValue = octets(null()), kUnknown = junk("1.2.3.4");
  const Der kSecondAttributes = junk("2.5.29.9", true), kCrlNumber = junk("2.5.29.20");
  const Der kArc = junk("1.3.6.1.5.5.7.1");  // of the private internet extensions: a kind, unread
  expect_all(true,
             {with({kUnknown, kUnknown}), with({extension("1.2.3.4", {})}),
              with({seq({kId, boolean(false), kValue})}), with({kArc}),
              with({kAttributes, kSecondAttributes}), with({junk("2.5.29.1"), junk("2.5.29.10")}),
              with({kCrlNumber, junk("2.5.29.21")})});
  expect_all(
      false,
      {with({junk("1.2.3.4", true)}), with({junk("2.5.29.15")}), with({extension("2.5.29.15", {})}),
       with({kKeyUsage, kKeyUsage}), with({junk("1.3.6.1.5.5.7.1", true)}), with({kArc, kArc}),
       with({kSecondAttributes, kAttributes}), with({junk("1.2.840.113533.7.65.0", true)}),
       with({extension("2.5.29.27", integer(1), true)}), with({kCrlNumber, kCrlNumber}),
       with({seq({kValue})}), with({seq({kId})}), with({seq({kId, {1, 2, 0, 0}, kValue})}),
       with({seq({{6, 2, 0x2A, 0x83}, kValue})})});

  const Cert cert(with({kAttributes, kSecondAttributes, kKeyUsage, junk("2.5.29.25")}));
  ASSERT_TRUE(cert);
  std::string marks;
  for (uint32_t kind = 0; kind < SSH_X509_EXT_KINDS; ++kind) {
    if (cert->extensions.test(kind))
      marks += std::to_string(kind) + (cert->extensions.critical(kind) ? "! " : " ");
  }
  EXPECT_EQ(marks, "2! 8 23 ");
  EXPECT_FALSE(cert->directory_attributes->next);
}

TEST_F(CertTest, RefusalsSayWhere) {
  const auto expect_at = [](const char *id, const Der &fault, const Der &whole) {
    SCOPED_TRACE(hex(fault));
    expect_refusal_at(Cert(whole)->refusal, whole, fault, id);
  };
  const auto part = [&](const char *id, Der P::*place, const Der &fault) {
    expect_at(id, fault, with(place, fault));
  };
  part(kRsaSha256, &P::outer_algorithm, algorithm(kRsaSha256));
  part(kRsaSha256, &P::inner_algorithm, algorithm(kRsaSha256));
  part("", &P::inner_algorithm, algorithm(kRsaMd5));
  part("1.2.840.10045.2.1", &P::key, key_info(null(), null(), "1.2.840.10045.2.1"));
  for (Der P::*place : {&P::validity, &P::issuer, &P::subject}) part("", place, seq({null()}));
  const auto extended = [&](const char *id, const Der &value, bool critical = false) {
    const Der fault = extension(id, value, critical);
    expect_at(id, fault, with({kKeyUsage, fault}));
  };
  extended("1.2.3.4", null(), true);
  extended("2.5.29.19", set({}));
  extended("2.5.29.14", {});
  extended("2.5.29.15", null());  // the second of its kind
}

}  // namespace
