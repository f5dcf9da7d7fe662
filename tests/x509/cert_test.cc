#include "x509/cert.h"

#include <gtest/gtest.h>

#include "support/samples.h"

namespace {

using sample::Cert;
using sample::CertParts;
using sample::extension;
using CertTest = sample::Balanced;

struct Row {
  const char *why;
  void (*edit)(CertParts &);
  uint32_t version;  // 0: refused
};

void run(std::initializer_list<Row> rows) {
  for (const Row &row : rows) {
    CertParts parts;
    row.edit(parts);
    const Cert cert(parts.build());
    EXPECT_EQ(cert->version, row.version)
        << row.why << ": " << (cert ? "" : cert->refusal.structure);
  }
}

const Der kIssuerId = der::retag(der::context(1), der::bits(unhex("ABC0"), 4));
const Der kSubjectId = der::retag(der::context(2), der::bits(unhex("0102030405")));
const Der kKeyUsage = extension("2.5.29.15", der::bits(unhex("84"), 2), true);

std::string scheme_name(const Cert &cert) {
  return cert->signature_scheme ? cert->signature_scheme : "(null)";
}

TEST_F(CertTest, ReadsEveryFieldOfTheSample) {
  CertParts parts;
  parts.unique_ids = der::join({kIssuerId, kSubjectId});
  parts.extensions = {kKeyUsage};
  const Der octets = parts.build();
  const Cert cert(octets);
  ASSERT_TRUE(cert);
  EXPECT_EQ(cert.length, octets.size());
  EXPECT_EQ(cert->version, 3u);
  EXPECT_EQ(sample::decimal(cert->serial), "78187493520");
  EXPECT_EQ(cert->not_before, (SshBerTime{2001, 2, 3, 4, 5, 6}));
  EXPECT_EQ(cert->not_after, (SshBerTime{2051, 2, 3, 4, 5, 6}));
  EXPECT_EQ(cert->public_key_type, 1u);
  EXPECT_EQ(cert->allowed_usage, 0xF0u);
  EXPECT_EQ(cert->allowed_ca_usage, 0xF6u);
  EXPECT_EQ(cert->signature_key_type, 1u);
  EXPECT_EQ(scheme_name(cert), "rsa-pkcs1-sha1");
  EXPECT_EQ(hex(cert->signature), "00112233445566778899");
  EXPECT_EQ(hex(cert->der), hex(octets));
  EXPECT_NE(cert->der.data(), octets.data());
  const auto outer = der::children(der::children(octets)[0].content);
  EXPECT_EQ(hex(cert->signed_data), hex(outer[0].whole));

  // The newest entry comes first: the unique identifier, its length in bits.
  const SshX509Name *name = cert->issuer_names;
  ASSERT_TRUE(name && name->next && !name->next->next);
  EXPECT_EQ(name->type, SSH_X509_NAME_UNIQUE_ID);
  EXPECT_EQ(name->data_length, 12u);
  EXPECT_EQ(hex(name->data), "abc0");
  EXPECT_EQ(name->next->type, SSH_X509_NAME_DN);
  EXPECT_EQ(hex(name->next->der), hex(parts.issuer));
  EXPECT_EQ(sample::own_text(ssh_x509_name_text(name->next)), "CN=Issuer");
  EXPECT_EQ(cert->subject_names->data_length, 40u);
  EXPECT_EQ(sample::own_text(ssh_x509_cert_subject_text(cert.record.get())), "CN=Subject");
}

TEST_F(CertTest, AnEmptyRecordHasTheDefaults) {
  const SshX509CertOwner cert(ssh_x509_cert_allocate());
  EXPECT_EQ(cert->version, 0u);
  EXPECT_TRUE(cert->serial.is_zero());
  EXPECT_EQ(cert->path_length, SSH_X509_NO_LIMIT);
  EXPECT_EQ(cert->not_before, SshBerTime{});
  EXPECT_EQ(cert->key_not_after, SshBerTime{});
  EXPECT_EQ(ssh_x509_cert_public_key(cert.get()), nullptr);
  ssh_x509_cert_free(nullptr);
}

TEST_F(CertTest, Versions) {
  run({
      {"version 3", [](CertParts &) {}, 3},
      {"no version: 1", [](CertParts &p) { p.version = {}; }, 1},
      {"0 written out: 1", [](CertParts &p) { p.version = der::wrap(0, der::integer(0)); }, 1},
      {"version 1 with an issuer identifier",
       [](CertParts &p) { p.version = {}, p.unique_ids = kIssuerId; }, 0},
      {"version 1 with a subject identifier",
       [](CertParts &p) { p.version = {}, p.unique_ids = kSubjectId; }, 0},
      {"version 1 with extensions",
       [](CertParts &p) { p.version = {}, p.extensions = {kKeyUsage}; }, 0},
      {"0 written out with extensions",
       [](CertParts &p) { p.version = der::wrap(0, der::integer(0)), p.extensions = {kKeyUsage}; },
       0},
      {"version 1 with an empty list of extensions",
       [](CertParts &p) { p.version = {}, p.extensions_wrapper = der::wrap(3, der::seq({})); }, 0},
      {"version 2 with identifiers",
       [](CertParts &p) {
         p.version = der::wrap(0, der::integer(1)),
         p.unique_ids = der::join({kIssuerId, kSubjectId});
       },
       2},
      {"version 2 with extensions",
       [](CertParts &p) { p.version = der::wrap(0, der::integer(1)), p.extensions = {kKeyUsage}; },
       0},
      {"version 3 with identifiers", [](CertParts &p) { p.unique_ids = kSubjectId; }, 3},
      {"version 4", [](CertParts &p) { p.version = der::wrap(0, der::integer(3)); }, 0},
      {"a negative version", [](CertParts &p) { p.version = der::wrap(0, der::integer(-1)); }, 0},
      {"2^32 + 2", [](CertParts &p) { p.version = der::wrap(0, der::integer(0x100000002)); }, 0},
      {"an empty INTEGER is 0",
       [](CertParts &p) {
         p.version = der::wrap(0, {2, 0});
       },
       1},
  });
}

TEST_F(CertTest, SignatureAlgorithms) {
  const struct {
    const char *why, *inner, *outer, *scheme;  // null: refused
  } rows[] = {
      {"equal", "1.2.840.113549.1.1.4", "1.2.840.113549.1.1.4", "rsa-pkcs1-md5"},
      {"different schemes", "1.2.840.113549.1.1.4", "1.2.840.113549.1.1.5", nullptr},
      {"one key type and hash, but two schemes", "1.3.14.3.2.29", "1.2.840.113549.1.1.5", nullptr},
      {"the first of two rows counts", "1.3.14.3.2.29", "1.3.14.3.2.29", "rsa-nist-sha1"},
      {"unknown outside", "1.2.840.113549.1.1.5", "1.2.840.113549.1.1.11", nullptr},
      {"unknown inside", "1.2.840.113549.1.1.11", "1.2.840.113549.1.1.5", nullptr},
      {"unknown on both sides", "1.2.840.113549.1.1.11", "1.2.840.113549.1.1.11", nullptr},
      {"a key algorithm is none of signatures", "1.2.840.113549.1.1.1", "1.2.840.113549.1.1.1",
       nullptr},
      {"a prefix of a known one", "1.2.840.113549.1.1", "1.2.840.113549.1.1", nullptr},
      {"ElGamal has no conversion", "1.3.14.7.2.3.2", "1.3.14.7.2.3.2", nullptr},
  };
  for (const auto &row : rows) {
    CertParts parts;
    parts.inner_algorithm = sample::algorithm(row.inner);
    parts.outer_algorithm = sample::algorithm(row.outer);
    const Cert cert(parts.build());
    EXPECT_EQ(static_cast<bool>(cert), row.scheme != nullptr) << row.why;
    if (row.scheme) {
      EXPECT_EQ(scheme_name(cert), row.scheme) << row.why;
    }
  }
  run({
      {"algorithms without parameters",
       [](CertParts &p) {
         p.inner_algorithm = p.outer_algorithm = der::seq({der::oid(sample::kRsaSha1)});
       },
       3},
      {"parameters on one side only",
       [](CertParts &p) { p.inner_algorithm = der::seq({der::oid(sample::kRsaSha1)}); }, 3},
      {"an empty algorithm", [](CertParts &p) { p.outer_algorithm = der::seq({}); }, 0},
      {"no signature", [](CertParts &p) { p.signature = {}; }, 0},
      {"an OCTET STRING for a signature",
       [](CertParts &p) { p.signature = der::octets(unhex("00")); }, 0},
      {"a bit string without octets",
       [](CertParts &p) {
         p.signature = {3, 0};
       },
       0},
      {"more unused bits than bits", [](CertParts &p) { p.signature = der::bits(unhex("00"), 9); },
       0},
  });
}

// Two identifiers of one scheme are as good as one.
TEST_F(CertTest, DsaSignatures) {
  const struct {
    const char *why;
    int64_t q;
    Der value;
    const char *signature;  // null: refused
  } rows[] = {
      {"5 bits of q: one octet each", 0x11, der::seq({der::integer(0x0F), der::integer(1)}),
       "0f01"},
      {"9 bits of q: padded to two octets", 0x101, der::seq({der::integer(1), der::integer(0x100)}),
       "00010100"},
      {"zero r and s", 0x101, der::seq({der::integer(0), der::integer(0)}), "00000000"},
      {"the sign octet does not count", 0xFF, der::seq({der::integer(0xFE), der::integer(0x80)}),
       "fe80"},
      {"r longer than q", 0xFF, der::seq({der::integer(0x100), der::integer(1)}), nullptr},
      {"s longer than q", 0xFF, der::seq({der::integer(1), der::integer(0x10000)}), nullptr},
      {"q is 0", 0, der::seq({der::integer(0), der::integer(0)}), nullptr},
      {"only r", 0x101, der::seq({der::integer(1)}), nullptr},
      {"no octets", 0x101, {}, nullptr},
      {"not a SEQUENCE", 0x101, der::set({der::integer(1), der::integer(1)}), nullptr},
      {"cut", 0x101, unhex("300602010102"), nullptr},
  };
  for (const auto &row : rows) {
    CertParts parts;
    parts.key = sample::dsa_key_info(row.q);
    parts.inner_algorithm = sample::algorithm("1.3.14.3.2.27");
    parts.outer_algorithm = sample::algorithm(sample::kDsaSha1);
    parts.signature = der::bits(row.value);
    const Cert cert(parts.build());
    ASSERT_EQ(static_cast<bool>(cert), row.signature != nullptr) << row.why;
    if (row.signature) {
      EXPECT_EQ(hex(cert->signature), row.signature) << row.why;
    }
    if (row.signature) {
      EXPECT_EQ(cert->signature_key_type, 2u);
    }
  }
  run({
      {"a DSA signature over an RSA key",
       [](CertParts &p) {
         p.use_algorithm(sample::kDsaSha1);
         p.signature = der::bits(der::seq({der::integer(1), der::integer(1)}));
       },
       0},
      {"an RSA signature over a DSA key", [](CertParts &p) { p.key = sample::dsa_key_info(0x101); },
       3},
      {"whole octets of an RSA signature",
       [](CertParts &p) { p.signature = der::bits(unhex("AAF0"), 4); }, 3},
  });
  CertParts parts;
  parts.signature = der::bits(unhex("AAF0"), 4);
  EXPECT_EQ(hex(Cert(parts.build())->signature), "aa");
}

TEST_F(CertTest, PublicKeys) {
  static constexpr char kRsa[] = "1.2.840.113549.1.1.1", kDsa[] = "1.2.840.10040.4.1",
                        kDh[] = "1.2.840.10046.2.1";
  static const Der kRsaKey = der::seq({der::natural(sample::modulus()), der::integer(3)});
  static const Der kDsaParameters = der::seq({der::integer(23), der::integer(11), der::integer(4)});
  const struct {
    const char *why;
    Der info;
    uint32_t type;  // 0: refused
    std::string name;
  } rows[] = {
      {"RSA", sample::key_info(der::null(), kRsaKey, kRsa), 1, "if-modn"},
      {"RSA by its old identifier", sample::key_info(der::null(), kRsaKey, "2.5.8.1"), 1,
       "if-modn"},
      {"RSA with parameters of any kind", sample::key_info(der::integer(5), kRsaKey, kRsa), 1,
       "if-modn"},
      {"RSA without parameters", sample::key_info({}, kRsaKey, kRsa), 0, ""},
      {"RSA without an exponent", sample::key_info(der::null(), der::seq({der::integer(15)}), kRsa),
       0, ""},
      {"no key octets", sample::key_info(der::null(), {}, kRsa), 0, ""},
      {"an octet after the key", sample::key_info(der::null(), der::join({kRsaKey, {2}}), kRsa), 0,
       ""},
      {"an element after the key",
       sample::key_info(der::null(), der::join({kRsaKey, der::null()}), kRsa), 1, "if-modn"},
      {"a key with 4 bits cut off",
       der::seq({der::seq({der::oid(kRsa), der::null()}), der::bits(kRsaKey, 4)}), 0, ""},
      {"DSA", sample::key_info(kDsaParameters, der::integer(8), kDsa), 2, "dl-modp"},
      {"DSA by its old identifier",
       sample::key_info(kDsaParameters, der::integer(8), "1.3.14.3.2.12"), 2, "dl-modp"},
      {"DSA that inherits its parameters", sample::key_info(der::null(), der::integer(8), kDsa), 0,
       ""},
      {"DSA without parameters", sample::key_info({}, der::integer(8), kDsa), 0, ""},
      {"DSA without g",
       sample::key_info(der::seq({der::integer(23), der::integer(11)}), der::integer(8), kDsa), 0,
       ""},
      {"DSA with an RSA key inside", sample::key_info(kDsaParameters, kRsaKey, kDsa), 0, ""},
      {"Diffie-Hellman has no key object", sample::key_info(kDsaParameters, der::integer(8), kDh),
       4, ""},
      {"Diffie-Hellman of anything that parses", sample::key_info({}, der::null(), kDh), 4, ""},
      {"Diffie-Hellman of what does not parse", sample::key_info({}, {2, 9}, kDh), 0, ""},
      {"an elliptic curve",
       sample::key_info(der::oid("1.2.840.10045.3.1.7"), der::null(), "1.2.840.10045.2.1"), 0, ""},
      {"a signature algorithm is none of keys",
       sample::key_info(der::null(), kRsaKey, sample::kRsaSha1), 0, ""},
  };
  for (const auto &row : rows) {
    CertParts parts;
    parts.key = row.info;
    const Cert cert(parts.build());
    ASSERT_EQ(static_cast<bool>(cert), row.type != 0) << row.why;
    if (!cert) continue;
    const SshPublicKeyOwner key(ssh_x509_cert_public_key(cert.record.get()));
    ASSERT_EQ(key != nullptr, !row.name.empty()) << row.why;
    if (row.type) {
      EXPECT_EQ(cert->public_key_type, row.type) << row.why;
    }
    if (key) {
      EXPECT_EQ(sample::own_text(ssh_public_key_name(key.get())).substr(0, 7), row.name) << row.why;
    }
  }
  CertParts parts;
  parts.key = sample::key_info(kDsaParameters, der::integer(8), kDh);
  EXPECT_EQ(Cert(parts.build())->allowed_usage, 0x10009u);
}

TEST_F(CertTest, TheKeyObjectHoldsTheNumbersOfTheCertificate) {
  CertParts parts;
  const Cert rsa(parts.build());
  const SshPublicKeyOwner rsa_key(ssh_x509_cert_public_key(rsa.record.get()));
  SshMpInt n, e;
  ASSERT_EQ(ssh_public_key_get_info(rsa_key.get(), {{SSH_KEY_TAG_N, &n}, {SSH_KEY_TAG_E, &e}}),
            SSH_KEY_OK);
  EXPECT_EQ(hex(n.magnitude()), hex(sample::modulus()));
  EXPECT_EQ(e, SshMpInt(65537));
  EXPECT_EQ(sample::own_text(ssh_public_key_name(rsa_key.get())),
            "if-modn{sign{rsa-pkcs1-md5},encrypt{rsa-pkcs1-none}}");

  parts.key = sample::dsa_key_info(0x101);
  const Cert dsa(parts.build());
  const SshPublicKeyOwner dsa_key(ssh_x509_cert_public_key(dsa.record.get()));
  SshMpInt p, q, g, y;
  ASSERT_EQ(
      ssh_public_key_get_info(
          dsa_key.get(),
          {{SSH_KEY_TAG_P, &p}, {SSH_KEY_TAG_Q, &q}, {SSH_KEY_TAG_G, &g}, {SSH_KEY_TAG_Y, &y}}),
      SSH_KEY_OK);
  EXPECT_EQ(p, SshMpInt(0x7FFF1));
  EXPECT_EQ(q, SshMpInt(0x101));
  EXPECT_EQ(g, SshMpInt(4));
  EXPECT_EQ(y, SshMpInt(0x1235));
}

TEST_F(CertTest, NamesAndValidity) {
  run({
      {"an empty subject", [](CertParts &p) { p.subject = der::seq({}); }, 3},
      {"an empty issuer", [](CertParts &p) { p.issuer = der::seq({}); }, 3},
      {"a value that has no text still decodes",
       [](CertParts &p) {
         p.subject = der::seq({der::set({der::attribute("2.5.4.3", der::text(0x0C, "ascii"))})});
       },
       3},
      {"a NumericString is no name value",
       [](CertParts &p) {
         p.issuer = der::seq({der::set({der::attribute("2.5.4.3", der::text(0x12, "1"))})});
       },
       0},
      {"a pair without a value",
       [](CertParts &p) { p.subject = der::seq({der::set({der::seq({der::oid("2.5.4.3")})})}); },
       0},
      {"a name that is a SET", [](CertParts &p) { p.subject = der::set({}); }, 0},
      {"two UTCTimes",
       [](CertParts &p) {
         p.validity = der::seq({der::text(0x17, "010203040506Z"), der::text(0x17, "0102030405Z")});
       },
       3},
      {"one time", [](CertParts &p) { p.validity = der::seq({der::text(0x17, "010203040506Z")}); },
       0},
      {"month 13",
       [](CertParts &p) {
         p.validity =
             der::seq({der::text(0x17, "011303040506Z"), der::text(0x17, "010203040506Z")});
       },
       0},
      {"a time as text",
       [](CertParts &p) {
         p.validity =
             der::seq({der::text(0x13, "010203040506Z"), der::text(0x17, "010203040506Z")});
       },
       0},
      {"no serial number", [](CertParts &p) { p.serial = {}; }, 0},
      {"no validity", [](CertParts &p) { p.validity = {}; }, 0},
      {"a bit string for the subject identifier may have no bits",
       [](CertParts &p) { p.unique_ids = der::retag(der::context(2), der::bits({})); }, 3},
      {"a subject identifier of more unused bits than bits",
       [](CertParts &p) { p.unique_ids = der::retag(der::context(2), der::bits({}, 1)); }, 0},
  });
}

TEST_F(CertTest, SubjectsAreTakenOneByOne) {
  CertParts parts;
  const Cert cert(parts.build());
  ASSERT_TRUE(cert);
  size_t length = 1;
  const SshBlock der(ssh_x509_cert_subject_der(cert.record.get(), &length));
  EXPECT_EQ(hex({der.get(), length}), hex(parts.subject));
  EXPECT_EQ(ssh_x509_cert_subject_text(cert.record.get()), nullptr);
  const SshBlock none(ssh_x509_cert_subject_der(cert.record.get(), &length));
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(length, 0u);
  ssh_x509_name_reset(cert->subject_names);
  EXPECT_EQ(sample::own_text(ssh_x509_cert_subject_text(cert.record.get())), "CN=Subject");

  parts.subject = der::seq({der::set({der::attribute("2.5.4.3", der::text(0x0C, "ascii"))})});
  const Cert untexted(parts.build());
  EXPECT_EQ(ssh_x509_cert_subject_text(untexted.record.get()), nullptr);
  ssh_x509_name_reset(untexted->subject_names);
  const SshBlock kept(ssh_x509_cert_subject_der(untexted.record.get(), &length));
  EXPECT_EQ(hex({kept.get(), length}), hex(parts.subject));
}

TEST_F(CertTest, WhatFollowsTheCertificateIsTolerated) {
  const Der whole = CertParts().build();
  const struct {
    const char *why, *tail;
    size_t counted;  // octets of the tail that are good elements
  } rows[] = {
      {"one octet", "FF", 0},
      {"an element", "0500", 2},
      {"an element, then garbage", "050030", 2},
      {"a bad inside", "30023005", 0},
      {"text", "0A2D2D0A", 0},
  };
  for (const auto &row : rows) {
    const Cert cert(der::join({whole, unhex(row.tail)}));
    EXPECT_EQ(cert.length, whole.size() + row.counted) << row.why;
  }
  EXPECT_FALSE(Cert(Bytes(whole).first(whole.size() - 1)));
  EXPECT_FALSE(Cert(Bytes{}));
  EXPECT_FALSE(Cert(unhex("0000")));
  EXPECT_TRUE(Cert(der::join({der::null(), whole}))) << "reads look forward for the SEQUENCE";
  EXPECT_FALSE(Cert(std::vector<uint8_t>(SSH_X509_INPUT_MAX + 1)));
}

TEST_F(CertTest, ExtensionsByKind) {
  static const Der kJunk =
      der::octets(unhex("DEAD"));  // no decoder takes it, except of the subject key identifier
  static const Der kAttributes =
      der::seq({der::seq({der::oid("2.5.29.9"), der::set({der::null()})})});
  const struct {
    const char *why;
    std::vector<Der> extensions;
    bool accepted;
  } rows[] = {
      {"unknown", {extension("1.2.3.4", kJunk)}, true},
      {"unknown and critical", {extension("1.2.3.4", kJunk, true)}, false},
      {"unknown twice", {extension("1.2.3.4", kJunk), extension("1.2.3.4", kJunk)}, true},
      {"critical written out as false",
       {der::seq({der::oid("1.2.3.4"), der::boolean(false), der::octets(kJunk)})},
       true},
      {"known, with a bad value", {extension("2.5.29.15", kJunk)}, false},
      {"known, without a value", {extension("2.5.29.15", {})}, false},
      {"unknown, without a value", {extension("1.2.3.4", {})}, true},
      {"key usage twice", {kKeyUsage, kKeyUsage}, false},
      {"private internet extensions", {extension("1.3.6.1.5.5.7.1", kJunk)}, true},
      {"private internet extensions, empty", {extension("1.3.6.1.5.5.7.1", {})}, true},
      {"private internet extensions, critical", {extension("1.3.6.1.5.5.7.1", kJunk, true)}, false},
      {"private internet extensions twice",
       {extension("1.3.6.1.5.5.7.1", kJunk), extension("1.3.6.1.5.5.7.1", kJunk)},
       false},
      {"attributes twice, the second unread",
       {extension("2.5.29.9", kAttributes), extension("2.5.29.9", kJunk, true)},
       true},
      {"attributes twice, the first bad",
       {extension("2.5.29.9", kJunk), extension("2.5.29.9", kAttributes)},
       false},
      {"what may occur, twice",
       {extension("2.5.29.1", kJunk), extension("2.5.29.10", kJunk)},
       true},
      {"what may occur, critical", {extension("1.2.840.113533.7.65.0", kJunk, true)}, false},
      {"a CRL number", {extension("2.5.29.20", kJunk)}, true},
      {"a critical CRL number", {extension("2.5.29.20", der::integer(1), true)}, false},
      {"a CRL number twice", {extension("2.5.29.20", kJunk), extension("2.5.29.20", kJunk)}, false},
      {"a reason code", {extension("2.5.29.21", kJunk)}, true},
      {"a critical delta indicator", {extension("2.5.29.27", der::integer(1), true)}, false},
      {"a critical certificate issuer", {extension("2.5.29.29", der::seq({}), true)}, false},
      {"a NULL before an unknown one", {der::null(), extension("1.2.3.4", kJunk)}, true},
      {"a NULL before a known one, which is thus read twice", {der::null(), kKeyUsage}, false},
      {"a NULL at the end", {kKeyUsage, der::null()}, false},
      {"no identifier", {der::seq({der::octets(kJunk)})}, false},
      {"no value", {der::seq({der::oid("1.2.3.4")})}, false},
      {"a BOOLEAN of two octets",
       {der::seq({der::oid("1.2.3.4"), {1, 2, 0, 0}, der::octets(kJunk)})},
       false},
      {"an identifier that is cut", {der::seq({{6, 2, 0x2A, 0x83}, der::octets(kJunk)})}, false},
  };
  for (const auto &row : rows) {
    CertParts parts;
    parts.extensions = row.extensions;
    const Cert cert(parts.build());
    EXPECT_EQ(static_cast<bool>(cert), row.accepted) << row.why;
  }
  CertParts parts;
  parts.extensions = {extension("2.5.29.9", kAttributes), extension("2.5.29.9", kJunk, true),
                      kKeyUsage, extension("2.5.29.25", kJunk)};
  const Cert cert(parts.build());
  ASSERT_TRUE(cert);
  std::string marks;
  for (uint32_t kind = 0; kind < SSH_X509_EXT_KINDS; ++kind) {
    if (cert->extensions.test(kind))
      marks += std::to_string(kind) + (cert->extensions.critical(kind) ? "! " : " ");
  }
  EXPECT_EQ(marks, "2! 8 23 ");
  EXPECT_FALSE(cert->directory_attributes->next);
}

// A wrapper that the template cannot take must not make critical extensions vanish.
TEST_F(CertTest, ExtensionWrappers) {
  const Der list = der::seq({kKeyUsage});
  const struct {
    const char *why;
    Der wrapper;
    bool accepted;
  } rows[] = {
      {"no extensions in the list", der::wrap(3, der::seq({})), true},
      {"indefinite length", der::indefinite(0xA3, {list}), false},
      {"indefinite length inside", der::wrap(3, der::indefinite(0x30, {kKeyUsage})), false},
      {"indefinite length of one extension",
       der::wrap(3, der::seq({der::indefinite(0x30, {der::oid("1.2.3.4"), der::octets({})})})),
       false},
      {"a SET inside", der::wrap(3, der::set({kKeyUsage})), false},
      {"primitive", der::tlv(0x83, list), false},
  };
  for (const auto &row : rows) {
    CertParts parts;
    parts.extensions_wrapper = row.wrapper;
    EXPECT_EQ(static_cast<bool>(Cert(parts.build())), row.accepted) << row.why;
  }
}

TEST_F(CertTest, RefusalsSayWhere) {
  const struct {
    const char *why;
    void (*edit)(CertParts &);
    Der (*part)(const CertParts &);  // the part at fault
    const char *id;
  } rows[] = {
      {"an unknown critical extension",
       [](CertParts &p) {
         p.extensions = {kKeyUsage, extension("1.2.3.4", der::null(), true)};
       },
       [](const CertParts &p) { return p.extensions[1]; }, "1.2.3.4"},
      {"a bad extension",
       [](CertParts &p) { p.extensions = {extension("2.5.29.19", der::set({}))}; },
       [](const CertParts &p) { return p.extensions[0]; }, "2.5.29.19"},
      {"an extension without a value",
       [](CertParts &p) {
         p.extensions = {extension("2.5.29.14", {}), kKeyUsage};
       },
       [](const CertParts &p) { return p.extensions[0]; }, "2.5.29.14"},
      {"a repeated extension",
       [](CertParts &p) {
         p.extensions = {kKeyUsage, extension("2.5.29.15", der::null())};
       },
       [](const CertParts &p) { return p.extensions[1]; }, "2.5.29.15"},
      {"the outer algorithm",
       [](CertParts &p) { p.outer_algorithm = sample::algorithm("1.2.840.113549.1.1.11"); },
       [](const CertParts &p) { return p.outer_algorithm; }, "1.2.840.113549.1.1.11"},
      {"the inner algorithm",
       [](CertParts &p) { p.inner_algorithm = sample::algorithm("1.2.840.113549.1.1.11"); },
       [](const CertParts &p) { return p.inner_algorithm; }, "1.2.840.113549.1.1.11"},
      {"the key algorithm",
       [](CertParts &p) {
         p.key = sample::key_info(der::null(), der::null(), "1.2.840.10045.2.1");
       },
       [](const CertParts &p) { return p.key; }, "1.2.840.10045.2.1"},
      {"the validity", [](CertParts &p) { p.validity = der::seq({der::null()}); },
       [](const CertParts &p) { return p.validity; }, ""},
      {"the subject", [](CertParts &p) { p.subject = der::seq({der::null()}); },
       [](const CertParts &p) { return p.subject; }, ""},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.why);
    CertParts parts;
    row.edit(parts);
    const Der octets = parts.build();
    const Cert cert(octets);
    ASSERT_FALSE(cert);
    sample::expect_refusal_at(cert->refusal, octets, row.part(parts), row.id);
  }
  const Der whole = CertParts().build();
  for (const size_t length : {size_t{1}, size_t{30}, whole.size() - 1}) {
    EXPECT_LE(Cert(Bytes(whole).first(length))->refusal.offset, length);
  }
}

}  // namespace
