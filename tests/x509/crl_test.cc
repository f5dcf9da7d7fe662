#include "x509/crl.h"

#include "support/samples.h"

namespace {

using namespace der;
using namespace sample;
using CrlTest = sample::Balanced;

const Der kNumber = extension("2.5.29.20", integer(7)), kJunk = octets(unhex("DEAD"));
const Der kReason1 = extension("2.5.29.21", {0x0A, 1, 1}), kDate = text(0x17, "020304050607Z");
const Der kHold = extension("2.5.29.23", oid("1.2.840.10040.2.1"));
const Der kInvalidity = extension("2.5.29.24", text(0x18, "20020101000000Z"));
const Der kEntryIssuer = extension("2.5.29.29", seq({wrap(4, common_name("X"))}), true);
const Der kUnknown = extension("1.2.3.4", kJunk), kJunkKind = extension("2.5.29.9", kJunk);

Der entries(const std::vector<Der> &list) { return with(&CrlParts::entries, list); }
Der extensions(const std::vector<Der> &list) { return with(&CrlParts::extensions, list); }

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
TEST_F(CrlTest, Structure) {
  CrlParts parts;
  parts.version = {};
  parts.extensions = {kNumber};
  EXPECT_EQ(Crl(parts.build())->version, 2u) << "no version, but extensions";
  // What the signature is made with is not compared; it needs no next update.
  expect_all<Crl>(true, {with(&CrlParts::inner_algorithm, null()), with(&CrlParts::next_update, {}),
                         with(&CrlParts::outer_algorithm, algorithm(kDsaSha1))});
  // A time of hour 24 is one under classic only, wherever it stands.
  const Der kLate = text(0x18, "20010203240506Z"), kOdd = extension("2.5.29.24", kLate);
  const std::vector<Der> late = {with(&CrlParts::next_update, kLate), entries({entry(1, {kOdd})}),
                                 entries({seq({integer(1), kLate})})};
  expect_all<Crl>(true, late);
  {
    const ProfileScope modern(SSH_X509_MODERN);  // the version is what the CRL says
    expect_all<Crl>(false, late);
    EXPECT_EQ(Crl(parts.build())->version, 1u);
    EXPECT_EQ(Crl(with(&CrlParts::version, integer(0)))->version, 1u);
  }
  expect_all<Crl>(
      false, {with(&CrlParts::version, integer(0)), with(&CrlParts::version, integer(0x100000001)),
              with(&CrlParts::next_update, text(0x18, "2")),
              with(&CrlParts::revoked, join({seq({}), seq({entry(1)})})),
              with(&CrlParts::revoked, set({entry(1)})),
              with(&CrlParts::revoked, join({seq({}), unhex("A080 0500 0000")}))});
  // Reading the place of an issuing distribution point takes the issuer's entry, unlike that of a
  // certificate's distribution point.
  const Der kUnit = set({attribute("2.5.4.11", text(0x13, "Unit"))});
  parts.extensions = {extension("2.5.29.28", seq({wrap(0, wrap(1, kUnit))}))};
  EXPECT_EQ(Crl(parts.build())->issuer_names->taken, 1u);
  parts.issuer = seq({});
  EXPECT_FALSE(Crl(parts.build())) << "nothing to be relative to";
}

TEST_F(CrlTest, Entries) {
  const Der kOne = integer(1);
  const std::tuple<const char *, Der, std::string> rows[] = {
      // what is seen; empty: refused
      {"an unknown one twice", seq({kOne, text(0x17, "0203040506Z"), seq({kUnknown, kUnknown})}),
       "1"},
      {"reason 7", entry(1, {extension("2.5.29.21", {0x0A, 1, 7})}), ""},
      {"reason 9", entry(1, {extension("2.5.29.21", {0x0A, 1, 9})}), ""},
      {"a reason that is no ENUMERATED", entry(1, {extension("2.5.29.21", integer(1))}), ""},
      {"a UTCTime", entry(1, {extension("2.5.29.24", text(0x17, "020101000000Z"))}), ""},
      {"a constructed number", seq({tlv(0x22, kOne), kDate}), ""},
      {"a constructed date", seq({kOne, tlv(0x37, kDate)}), ""},
      {"two lists of extensions", seq({kOne, kDate, seq({}), seq({})}), ""},
      {"no issuer", entry(1, {extension("2.5.29.29", seq({null()}))}), ""},
      {"a date that is a string", seq({kOne, text(0x13, "020304050607Z")}), ""},
      {"a date with a blank", seq({kOne, text(0x17, "0203040506 7Z")}), "1"},
      {"a date in month 13", seq({kOne, text(0x17, "021304050607Z")}), ""},
      {"a date longer than it says", seq({kOne, unhex("170C3032303330343035303630375A")}), ""},
      {"a number with a long length", seq({unhex("02810101"), kDate}), "1"},
      {"nothing", seq({}), ""},
      {"more than there is", unhex("307F020101"), ""},
      {"a reason of 33 bits", entry(1, {extension("2.5.29.21", unhex("0A050100000001"))}), ""},
      {"reason 1 twice", entry(1, {kReason1, kReason1}), ""},
      {"an unknown critical one", entry(1, {extension("1.2.3.4", kJunk, true)}), ""},
  };
  for (const auto &[why, odd, wanted] : rows) {
    const Crl crl(entries({entry(8), odd, entry(9)}));
    EXPECT_EQ(crl ? seen(*crl) : "", wanted.empty() ? "" : "8 " + wanted + " 9") << why;
  }
  for (const uint8_t reason : {uint8_t{10}, uint8_t{11}}) {  // modern has two more
    const ProfileScope modern(SSH_X509_MODERN);
    const Crl crl(entries({entry(1, {extension("2.5.29.21", {0x0A, 1, reason})})}));
    EXPECT_EQ(crl ? seen(*crl) : "", reason == 10 ? "1:10" : "");
  }
  // In a CRL subject directory attributes may not stand twice, unlike in a certificate.
  expect_all<Crl>(true, {extensions({kUnknown, kUnknown})});
  expect_all<Crl>(
      false, {extensions({kJunkKind, kJunkKind}), extensions({extension("1.2.3.4", kJunk, true)})});
}

// One entry's extensions must not be seen in the next one, whichever way it is read.
TEST_F(CrlTest, EntriesDoNotLeakIntoEachOther) {
  const Der full =
      entry(1, {extension("2.5.29.21", {0x0A, 1, 4}, true), kHold, kInvalidity, kEntryIssuer});
  const Der plain = entry(2), plain_long = entry(2, {extension("1.2.3.4", null())});
  const Crl crl(entries({full, plain, entry(3, {kReason1}), plain, full, plain_long, full, plain}));
  ASSERT_TRUE(crl);
  const std::string kFull = "1:4!,1.2.840.10040.2.1,2002,CN=X";
  EXPECT_EQ(seen(*crl), kFull + " 2 3:1 2 " + kFull + " 2 " + kFull + " 2");
}

}  // namespace
