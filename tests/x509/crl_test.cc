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

// with gives the sample with one part, its entries or its extensions replaced.
template <class Part>
Der with(Part P::*part, const Part &value) {
  CrlParts parts;
  parts.*part = value;
  return parts.build();
}
Der entries(const std::vector<Der> &list) { return with(&P::entries, list); }
Der extensions(const std::vector<Der> &list) { return with(&P::extensions, list); }
Der of_entry(const std::vector<Der> &list) { return entries({entry(1), entry(2, list)}); }

void expect_all(bool accepted, const std::vector<Der> &inputs) {
  for (size_t i = 0; i < inputs.size(); ++i)
    EXPECT_EQ(static_cast<bool>(Crl(inputs[i])), accepted) << "input " << i << " from 0";
}

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

TEST_F(CrlTest, ReadsEveryFieldOfTheSample) {
  CrlParts parts;
  parts.entries = {entry(5), entry(-6, {kReason1}), entry(7)};
  parts.extensions = {kNumber};
  parts.signature = bits(unhex("AABBF0"), 4);
  const Der whole = parts.build();
  const Crl crl(join({whole, unhex("050030")}));
  ASSERT_TRUE(crl);
  EXPECT_EQ(crl.length, whole.size() + 2);
  EXPECT_EQ(crl->version, 2u);
  EXPECT_EQ(crl->this_update, (SshBerTime{2001, 2, 3, 4, 5, 6}));
  EXPECT_EQ(crl->next_update, (SshBerTime{2051, 2, 3, 4, 5, 6}));
  EXPECT_STREQ(crl->signature_scheme, "rsa-pkcs1-sha1");
  EXPECT_EQ(crl->signature_key_type, 1u);
  EXPECT_EQ(hex(crl->signature), "aabb");
  EXPECT_EQ(hex(crl->signed_data), hex(children(children(whole)[0].content)[0].whole));
  EXPECT_EQ(crl->crl_number, SshMpInt(7));
  EXPECT_EQ(crl->delta_crl, SshMpInt(-1));
  EXPECT_FALSE(crl->issuing_point);
  EXPECT_EQ(own_text(ssh_x509_name_text(crl->issuer_names)), "CN=Issuer");
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
  const Der kDsa = algorithm(kDsaSha1), kUnknown = algorithm("1.2.3"), kList = seq({kNumber});
  using Wrapper = std::optional<Der>;
  EXPECT_EQ(Crl(with(&P::version, {}))->version, 1u);
  CrlParts parts;
  parts.version = {};
  parts.extensions = {kNumber};
  EXPECT_EQ(Crl(parts.build())->version, 2u) << "no version, but extensions";
  const Crl dsa(with(&P::outer_algorithm, kDsa)), last(with(&P::next_update, {}));
  EXPECT_EQ(hex(dsa->signature), "00112233445566778899") << "stays as it is";
  ASSERT_TRUE(last);
  EXPECT_EQ(last->next_update, SshBerTime{});
  expect_all(true, {with(&P::inner_algorithm, kUnknown), with(&P::inner_algorithm, null()),
                    with(&P::outer_algorithm, algorithm("1.3.14.7.2.3.2")),  // ElGamal
                    with(&P::issuer, seq({})), with(&P::revoked, Wrapper(seq({}))),
                    with(&P::extensions_wrapper, Wrapper(wrap(0, seq({}))))});
  expect_all(false, {with(&P::version, integer(0)), with(&P::version, integer(2)),
                     with(&P::version, integer(0x100000001)), with(&P::outer_algorithm, kUnknown),
                     with(&P::this_update, text(0x17, "01")), with(&P::issuer, seq({null()})),
                     with(&P::next_update, text(0x18, "20019999")), with(&P::signature, {}), Der{},
                     CertParts().build()});
}

TEST_F(CrlTest, Entries) {
  SshMpInt huge;
  huge.set_magnitude(Der(200, 0x80));
  const Der kLong = seq({natural(Der(200, 0x80)), kDate}), kNone = seq({});
  const struct {
    const char *why;
    std::vector<Der> entries;
    std::string seen;
  } rows[] = {
      {"a GeneralizedTime", {seq({integer(1), text(0x18, "20020304050607Z")})}, "1"},
      {"a time without seconds", {seq({integer(1), text(0x17, "0203040506Z")})}, "1"},
      {"an empty INTEGER", {seq({{2, 0}, kDate})}, "0"},
      {"an empty list of extensions", {seq({integer(1), kDate, kNone})}, "1"},
      {"reasons",
       {entry(1, {extension("2.5.29.21", {0x0A, 2, 0, 3})}), entry(2, {kReason1})},
       "1:3 2:1"},
      {"a long serial number", {entry(1), kLong, entry(2)}, "1 " + decimal(huge) + " 2"},
  };
  for (const auto &row : rows) {
    const Crl crl(entries(row.entries));
    ASSERT_TRUE(crl) << row.why;
    EXPECT_EQ(seen(*crl), row.seen) << row.why;
  }
  const Der kBadTime = seq({integer(1), text(0x17, "021304050607Z")});
  expect_all(false,
             {entries({seq({integer(1)})}), entries({seq({kDate})}), entries({entry(1), kBadTime}),
              entries({seq({integer(1), text(0x13, "020304050607Z")})}),
              entries({seq({integer(1), kDate, null()})})});
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

TEST_F(CrlTest, EntryExtensions) {
  for (const int code : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 256}) {
    const Der reason = extension("2.5.29.21", retag(0x0A, integer(code)));
    EXPECT_EQ(static_cast<bool>(Crl(of_entry({reason}))), code >= 0 && code <= 8 && code != 7)
        << code;
  }
  const auto junk = [](const char *id) { return extension(id, kJunk); };
  expect_all(true, {of_entry({junk("1.2.3.4")}), of_entry({junk("2.5.29.15")}),
                    of_entry({junk("2.5.29.1"), junk("2.5.29.1")})});
  expect_all(false, {of_entry({extension("2.5.29.21", integer(1))}), of_entry({kReason1, kReason1}),
                     of_entry({null(), kReason1}), of_entry({extension("2.5.29.23", null())}),
                     of_entry({extension("2.5.29.24", text(0x17, "020101000000Z"))}),
                     of_entry({extension("2.5.29.29", seq({null()}))}),
                     of_entry({extension("1.2.3.4", kJunk, true)}),
                     of_entry({extension("2.5.29.15", bits({0x80}), true)}),
                     of_entry({junk("2.5.29.15"), junk("2.5.29.15")}),
                     of_entry({junk("2.5.29.9"), junk("2.5.29.9")}),
                     of_entry({extension("2.5.29.20", integer(1), true)})});
}

