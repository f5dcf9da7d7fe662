#include "x509/crl.h"

#include <gtest/gtest.h>

#include "support/samples.h"

namespace {

using namespace der;
using namespace sample;
using CrlTest = sample::Balanced;
using P = CrlParts;

const Der kNumber = extension("2.5.29.20", integer(7)), kJunk = octets(unhex("DEAD"));
const Der kReason1 = extension("2.5.29.21", {0x0A, 1, 1}), kDate = text(0x17, "020304050607Z");
const Der kHold = extension("2.5.29.23", oid("1.2.840.10040.2.1"));
const Der kInvalidity = extension("2.5.29.24", text(0x18, "20020101000000Z"));
const Der kIssuer = extension("2.5.29.29", seq({wrap(4, common_name("X"))}), true);
const Der kUnknown = extension("1.2.3.4", kJunk), kJunkKind = extension("2.5.29.9", kJunk);

Der entries(const std::vector<Der> &list) { return with(&P::entries, list); }
Der extensions(const std::vector<Der> &list) { return with(&P::extensions, list); }
Der of_entry(const std::vector<Der> &list) { return entries({entry(1), entry(2, list)}); }

// seen walks over the entries, and shows what their extensions hold.
std::string seen(const SshX509Crl &crl) {
  std::string all;
  SshX509RevokedCursor cursor(crl);
  while (cursor.next()) {
    const SshX509RevokedEntry &e = cursor.entry();
    all += (all.empty() ? "" : " ") + decimal(e.serial);
    if (e.extensions.test(SSH_X509_EXT_REASON_CODE) || e.reason)
      all += ":" + std::to_string(e.reason);
    if (e.extensions.critical(SSH_X509_EXT_REASON_CODE)) all += "!";
    if (e.hold_instruction) all += "," + dotted(e.hold_instruction);
    if (e.invalidity_date.year) all += "," + std::to_string(e.invalidity_date.year);
    if (e.certificate_issuer) all += "," + own_text(ssh_x509_name_text(e.certificate_issuer));
  }
  EXPECT_FALSE(cursor.next());
  return all;
}

// Most fields are held against those of real CRLs in tests/corpus.
TEST_F(CrlTest, ReadsTheSample) {
  CrlParts parts;
  parts.entries = {entry(5), entry(-6, {kReason1}), entry(7)};
  parts.extensions = {kNumber};
  parts.signature = bits(unhex("AABBF0"), 4);
  const Der whole = parts.build();
  const Crl crl(join({whole, unhex("050030")}));
  ASSERT_TRUE(crl);
  EXPECT_EQ(crl.length, whole.size() + 2);
  EXPECT_STREQ(crl->signature_scheme, "rsa-pkcs1-sha1");
  EXPECT_EQ(crl->signature_key_type, 1u);
  EXPECT_EQ(hex(crl->signature), "aabb");
  EXPECT_EQ(hex(crl->signed_data), hex(children(children(whole)[0].content)[0].whole));
  EXPECT_EQ(crl->delta_crl, SshMpInt(-1));
  EXPECT_FALSE(crl->issuing_point);
  EXPECT_EQ(crl->revoked_count, 3u);
  EXPECT_EQ(seen(*crl), "5 -6:1 7");
  SshX509RevokedCursor cursor(*crl);
  for (const Der &expected : parts.entries) {
    ASSERT_TRUE(cursor.next());
    EXPECT_EQ(hex(cursor.entry().der), hex(expected));
    EXPECT_EQ(cursor.entry().date, (SshBerTime{2002, 3, 4, 5, 6, 7}));
  }
}

TEST_F(CrlTest, Structure) {
  const Der kDsa = algorithm(kDsaSha1);
  EXPECT_EQ(Crl(with(&P::version, {}))->version, 1u);
  CrlParts parts;
  parts.version = {};
  parts.extensions = {kNumber};
  EXPECT_EQ(Crl(parts.build())->version, 2u) << "no version, but extensions";
  const Crl dsa(with(&P::outer_algorithm, kDsa)), last(with(&P::next_update, {}));
  EXPECT_EQ(hex(dsa->signature), "00112233445566778899") << "stays as it is";
  ASSERT_TRUE(last);
  EXPECT_EQ(last->next_update, SshBerTime{});
  expect_all<Crl>(true,
                  {with(&P::inner_algorithm, algorithm("1.2.3")), with(&P::inner_algorithm, null()),
                   with(&P::outer_algorithm, algorithm("1.3.14.7.2.3.2")),  // ElGamal
                   with(&P::issuer, seq({})), with(&P::revoked, seq({})),
                   with(&P::extensions_wrapper, wrap(0, seq({})))});
  expect_all<Crl>(false, {with(&P::version, integer(0)), with(&P::version, integer(2)),
                          with(&P::version, integer(0x100000001)),
                          with(&P::outer_algorithm, algorithm("1.2.3")),
                          with(&P::this_update, text(0x17, "01")), with(&P::issuer, seq({null()})),
                          with(&P::next_update, text(0x18, "20019999")), with(&P::signature, {}),
                          Der{}, Der(SSH_X509_INPUT_MAX + 1)});
  // Reading the place of an issuing distribution point takes the issuer's entry, unlike that of a
  // certificate's distribution point.
  const Der kUnit = set({attribute("2.5.4.11", text(0x13, "Unit"))});
  parts.extensions = {extension("2.5.29.28", seq({wrap(0, wrap(1, kUnit))}))};
  EXPECT_EQ(Crl(parts.build())->issuer_names->taken, 1u);
  parts.issuer = seq({});
  EXPECT_FALSE(Crl(parts.build())) << "nothing to be relative to";
}

TEST_F(CrlTest, Entries) {
  SshMpInt huge;
  huge.set_magnitude(Der(200, 0x80));
  const Der kLong = seq({natural(Der(200, 0x80)), kDate}), kOne = integer(1);
  const struct {
    const char *why;
    Der entry;
    std::string seen;  // empty: refused
  } rows[] = {
      {"a GeneralizedTime", seq({kOne, text(0x18, "20020304050607Z")}), "1"},
      {"a time without seconds", seq({kOne, text(0x17, "0203040506Z")}), "1"},
      {"an empty INTEGER", seq({{2, 0}, kDate}), "0"},
      {"an empty list of extensions", seq({kOne, kDate, seq({})}), "1"},
      {"a long reason", entry(1, {extension("2.5.29.21", {0x0A, 2, 0, 3})}), "1:3"},
      {"a long serial number", kLong, decimal(huge)},
      {"no date", seq({kOne}), ""},
      {"no serial number", seq({kDate}), ""},
      {"month 13", seq({kOne, text(0x17, "021304050607Z")}), ""},
      {"a date that is a string", seq({kOne, text(0x13, "020304050607Z")}), ""},
      {"reason 1 twice", entry(1, {kReason1, kReason1}), ""},
      {"an unread kind twice", entry(1, {kJunkKind, kJunkKind}), ""},
      {"an unknown one twice", entry(1, {kUnknown, kUnknown}), "1"},
      {"an unknown critical one", entry(1, {extension("1.2.3.4", kJunk, true)}), ""},
  };
  for (const auto &row : rows) {
    const Crl crl(entries({entry(8), row.entry, entry(9)}));
    EXPECT_EQ(crl ? seen(*crl) : "", row.seen.empty() ? "" : "8 " + row.seen + " 9") << row.why;
  }
  // In a CRL subject directory attributes may not stand twice, unlike in a certificate.
  expect_all<Crl>(true, {extensions({kUnknown, kUnknown})});
  expect_all<Crl>(false, {extensions({kNumber, kNumber}), extensions({kJunkKind, kJunkKind}),
                          extensions({extension("1.2.3.4", kJunk, true)})});
}

// One entry's extensions must not be seen in the next one, whichever way it is read.
TEST_F(CrlTest, EntriesDoNotLeakIntoEachOther) {
  const Der full =
      entry(1, {extension("2.5.29.21", {0x0A, 1, 4}, true), kHold, kInvalidity, kIssuer});
  const Der plain = entry(2), plain_long = entry(2, {extension("1.2.3.4", null())});
  const Crl crl(entries({full, plain, entry(3, {kReason1}), plain, full, plain_long, full, plain}));
  ASSERT_TRUE(crl);
  const std::string kFull = "1:4!,1.2.840.10040.2.1,2002,CN=X";
  EXPECT_EQ(seen(*crl), kFull + " 2 3:1 2 " + kFull + " 2 " + kFull + " 2");
}

TEST_F(CrlTest, RefusalsSayWhere) {
  const Der kReason7 = entry(9, {extension("2.5.29.21", {0x0A, 1, 7})}), kCut = seq({integer(77)});
  const Der kCritical = extension("1.2.3.4", null(), true), kOther = algorithm("1.2.3.5");
  const struct {
    Der whole, fault;
    const char *id;
  } rows[] = {
      {entries({entry(1), entry(2, {kReason1}), kReason7, entry(3)}), kReason7, "2.5.29.21"},
      {of_entry({kCritical}), kCritical, "1.2.3.4"},
      {entries({entry(1), kCut, entry(2)}), kCut, ""},
      {with(&P::outer_algorithm, kOther), kOther, "1.2.3.5"},
  };
  for (const auto &row : rows)
    expect_refusal_at(Crl(row.whole)->refusal, row.whole, row.fault, row.id);
}

}  // namespace
