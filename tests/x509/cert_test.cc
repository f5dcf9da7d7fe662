// Certificates, under both profiles where these differ: the fields, what refuses them, and where.
#include "x509/cert.h"

#include "support/samples.h"
#include "x509/verify.h"

namespace {

using namespace der;
using namespace sample;
using CertTest = sample::Balanced;
using P = CertParts;

const Der kIssuerId = retag(context(1), bits(unhex("ABC0"), 4));
const Der kSubjectId = retag(context(2), bits(unhex("0102030405")));
const Der kKeyUsage = extension("2.5.29.15", bits(unhex("84"), 2), true);
constexpr char kRsaSha256[] = "1.2.840.113549.1.1.11", kPss[] = "1.2.840.113549.1.1.10";

Der with(const std::vector<Der> &extensions) { return sample::with(&P::extensions, extensions); }

// outcome decodes a certificate: what is wrong with it, or what the record holds of its signature.
std::string outcome(SshX509Profile profile, const CertParts &parts) {
  const ProfileScope scope(profile);
  const Cert cert(parts.build());
  if (!cert) return reason(cert->refusal);
  return (cert->signature_pair ? "pair " : "octets ") + hex(cert->signature);
}
struct Outcomes {
  CertParts parts;
  std::string classic, modern;
};
void expect(const std::vector<Outcomes> &rows) {
  for (const Outcomes &row : rows) {
    EXPECT_EQ(outcome(SSH_X509_CLASSIC, row.parts), row.classic) << &row - rows.data();
    EXPECT_EQ(outcome(SSH_X509_MODERN, row.parts), row.modern) << &row - rows.data();
  }
}
constexpr char kInherited[] = "DSA key has the parameters of its issuer, which are not at hand";
constexpr char kDecoded[] = "octets 00112233445566778899";

// Most fields are held against those of real certificates in tests/corpus.
TEST_F(CertTest, VersionsAndWhatBelongsToThem) {
  // With nothing else, a unique identifier, or extensions. An INTEGER of no bytes is 0.
  const std::pair<Der, const char *> rows[] = {
      {{}, "1000"},         {{2, 0}, "1000"},     {integer(1), "2220"},
      {integer(2), "3333"}, {integer(3), "0000"}, {integer(0x100000002), "0000"}};
  for (const auto &[version, versions] : rows) {
    CertParts parts;
    std::string seen;
    parts.version = version.empty() ? Der{} : wrap(0, version);
    for (const Der &more : {Der{}, kIssuerId, kSubjectId, wrap(3, seq({}))}) {
      parts.unique_ids = more;
      seen += std::to_string(Cert(parts.build())->version);
    }
    EXPECT_EQ(seen, versions) << hex(version);
  }
  // The newest entry comes first: the unique identifier, its length in bits.
  const Cert cert(sample::with(&P::unique_ids, kIssuerId));
  EXPECT_EQ(cert->issuer_names->data_length, 12u);
  EXPECT_EQ(hex(cert->issuer_names->data), "abc0");
}

// Both stand for one scheme. What RSASSA-PSS does is told by its parameters; those of other
// algorithms tell nothing.
TEST_F(CertTest, TheTwoAlgorithms) {
  const auto pss = [](int salt) { return seq({oid(kPss), seq({wrap(2, integer(salt))})}); };
  const auto both = [](const Der &inner, const Der &outer) {
    CertParts parts;
    parts.inner_algorithm = inner;
    parts.outer_algorithm = outer;
    return parts;
  };
  const Der kSha1 = algorithm(kRsaSha1), kMlDsa = algorithm("2.16.840.1.101.3.4.3.18");
  const std::string unknown = "signature algorithm is not known",
                    inner = "signature algorithm of the TBSCertificate ",
                    differ = inner + "differs from the one outside";
  expect({{both(seq({oid(kRsaSha1)}), kSha1), kDecoded, kDecoded},
          {both(algorithm(kRsaSha256), kSha1), unknown, differ},
          {both(kSha1, algorithm("1.3.14.3.2.29")), differ, differ},
          {both(kMlDsa, kMlDsa), unknown, kDecoded},  // without a scheme
          {both(kMlDsa, kSha1), unknown, differ},
          {both(kMlDsa, algorithm("2.16.840.1.101.3.4.3.17")), unknown, differ},
          {both(seq({oid("2.16.840.1.101.3.4.3.18")}), kMlDsa), unknown, kDecoded},
          {both(pss(32), pss(32)), unknown, kDecoded},
          {both(pss(32), pss(64)), unknown, inner + "has other parameters than the one outside"}});
}

// r and s are as long as the own q; the sign bit of q does not count.
TEST_F(CertTest, Signatures) {
  const auto pair = [](int64_t r, int64_t s) { return seq({integer(r), integer(s)}); };
  const auto with_key = [](const Der &key, const Der &value) {
    CertParts parts;
    parts.inner_algorithm = algorithm("1.3.14.3.2.27");  // as good as the other one
    parts.outer_algorithm = algorithm(kDsaSha1);
    parts.key = key;
    parts.signature = bits(value);
    return parts;
  };
  const Der kPair = pair(0x12, 0x1234), kLong = pair(0x100, 1);
  const std::string octets = "octets " + hex(kPair), refused = "signatureValue ",
                    longer = refused + "has numbers longer than the own q",
                    no_q = refused + "is DSA, and the own key has no q as its measure",
                    one = refused + "an INTEGER belongs there";
  expect({{with_key(dsa_key_info(0x11), pair(0x0F, 1)), "pair 0f01", "pair 0f01"},
          {with_key(dsa_key_info(0x101), pair(0, 0x100)), "pair 00000100", "pair 00000100"},
          {with_key(dsa_key_info(0xFF), kLong), longer, "octets " + hex(kLong)},
          {with_key(dsa_key_info(0x7B), kPair), longer, octets},
          {with_key(dsa_key_info(-5), kPair), no_q, octets},
          {with_key(key_info({}, integer(9), "1.2.840.10040.4.1"), kPair), kInherited, octets},
          {with_key(rsa_key_info(), pair(-1, 2)), no_q, refused + "has a negative number"},
          {with_key(dsa_key_info(0x101), seq({integer(1)})), one, one}});
  EXPECT_FALSE(Cert(sample::with(&P::signature, bits(unhex("00"), 9))));
  EXPECT_EQ(hex(Cert(sample::with(&P::signature, bits(unhex("AAF0"), 4)))->signature), "aa");
}

// What the record says of a key: its type, what it may be used for, by CAs too, and its object.
TEST_F(CertTest, PublicKeys) {
  constexpr char kRsa[] = "1.2.840.113549.1.1.1", kDsa[] = "1.2.840.10040.4.1",
                 kEc[] = "1.2.840.10045.2.1", kX25519[] = "1.3.101.110",
                 kRsaKey[] = "1 f0 f6 if-modn{sign{rsa-pkcs1-md5},encrypt{rsa-pkcs1-none}}";
  const Der kKey = seq({natural(modulus()), integer(3)}), kY = integer(8), kNull = null(),
            kGroup = seq({integer(23), integer(11), integer(4)}),
            kPair = seq({integer(23), integer(11)}), kP256 = oid("1.2.840.10045.3.1.7");
  const auto some = [](size_t count) { return Der(count, 0x5A); };
  const std::string unknown = "public-key algorithm is not known",
                    short_key = "subjectPublicKey has another length than keys of its type",
                    no_key = "subjectPublicKey its elements have a bad header or are cut",
                    no_null = "RSA key has no parameters; a NULL belongs there",
                    no_group = "DSA key an INTEGER belongs there";
  const std::tuple<const char *, Der, Der, std::string, std::string> rows[] = {
      // by modern what is wrong with it or what is said
      {kRsa, integer(5), join({kKey, kNull}), kDecoded, kRsaKey},
      {kRsa, {}, kKey, no_null, kRsaKey},  // as early issuers had it
      {kDsa, kGroup, kY, kDecoded, "2 c0 c6 dl-modp{sign{dsa-nist-sha1}}"},
      {kDsa, {}, kY, kInherited, "2 c0 c6 "},
      {kDsa, kPair, kY, no_group, no_group},
      {"1.2.840.10046.2.1", kGroup, kY, kDecoded, "4 10009 10009 "},
      {"1.2.840.113549.1.3.1", kPair, kY, unknown, "4 10009 10009 "},
      {kRsaSha1, kNull, kKey, unknown, "0 0 0 "},
      {kEc, kP256, some(33), unknown, "5 80c9 80cf "},
      {kEc, kP256, {}, unknown, short_key},
      {"1.3.101.112", {}, some(32), unknown, "6 c0 c6 "},
      {kX25519, {}, some(31), unknown, short_key},
      {kPss, {}, kKey, unknown, "10 c0 c6 "},
  };
  CertParts parts;
  for (const auto &[id, parameters, value, classic, modern] : rows) {
    SCOPED_TRACE(id + std::string(" ") + hex(parameters) + " " + hex(value));
    parts.key = key_info(parameters, value, id);
    EXPECT_EQ(outcome(SSH_X509_CLASSIC, parts), classic);
    const ProfileScope scope(SSH_X509_MODERN);
    const Cert cert(parts.build());
    const SshPublicKeyOwner key(ssh_x509_cert_public_key(cert.record.get()));
    char said[32];
    std::snprintf(said, sizeof said, "%u %x %x ", cert->public_key_type, cert->allowed_usage,
                  cert->allowed_ca_usage);
    EXPECT_EQ(!cert ? reason(cert->refusal)
                    : said + (key ? own_text(ssh_public_key_name(key.get())) : ""),
              modern);
  }
  parts.key = seq({seq({oid(kRsa), kNull}), bits(kKey, 4)});  // 4 bits cut off
  expect({{parts, no_key, no_key}});
}

TEST_F(CertTest, WhatFollowsIsToleratedAndCountedIfGood) {
  const Der whole = CertParts().build();
  EXPECT_EQ(Cert(join({whole, unhex("FF")})).length, whole.size());
  EXPECT_EQ(Cert(join({whole, unhex("050030")})).length, whole.size() + 2);
  EXPECT_TRUE(Cert(join({null(), whole}))) << "reads look forward for the SEQUENCE";
  expect_all<Cert>(false, {{}, Der(SSH_X509_INPUT_MAX + 1)});
}

// An element that can take something away, and that no field takes, refuses the input. Classic
// passes over what has nothing to lose, and finds a part further on; modern over nothing. How the
// modes of reading do that is tested in tests/asn1.
TEST_F(CertTest, WhatIsAcceptedHasBeenReadWhole) {
  const Der known = extension("2.5.29.14", octets(Der{1})), list = seq({known});
  const std::tuple<Der P::*, Der, std::string, std::string> rows[] = {
      {&P::serial, tlv(0x22, integer(5)), "TBSCertificate", "TBSCertificate"},
      {&P::key, join({null(), rsa_key_info()}), "", "TBSCertificate"},
      {&P::outer_algorithm, seq({oid(kRsaSha1), null(), null()}), "", "AlgorithmIdentifier"},
      {&P::unique_ids, wrap(3, join({list, list})), "TBSCertificate", "TBSCertificate"},
      {&P::unique_ids, wrap(3, seq({known, null()})), "Extension", "Extension"},
      {&P::unique_ids, wrap(3, seq({known, {0, 0}})), "", ""},
      {&P::unique_ids, wrap(3, seq({unhex("300E06032A0304 21030101FF 04020500")})), "Extension",
       "Extension"},
  };
  for (const auto &[place, part, classic, modern] : rows) {
    for (const auto profile : {SSH_X509_CLASSIC, SSH_X509_MODERN}) {
      const ProfileScope scope(profile);
      const Cert cert(sample::with(place, part));
      EXPECT_EQ(cert ? "" : cert->refusal.structure, profile ? modern : classic) << hex(part);
    }
  }
}

// The junk is a value that no decoder takes.
TEST_F(CertTest, ExtensionsByKind) {
  const auto junk = [](std::string_view id, bool critical = false) {
    return extension(id, octets(unhex("DEAD")), critical);
  };
  const Der kAttributes = extension("2.5.29.9", seq({seq({oid("2.5.29.9"), set({null()})})}));
  const Der kUnknown = junk("1.2.3.4"), kSecondAttributes = junk("2.5.29.9", true);
  const Der kArc = junk("1.3.6.1.5.5.7.1");  // of the private internet extensions: a kind, unread
  expect_all<Cert>(true, {with({kUnknown, kUnknown}), with({kArc, junk("2.5.29.1")})});
  expect_all<Cert>(false,
                   {with({junk("1.2.3.4", true)}), with({kArc, kArc}),
                    with({junk("1.3.6.1.5.5.7.1", true)}), with({kSecondAttributes, kAttributes})});
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

// The rule, what it is about, and the place of the deepest element that breaks it: `fault` is where
// that begins, in the part that stands in the certificate.
TEST_F(CertTest, RefusalsSayTheRuleAndWhere) {
  const Der kEight = wrap(0, integer(8)), kNull = null(), kTime = text(0x17, "010203040506Z");
  const Der kLow = seq({seq({integer(1), algorithm(kRsaSha1)})});
  const Der kHour24 = text(0x17, "010203240506Z");
  const struct {
    Der whole, fault;
    std::string reason;
    SshX509Found found;
    const char *id = "";
    SshX509Profile profile = SSH_X509_CLASSIC;
  } rows[] = {
      {sample::with(&P::version, kEight), integer(8), "version 0 to 2 are defined",
       SSH_X509_FOUND_VALUE},
      {sample::with(&P::validity, seq({kTime, kNull})), join({kNull, common_name("Subject")}),
       "Validity that is none of the types that belong there", SSH_X509_FOUND_INSIDE},
      {seq({kLow}), seq({kLow}), "Certificate a BIT STRING belongs there", SSH_X509_FOUND_END},
      {with({kKeyUsage, extension("2.5.29.19", set({}))}), set({}),
       "basic constraints a SEQUENCE belongs there", SSH_X509_FOUND_INSIDE, "2.5.29.19"},
      {with({kKeyUsage, kKeyUsage}), kKeyUsage, "extension stands there twice", SSH_X509_FOUND_IT,
       "2.5.29.15"},
      {sample::with(&P::validity, seq({kHour24, kTime})), kHour24,
       "time has hour 24, or a zone that is neither Z nor four digits", SSH_X509_FOUND_IT, "",
       SSH_X509_MODERN},
  };
  expect_all<Cert>(true, {sample::with(&P::validity, seq({kHour24, kTime}))});  // under classic
  for (const auto &row : rows) {
    const ProfileScope scope(row.profile);
    const Cert cert(row.whole);
    EXPECT_EQ(reason(cert->refusal), row.reason);
    EXPECT_EQ(cert->refusal.found, row.found) << row.reason;
    const auto at =
        std::search(row.whole.begin(), row.whole.end(), row.fault.begin(), row.fault.end());
    const auto inside = cert->refusal.offset - static_cast<size_t>(at - row.whole.begin());
    EXPECT_LE(inside, row.fault.size()) << row.reason;
    EXPECT_EQ(hex(cert->refusal.identifier.octets), *row.id ? hex(oid_octets(row.id)) : "");
  }
}

// What is refused shows its other parts: whatever is wrong with one, cut or malformed, the others
// are read.
TEST_F(CertTest, PartsOfWhatIsRefused) {
  const auto read = [](const Der &whole) {
    SshX509CertOwner cert(ssh_x509_cert_allocate());
    ssh_x509_cert_decode_parts(whole, cert.get());
    EXPECT_EQ(cert->version, 0u);
    return cert;
  };
  constexpr uint32_t kAll = 2 * SSH_X509_PART_EXTENSIONS - 1;
  CertParts parts;
  parts.extensions = {kKeyUsage, extension("2.5.29.19", null()),
                      extension("2.5.29.37", seq({oid("1.2.3")}))};
  const Der whole = parts.build();
  const SshX509CertOwner cert = read(whole);
  EXPECT_EQ(cert->parts, kAll);
  EXPECT_TRUE(cert->extended_key_usage && cert->extensions.test(SSH_X509_EXT_KEY_USAGE));
  EXPECT_FALSE(cert->extensions.test(SSH_X509_EXT_BASIC_CONSTRAINTS));
  EXPECT_EQ(decimal(cert->serial) + own_text(ssh_x509_name_text(cert->subject_names)) +
                std::to_string(cert->not_after.year),
            "78187493520CN=Subject2051");

  const struct {
    Der P::*place;
    Der given;
    uint32_t lost;
  } rows[] = {{&P::version, wrap(0, integer(8)), SSH_X509_PART_VERSION},
              {&P::serial, {}, SSH_X509_PART_SERIAL},
              {&P::issuer, seq({null()}), SSH_X509_PART_ISSUER},
              {&P::validity, seq({null(), text(0x18, "20510203040506Z")}), SSH_X509_PART_START},
              {&P::subject, {0x30, 3, 0x31, 5, 0}, SSH_X509_PART_SUBJECT},  // cut inside
              {&P::key, null(), SSH_X509_PART_KEY},
              {&P::version, wrap(0, integer(0x100000002)), SSH_X509_PART_VERSION},
              {&P::validity, null(), SSH_X509_PART_START | SSH_X509_PART_END},
              {&P::unique_ids, {0x81, 0x80}, 0},  // primitive, without a length: it holds nothing
              {&P::signature, null(), SSH_X509_PART_SIGNATURE}};
  for (const auto &row : rows) {
    CertParts wrong = parts;
    wrong.*row.place = row.given;
    EXPECT_EQ(read(wrong.build())->parts, kAll & ~row.lost) << hex(row.given);
  }
  uint32_t before = 0;
  for (size_t size = 0; size < whole.size(); ++size) {  // what was read of less is read of more
    const uint32_t read_now =
        read(Der(whole.begin(), whole.begin() + static_cast<long>(size)))->parts;
    EXPECT_EQ(before & ~read_now, 0u) << size;
    before = read_now;
  }
  EXPECT_EQ(before, kAll & ~SSH_X509_PART_SIGNATURE);
}

}  // namespace