TEST_F(CrlTest, CrlExtensions) {
  const auto junk = [](const char *id, bool critical = false) {
    return extension(id, kJunk, critical);
  };
  const Der kDnsName = seq({text(0x82, "dns")}),
            kReason = extension("2.5.29.21", {0x0A, 1, 1}, true);
  expect_all(true, {extensions({extension("2.5.29.35", seq({}))}), extensions({junk("2.5.29.17")}),
                    extensions({junk("2.5.29.21")}), extensions({junk("2.5.29.60")}),
                    extensions({junk("2.5.29.1"), junk("2.5.29.1")})});
  expect_all(false,
             {extensions({kNumber, kNumber}), extensions({junk("2.5.29.20")}),
              extensions({extension("2.5.29.35", set({}))}), extensions({junk("2.5.29.27")}),
              extensions({extension("2.5.29.18", seq({text(0x0C, "dns")}))}),
              extensions({extension("2.5.29.17", seq({}), true)}), extensions({kReason}),
              extensions({junk("2.5.29.9"), junk("2.5.29.9")}),  // no exception, as in certificates
              extensions({junk("2.5.29.60", true)})});
  const Crl crl(
      extensions({extension("2.5.29.18", kDnsName), extension("2.5.29.27", integer(-5), true)}));
  ASSERT_TRUE(crl);
  EXPECT_EQ(crl->delta_crl, SshMpInt(-5));
  EXPECT_TRUE(crl->extensions.critical(SSH_X509_EXT_DELTA_CRL_INDICATOR));
  EXPECT_EQ(crl->issuer_names->type, SSH_X509_NAME_DNS);
  EXPECT_EQ(crl->issuer_names->next->type, SSH_X509_NAME_DN);
}

TEST_F(CrlTest, IssuingDistributionPoints) {
  const auto point = [](const std::vector<Der> &parts) {
    return extension("2.5.29.28", seq(parts));
  };
  const Der kPair = attribute("2.5.4.11", text(0x13, "Unit"));
  CrlParts parts;
  parts.extensions = {point({wrap(0, wrap(1, set({kPair}))), unhex("8101FF"),
                             retag(0x83, bits({0x60, 0x80}, 7)), unhex("8401FF")})};
  const Crl relative(parts.build());
  ASSERT_TRUE(relative && relative->issuing_point);
  const SshX509IssuingDistPoint &read = *relative->issuing_point;
  EXPECT_TRUE(read.only_user_certs && read.indirect_crl && !read.only_ca_certs);
  EXPECT_EQ(read.only_some_reasons, 0x8060u);
  // Expanding a relative name takes the issuer's entry, which a certificate's distribution point
  // leaves alone.
  EXPECT_EQ(relative->issuer_names->taken, 1u);
  SshDN dn = {};
  ASSERT_TRUE(ssh_x509_point_name_expand(read.name, &dn));
  EXPECT_EQ(own_text(ssh_dn_encode_ldap(&dn)), "CN=Issuer, OU=Unit");
  ssh_dn_clear(&dn);

  parts.issuer = seq({});
  EXPECT_FALSE(Crl(parts.build())) << "nothing to be relative to";
  parts.extensions = {point({wrap(0, tlv(0xA0, text(0x86, "http://x")))})};
  const Crl full(parts.build());
  ASSERT_TRUE(full && full->issuing_point);
  EXPECT_EQ(own_text(ssh_x509_name_text(full->issuing_point->name.full)), "http://x");
  EXPECT_FALSE(ssh_x509_point_name_expand(full->issuing_point->name, &dn));
  EXPECT_FALSE(Crl(extensions({point({unhex("81020000")})}))) << "a BOOLEAN of two octets";
}

TEST_F(CrlTest, RefusalsSayWhere) {
  const Der kReason7 = entry(9, {extension("2.5.29.21", {0x0A, 1, 7})}), kCut = seq({integer(77)});
  const Der kCritical = extension("1.2.3.4", null(), true), kUnknown = algorithm("1.2.3.5");
  const struct {
    Der whole, fault;
    const char *id;
  } rows[] = {
      {entries({entry(1), entry(2, {kReason1}), kReason7, entry(3)}), kReason7, "2.5.29.21"},
      {of_entry({kCritical}), kCritical, "1.2.3.4"},
      {entries({entry(1), kCut, entry(2)}), kCut, ""},
      {with(&P::outer_algorithm, kUnknown), kUnknown, "1.2.3.5"},
  };
  for (const auto &row : rows)
    expect_refusal_at(Crl(row.whole)->refusal, row.whole, row.fault, row.id);
}

}  // namespace
