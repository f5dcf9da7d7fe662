#include "x509/crl.h"

#include <gtest/gtest.h>

#include "support/samples.h"

namespace {

using sample::Crl;
using sample::CrlParts;
using sample::entry;
using sample::extension;
using CrlTest = sample::Balanced;

const Der kNumber = extension("2.5.29.20", der::integer(7));
const Der kReason1 = extension("2.5.29.21", {0x0A, 1, 1});

// serials walks over the entries: "12 13".
std::string serials(const SshX509Crl &crl) {
  std::string text;
  SshX509RevokedCursor cursor(crl);
  while (cursor.next()) text += (text.empty() ? "" : " ") + sample::decimal(cursor.entry().serial);
  return text;
}

TEST_F(CrlTest, ReadsEveryFieldOfTheSample) {
  CrlParts parts;
  parts.entries = {entry(5), entry(-6, {kReason1}), entry(7)};
  parts.extensions = {kNumber};
  parts.signature = der::bits(unhex("AABBF0"), 4);
  const Der octets = parts.build();
  const Crl crl(octets);
  ASSERT_TRUE(crl);
  EXPECT_EQ(crl.length, octets.size());
  EXPECT_EQ(crl->version, 2u);
  EXPECT_EQ(crl->this_update, (SshBerTime{2001, 2, 3, 4, 5, 6}));
  EXPECT_EQ(crl->next_update, (SshBerTime{2051, 2, 3, 4, 5, 6}));
  EXPECT_EQ(std::string(crl->signature_scheme), "rsa-pkcs1-sha1");
  EXPECT_EQ(crl->signature_key_type, 1u);
  EXPECT_EQ(hex(crl->signature), "aabb");
  EXPECT_EQ(hex(crl->der), hex(octets));
  EXPECT_EQ(hex(crl->signed_data), hex(der::children(der::children(octets)[0].content)[0].whole));
  EXPECT_EQ(crl->crl_number, SshMpInt(7));
  EXPECT_EQ(crl->delta_crl, SshMpInt(-1));
  EXPECT_FALSE(crl->issuing_point);
  EXPECT_EQ(sample::own_text(ssh_x509_name_text(crl->issuer_names)), "CN=Issuer");
  EXPECT_EQ(crl->revoked_count, 3u);
  EXPECT_EQ(serials(*crl), "5 -6 7");

  SshX509RevokedCursor cursor(*crl);
  for (const Der &expected : parts.entries) {
    ASSERT_TRUE(cursor.next());
    EXPECT_EQ(hex(cursor.entry().der), hex(expected));
    EXPECT_EQ(cursor.entry().date, (SshBerTime{2002, 3, 4, 5, 6, 7}));
    const bool has_reason = cursor.entry().extensions.test(SSH_X509_EXT_REASON_CODE);
    EXPECT_EQ(has_reason, cursor.entry().serial.negative());
    EXPECT_EQ(cursor.entry().reason, has_reason ? 1u : 0u);
  }
  EXPECT_FALSE(cursor.next());
  EXPECT_FALSE(cursor.next());
}

TEST_F(CrlTest, Structure) {
  const struct {
    const char *why;
    void (*edit)(CrlParts &);
    uint32_t version;  // 0: refused
  } rows[] = {
      {"version 2", [](CrlParts &) {}, 2},
      {"no version and no extensions: 1", [](CrlParts &p) { p.version = {}; }, 1},
      {"no version but extensions: 2",
       [](CrlParts &p) { p.version = {}, p.extensions = {kNumber}; }, 2},
      {"version 1 written out", [](CrlParts &p) { p.version = der::integer(0); }, 0},
      {"version 3", [](CrlParts &p) { p.version = der::integer(2); }, 0},
      {"2^32 + 1", [](CrlParts &p) { p.version = der::integer(0x100000001); }, 0},
      {"the inner algorithm differs",
       [](CrlParts &p) { p.inner_algorithm = sample::algorithm("1.2.3"); }, 2},
      {"the inner algorithm is anything", [](CrlParts &p) { p.inner_algorithm = der::null(); }, 2},
      {"an unknown outer algorithm",
       [](CrlParts &p) { p.outer_algorithm = sample::algorithm("1.2.3"); }, 0},
      {"a DSA signature stays as it is",
       [](CrlParts &p) { p.outer_algorithm = sample::algorithm(sample::kDsaSha1); }, 2},
      {"an ElGamal signature",
       [](CrlParts &p) { p.outer_algorithm = sample::algorithm("1.3.14.7.2.3.2"); }, 2},
      {"no next update", [](CrlParts &p) { p.next_update = {}; }, 2},
      {"no update at all", [](CrlParts &p) { p.this_update = p.next_update = {}; }, 0},
      {"a bad this update", [](CrlParts &p) { p.this_update = der::text(0x17, "01"); }, 0},
      {"a bad next update", [](CrlParts &p) { p.next_update = der::text(0x18, "20019999"); }, 0},
      {"an empty issuer", [](CrlParts &p) { p.issuer = der::seq({}); }, 2},
      {"a bad issuer", [](CrlParts &p) { p.issuer = der::seq({der::null()}); }, 0},
      {"an empty list of entries", [](CrlParts &p) { p.revoked = der::seq({}); }, 2},
      {"an empty list of extensions",
       [](CrlParts &p) { p.extensions_wrapper = der::wrap(0, der::seq({})); }, 2},
      {"extensions of indefinite length",
       [](CrlParts &p) { p.extensions_wrapper = der::indefinite(0xA0, {der::seq({kNumber})}); }, 0},
      {"a list of extensions of indefinite length",
       [](CrlParts &p) { p.extensions_wrapper = der::wrap(0, der::indefinite(0x30, {kNumber})); },
       0},
      {"no signature", [](CrlParts &p) { p.signature = {}; }, 0},
  };
  for (const auto &row : rows) {
    CrlParts parts;
    row.edit(parts);
    const Crl crl(parts.build());
    EXPECT_EQ(crl->version, row.version) << row.why << ": " << (crl ? "" : crl->refusal.structure);
  }
  CrlParts parts;
  parts.outer_algorithm = sample::algorithm(sample::kDsaSha1);
  EXPECT_EQ(hex(Crl(parts.build())->signature), "00112233445566778899");
  parts.next_update = {};
  EXPECT_EQ(Crl(parts.build())->next_update, SshBerTime{});
  EXPECT_EQ(Crl(der::join({parts.build(), unhex("050030")})).length, parts.build().size() + 2);
  EXPECT_FALSE(Crl(Bytes{}));
  EXPECT_FALSE(Crl(sample::CertParts().build()));
}

TEST_F(CrlTest, Entries) {
  static const Der kDate = der::text(0x17, "020304050607Z");
  const struct {
    const char *why;
    std::vector<Der> entries;
    const char *serials;  // null: refused
  } rows[] = {
      {"one", {entry(1)}, "1"},
      {"a GeneralizedTime", {der::seq({der::integer(1), der::text(0x18, "20020304050607Z")})}, "1"},
      {"a time without seconds",
       {der::seq({der::integer(1), der::text(0x17, "0203040506Z")})},
       "1"},
      {"a long serial number",
       {entry(1), der::seq({der::natural(Der(200, 0x80)), kDate}), entry(2)},
       nullptr},
      {"an empty INTEGER", {der::seq({{2, 0}, kDate})}, "0"},
      {"a NULL, which reads as the entry after it", {entry(1), der::null(), entry(2)}, "1 2 2"},
      {"a NULL at the end", {entry(1), der::null()}, nullptr},
      {"no date", {der::seq({der::integer(1)})}, nullptr},
      {"no serial number", {der::seq({kDate})}, nullptr},
      {"a bad month",
       {entry(1), der::seq({der::integer(1), der::text(0x17, "021304050607Z")})},
       nullptr},
      {"a date as text", {der::seq({der::integer(1), der::text(0x13, "020304050607Z")})}, nullptr},
      {"extensions that are none", {der::seq({der::integer(1), kDate, der::null()})}, nullptr},
      {"an empty list of extensions", {der::seq({der::integer(1), kDate, der::seq({})})}, "1"},
      {"what follows the extensions",
       {der::seq({der::integer(1), kDate, der::seq({}), der::null()})},
       "1"},
      {"an entry of indefinite length", {der::indefinite(0x30, {der::integer(1), kDate})}, nullptr},
  };
  for (const auto &row : rows) {
    CrlParts parts;
    parts.entries = row.entries;
    const Crl crl(parts.build());
    if (row.serials) {
      EXPECT_TRUE(crl) << row.why;
      EXPECT_EQ(serials(*crl), row.serials) << row.why;
      EXPECT_EQ(crl->revoked_count,
                1 + static_cast<size_t>(
                        std::count(row.serials, row.serials + std::strlen(row.serials), ' ')));
    } else if (std::string_view(row.why) != "a long serial number") {
      EXPECT_FALSE(crl) << row.why;
    } else {
      ASSERT_TRUE(crl) << row.why;
      EXPECT_EQ(serials(*crl).size(), 2 + 2 + 482);  // 1600 bits
    }
  }
}

TEST_F(CrlTest, EntryExtensions) {
  static const Der kJunk = der::octets(unhex("DEAD"));
  const auto reason = [](int code) {
    return extension("2.5.29.21", der::retag(0x0A, der::integer(code)));
  };
  const struct {
    const char *why;
    std::vector<Der> extensions;
    bool accepted;
  } rows[] = {
      {"reason 0", {reason(0)}, true},
      {"reason 6", {reason(6)}, true},
      {"reason 7 is no reason", {reason(7)}, false},
      {"reason 8", {reason(8)}, true},
      {"reason 9", {reason(9)}, false},
      {"reason -1", {reason(-1)}, false},
      {"reason 256", {reason(256)}, false},
      {"a reason in two octets", {extension("2.5.29.21", {0x0A, 2, 0, 3})}, true},
      {"an INTEGER is no reason", {extension("2.5.29.21", der::integer(1))}, false},
      {"a reason twice", {reason(1), reason(1)}, false},
      {"a critical reason", {extension("2.5.29.21", {0x0A, 1, 1}, true)}, true},
      {"a hold instruction", {extension("2.5.29.23", der::oid("1.2.840.10040.2.1"))}, true},
      {"a bad hold instruction", {extension("2.5.29.23", der::null())}, false},
      {"an invalidity date", {extension("2.5.29.24", der::text(0x18, "20020101000000Z"))}, true},
      {"an invalidity date in UTCTime",
       {extension("2.5.29.24", der::text(0x17, "020101000000Z"))},
       false},
      {"a certificate issuer",
       {extension("2.5.29.29", der::seq({der::wrap(4, der::common_name("X"))}), true)},
       true},
      {"a bad certificate issuer", {extension("2.5.29.29", der::seq({der::null()}))}, false},
      {"unknown", {extension("1.2.3.4", kJunk)}, true},
      {"unknown and critical", {extension("1.2.3.4", kJunk, true)}, false},
      {"of certificates", {extension("2.5.29.15", kJunk)}, true},
      {"of certificates, critical", {extension("2.5.29.15", der::bits({0x80}), true)}, false},
      {"of certificates, twice",
       {extension("2.5.29.15", kJunk), extension("2.5.29.15", kJunk)},
       false},
      {"attributes twice", {extension("2.5.29.9", kJunk), extension("2.5.29.9", kJunk)}, false},
      {"of CRLs, critical", {extension("2.5.29.20", der::integer(1), true)}, false},
      {"what may occur, twice", {extension("2.5.29.1", kJunk), extension("2.5.29.1", kJunk)}, true},
      {"a NULL before a reason", {der::null(), reason(1)}, false},
  };
  for (const auto &row : rows) {
    CrlParts parts;
    parts.entries = {entry(1), entry(2, row.extensions)};
    EXPECT_EQ(static_cast<bool>(Crl(parts.build())), row.accepted) << row.why;
  }
}

// One entry's extensions must not be seen in the next one, whichever way it is read.
TEST_F(CrlTest, EntriesDoNotLeakIntoEachOther) {
  CrlParts parts;
  const Der full =
      entry(1, {extension("2.5.29.21", {0x0A, 1, 4}, true),
                extension("2.5.29.23", der::oid("1.2.840.10040.2.1")),
                extension("2.5.29.24", der::text(0x18, "20020101000000Z")),
                extension("2.5.29.29", der::seq({der::wrap(4, der::common_name("X"))}), true)});
  const Der plain = entry(2), plain_long = entry(2, {extension("1.2.3.4", der::null())});
  parts.entries = {full, plain, entry(3, {kReason1}), plain, full, plain_long, full, plain};
  const Crl crl(parts.build());
  ASSERT_TRUE(crl);
  SshX509RevokedCursor cursor(*crl);
  std::string seen;
  while (cursor.next()) {
    const SshX509RevokedEntry &e = cursor.entry();
    seen += sample::decimal(e.serial) + ":" + std::to_string(e.reason);
    if (e.extensions.test(SSH_X509_EXT_REASON_CODE)) seen += "r";
    if (e.extensions.critical(SSH_X509_EXT_REASON_CODE)) seen += "!";
    if (e.hold_instruction) seen += " " + sample::dotted(e.hold_instruction);
    if (e.invalidity_date.year) seen += " " + std::to_string(e.invalidity_date.year);
    if (e.certificate_issuer)
      seen += " " + sample::own_text(ssh_x509_name_text(e.certificate_issuer));
    seen += "\n";
  }
  const std::string kFull = "1:4r! 1.2.840.10040.2.1 2002 CN=X\n", kPlain = "2:0\n";
  EXPECT_EQ(seen, kFull + kPlain + "3:1r\n" + kPlain + kFull + kPlain + kFull + kPlain);
}

TEST_F(CrlTest, CrlExtensions) {
  static const Der kJunk = der::octets(unhex("DEAD"));
  const struct {
    const char *why;
    std::vector<Der> extensions;
    bool accepted;
  } rows[] = {
      {"a number", {kNumber}, true},
      {"two numbers", {kNumber, kNumber}, false},
      {"a number that is none", {extension("2.5.29.20", der::null())}, false},
      {"a critical delta indicator", {extension("2.5.29.27", der::integer(1), true)}, true},
      {"an authority key identifier", {extension("2.5.29.35", der::seq({}))}, true},
      {"a bad authority key identifier", {extension("2.5.29.35", der::set({}))}, false},
      {"an issuer's other name",
       {extension("2.5.29.18", der::seq({der::text(0x82, "dns")}))},
       true},
      {"a bad issuer's other name",
       {extension("2.5.29.18", der::seq({der::text(0x0C, "dns")}))},
       false},
      {"a subject's other name, unread", {extension("2.5.29.17", kJunk)}, true},
      {"a critical subject's other name", {extension("2.5.29.17", der::seq({}), true)}, false},
      {"attributes twice: no exception in CRLs",
       {extension("2.5.29.9", kJunk), extension("2.5.29.9", kJunk)},
       false},
      {"a reason for the whole list", {extension("2.5.29.21", kJunk)}, true},
      {"a critical reason for the whole list", {extension("2.5.29.21", {0x0A, 1, 1}, true)}, false},
      {"unknown", {extension("2.5.29.60", kJunk)}, true},
      {"unknown, critical", {extension("2.5.29.60", kJunk, true)}, false},
      {"what may occur, twice", {extension("2.5.29.1", kJunk), extension("2.5.29.1", kJunk)}, true},
  };
  for (const auto &row : rows) {
    CrlParts parts;
    parts.extensions = row.extensions;
    EXPECT_EQ(static_cast<bool>(Crl(parts.build())), row.accepted) << row.why;
  }
  CrlParts parts;
  parts.extensions = {extension("2.5.29.18", der::seq({der::text(0x82, "dns")})),
                      extension("2.5.29.27", der::integer(-5), true)};
  const Crl crl(parts.build());
  ASSERT_TRUE(crl);
  EXPECT_EQ(crl->delta_crl, SshMpInt(-5));
  EXPECT_TRUE(crl->extensions.critical(SSH_X509_EXT_DELTA_CRL_INDICATOR));
  EXPECT_EQ(crl->issuer_names->type, SSH_X509_NAME_DNS);
  EXPECT_EQ(crl->issuer_names->next->type, SSH_X509_NAME_DN);
}

TEST_F(CrlTest, IssuingDistributionPoints) {
  const Der kPair = der::attribute("2.5.4.11", der::text(0x13, "Unit"));
  CrlParts parts;
  parts.extensions = {extension(
      "2.5.29.28",
      der::seq({der::wrap(0, der::wrap(1, der::set({kPair}))), der::retag(0x81, der::boolean(true)),
                der::retag(0x83, der::bits({0x60, 0x80}, 7)),
                der::retag(0x84, der::boolean(true))}))};
  const Crl crl(parts.build());
  ASSERT_TRUE(crl && crl->issuing_point);
  const SshX509IssuingDistPoint &point = *crl->issuing_point;
  EXPECT_TRUE(point.only_user_certs && point.indirect_crl && !point.only_ca_certs);
  EXPECT_EQ(point.only_some_reasons, 0x8060u);
  // Expanding a relative name takes the issuer's entry, which a certificate's distribution point
  // leaves alone.
  EXPECT_EQ(crl->issuer_names->taken, 1u);
  SshDN dn = {};
  ASSERT_TRUE(ssh_x509_point_name_expand(point.name, &dn));
  EXPECT_EQ(sample::own_text(ssh_dn_encode_ldap(&dn)), "CN=Issuer, OU=Unit");
  ssh_dn_clear(&dn);

  parts.issuer = der::seq({});
  EXPECT_FALSE(Crl(parts.build())) << "nothing to be relative to";
  parts.extensions = {extension(
      "2.5.29.28", der::seq({der::wrap(0, der::tlv(0xA0, der::text(0x86, "http://x")))}))};
  const Crl full(parts.build());
  ASSERT_TRUE(full && full->issuing_point);
  EXPECT_EQ(sample::own_text(ssh_x509_name_text(full->issuing_point->name.full)), "http://x");
  EXPECT_FALSE(ssh_x509_point_name_expand(full->issuing_point->name, &dn));
  parts.extensions = {extension("2.5.29.28", der::seq({der::retag(0x81, {1, 2, 0, 0})}))};
  EXPECT_FALSE(Crl(parts.build())) << "a BOOLEAN of two octets";
}

TEST_F(CrlTest, RefusalsSayWhere) {
  CrlParts parts;
  const Der bad = entry(9, {extension("2.5.29.21", {0x0A, 1, 7})});
  parts.entries = {entry(1), entry(2, {kReason1}), bad, entry(3)};
  Der octets = parts.build();
  sample::expect_refusal_at(Crl(octets)->refusal, octets, bad, "2.5.29.21");

  const Der critical = extension("1.2.3.4", der::null(), true);
  parts.entries = {entry(1), entry(2, {critical})};
  octets = parts.build();
  sample::expect_refusal_at(Crl(octets)->refusal, octets, critical, "1.2.3.4");

  const Der cut = der::seq({der::integer(77)});
  parts.entries = {entry(1), cut, entry(2)};
  octets = parts.build();
  sample::expect_refusal_at(Crl(octets)->refusal, octets, cut, "");

  parts.entries = {};
  parts.outer_algorithm = sample::algorithm("1.2.840.10045.4.3.2");
  octets = parts.build();
  sample::expect_refusal_at(Crl(octets)->refusal, octets, parts.outer_algorithm,
                            "1.2.840.10045.4.3.2");
}

}  // namespace
