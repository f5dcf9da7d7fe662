// What is accepted has been read whole: an element that can take something away, and that no field
// takes, refuses the input. Classic passes over what has nothing to lose; modern over nothing.

#include <gtest/gtest.h>

#include "support/profile.h"
#include "support/samples.h"

namespace {

using namespace der;
using namespace sample;

struct Row {
  const char *why;
  Der part;
  const char *classic = kRefused, *modern = classic;

  static constexpr char kRefused[] = "refused", kRead[] = "";
};
constexpr auto kRefused = Row::kRefused, kRead = Row::kRead;

// expect holds each row against the structure that the refusal names: any, unless it is given.
template <class Record, class Build>
void expect(const char *what, const std::vector<Row> &rows, Build build) {
  for (const SshX509Profile profile : {SSH_X509_CLASSIC, SSH_X509_MODERN}) {
    const ProfileScope scope(profile);
    for (const Row &row : rows) {
      const Record record(build(row.part));
      const std::string_view wanted = profile == SSH_X509_MODERN ? row.modern : row.classic;
      std::string_view seen = record ? kRead : record->refusal.structure;
      if (!record && wanted == kRefused) seen = kRefused;
      EXPECT_EQ(seen, wanted) << what << ": " << row.why << ", profile " << profile;
    }
  }
}

template <class Parts, class Field>
auto with(Field Parts::*field) {
  return [field](const Der &part) {
    Parts parts;
    parts.*field = Field{part};
    return parts.build();
  };
}
using C = CertParts;
using L = CrlParts;

Der build_entry(const Der &part) { return with(&L::entries)(part); }

const Der kDate = text(0x17, "020304050607Z"), kDns = text(0x82, "d.example"), kEnd = {0, 0};
const Der kKnown = extension("2.5.29.14", octets(Der{1})),
          kUnread = unhex("06032A03040101FF04020500");

// The lists of extensions: of a certificate, a CRL and an entry.
TEST(Whole, Extensions) {
  const std::vector<Row> rows = {
      {"indefinite form", join({indefinite(0x30, {kUnread}), kKnown}), "Extension"},
      {"a SET", join({set({kUnread}), kKnown}), "Extension"},
      {"constraints in indefinite form",
       join({indefinite(0x30, {unhex("0603551D1E0101FF04023000")}), kKnown}), "Extension"},
      {"a NULL in front", join({null(), kKnown}), "Extension"},
      {"a NULL behind", join({kKnown, null()}), "Extension"},
      {"end-of-contents octets", join({kKnown, kEnd}), kRead},
      {"a constructed flag", unhex("300E06032A0304 21030101FF 04020500"), "Extension"},
      {"a flag in indefinite form", unhex("301006032A0304 21800101FF0000 04020500"), "Extension"},
      {"a tagged flag", unhex("300C06032A0304 8101FF 04020500"), "Extension"},
      {"a flag behind the value", unhex("300C06032A0304 04020500 0101FF"), "Extension"},
      {"two values", unhex("300D06032A0304 04020500 04020500"), "Extension"},
      {"a flag that says no", unhex("300C06032A0304 010100 04020500"), kRead}};
  const auto list = [](auto build) {
    return [build](const Der &part) { return build(seq({part})); };
  };
  expect<Cert>("certificate", rows,
               list([](const Der &part) { return with(&C::extensions_wrapper)(wrap(3, part)); }));
  expect<Crl>("CRL", rows,
              list([](const Der &part) { return with(&L::extensions_wrapper)(wrap(0, part)); }));
  expect<Crl>("entry", rows, list([](const Der &part) {
                return build_entry(seq({integer(1), kDate, part}));
              }));
}

// A wrapper holds one list, and there is one wrapper; an empty one holds nothing.
TEST(Whole, WrappersAndSecondLists) {
  const Der list = seq({kKnown});
  for (const unsigned tag : {3u, 0u}) {
    const Der wrapper = wrap(tag, list);
    const std::vector<Row> rows = {
        {"one", wrapper, kRead},
        {"indefinite form", indefinite(0xA0 + tag, {list})},
        {"indefinite form inside", wrap(tag, indefinite(0x30, {kKnown}))},
        {"a SET inside", wrap(tag, set({kKnown}))},
        {"primitive", tlv(0x80 + tag, list)},
        {"primitive, indefinite", join({{static_cast<uint8_t>(0x80 + tag), 0x80}, list, kEnd})},
        {"two", join({wrapper, wrapper})},
        {"two lists inside", wrap(tag, join({list, list}))},
        {"a NULL in front inside", wrap(tag, join({null(), list}))},
        {"an empty one", wrap(tag, {}), kRead, kRefused},
        {"an empty one behind", join({wrapper, wrap(tag, {})}), kRead, kRefused},
        {"a NULL in front", join({null(), wrapper}), kRead, kRefused},
        {"a NULL behind", join({wrapper, null()}), kRead, kRefused}};
    if (tag == 3)
      expect<Cert>("certificate", rows, with(&C::extensions_wrapper));
    else
      expect<Crl>("CRL", rows, with(&L::extensions_wrapper));
  }
  expect<Crl>("revokedCertificates",
              {{"a SET", set({entry(1)})},
               {"indefinite form", indefinite(0x30, {entry(1)})},
               {"primitive [0]", tlv(0x80, entry(1))},
               {"primitive [3]", tlv(0x83, entry(1))},
               {"constructed [3]", wrap(3, seq({entry(1)}))},
               {"two", join({seq({entry(1)}), seq({entry(2)})})},
               {"two, the first empty", join({seq({}), seq({entry(2)})})},
               {"a NULL in front", join({null(), seq({entry(1)})}), kRead, kRefused},
               {"an empty SET", set({}), kRead, kRefused},
               {"empty", seq({}), kRead}},
              with(&L::revoked));
}

TEST(Whole, Entries) {
  const char *const kEntry = "an entry of revokedCertificates";
  const Der none = seq({});
  expect<Crl>("entries",
              {{"indefinite form", join({indefinite(0x30, {integer(5), kDate}), entry(6)}), kEntry},
               {"a NULL in front", join({null(), entry(1)}), kEntry},
               {"a NULL behind", join({entry(1), null()}), kEntry},
               {"a SET in front", join({set({integer(1), kDate}), entry(2)}), kEntry},
               {"a constructed number", seq({tlv(0x22, integer(5)), kDate}), kEntry},
               {"a second list of extensions", seq({integer(1), kDate, none, none}), kEntry},
               {"a number in front", seq({null(), integer(1), kDate}), kEntry},
               {"a constructed date", seq({integer(1), tlv(0x37, kDate)}), "revocationDate"},
               {"end-of-contents octets", join({entry(1), kEnd, entry(2)}), kRead}},
              build_entry);
}

TEST(Whole, Certificates) {
  expect<Cert>("serial number",
               {{"constructed", tlv(0x22, integer(5)), "TBSCertificate"},
                {"a NULL in front", join({null(), integer(5)}), kRead, kRefused}},
               with(&C::serial));
  expect<Cert>("version",
               {{"two numbers", wrap(0, join({integer(2), integer(0)})), "TBSCertificate"},
                {"two", join({wrap(0, integer(2)), wrap(0, integer(0))}), "TBSCertificate"}},
               with(&C::version));
  // Where the templates of classic find a part further on, it stays found.
  expect<Cert>("key", {{"a NULL in front", join({null(), rsa_key_info()}), kRead, kRefused}},
               with(&C::key));
  const Der id = oid(kRsaSha1);
  expect<Cert>("algorithm",
               {{"a NULL in front", join({null(), algorithm(kRsaSha1)}), kRead, "Certificate"},
                {"three elements", seq({id, null(), null()}), kRead, "AlgorithmIdentifier"},
                {"a NULL inside", seq({null(), id, null()}), kRead, "AlgorithmIdentifier"}},
               with(&C::outer_algorithm));
  expect<Cert>("subject",
               {{"a pair of three", seq({set({seq({oid("2.5.4.3"), text(0x13, "a"), null()})})}),
                 kRead, "subject"}},
               with(&C::subject));
  expect<Cert>("signature", {{"constructed", tlv(0x23, bits({1})), kRead, kRefused}},
               with(&C::signature));
}

// Values of extensions.
TEST(Whole, Values) {
  const auto in = [](const char *id) {
    return [id](const Der &part) { return with(&C::extensions)(extension(id, part)); };
  };
  const auto in_crl = [](const char *id) {
    return [id](const Der &part) { return with(&L::extensions)(extension(id, part)); };
  };
  expect<Cert>("basic constraints",
               {{"a constructed flag", unhex("3008 21030101FF 020100")},
                {"the wrong order", unhex("3006 020100 0101FF")},
                {"a constructed length", unhex("3008 0101FF 2203020100")},
                {"a third element", unhex("3008 0101FF 020100 0500")},
                {"a flag in indefinite form", unhex("300A 21800101FF0000 020100")},
                {"both", unhex("3006 0101FF 020100"), kRead}},
               in("2.5.29.19"));
  expect<Cert>("authority key identifier",
               {{"a constructed number", unhex("3005 A203020105")},
                {"a number in indefinite form", unhex("3007 A2800201050000")},
                {"two numbers", unhex("3006 820105 820106")},
                {"another tag", unhex("3003 830105"), kRead, kRefused}},
               in("2.5.29.35"));
  expect<Cert>("policy constraints",
               {{"a NULL in front", seq({null(), unhex("3003800105")})},
                {"a constructed number", unhex("3007 3005A003020105")},
                {"another tag", unhex("3005 3003820105")},
                {"read", unhex("3005 3003800105"), kRead}},
               in("2.5.29.36"));
  const Der list = seq({kDns});
  expect<Cert>("name constraints",
               {{"another tag", seq({tlv(0xA0, {}), list, tlv(0xA2, list)})},
                {"a second list", seq({tlv(0xA0, {}), list, list})},
                {"a list alone", seq({list})},
                {"a constructed number", seq({tlv(0xA0, {}), seq({kDns, tlv(0xA1, integer(1))})})},
                {"an indefinite one", seq({tlv(0xA0, {}), list, indefinite(0xA1, {})})},
                {"as classic reads it", seq({tlv(0xA0, {}), list}), kRead, kRefused}},
               in("2.5.29.30"));
  const Der full = wrap(0, wrap(0, text(0x86, "u")));
  expect<Cert>("distribution points",
               {{"a NULL in front", seq({null(), seq({full})})},
                {"constructed reasons", seq({seq({full, tlv(0xA1, bits({1}))})})},
                {"two names", seq({seq({full, full})})},
                {"two in one", seq({seq({wrap(0, join({tlv(0xA0, kDns), tlv(0xA0, kDns)}))})})},
                {"another tag", seq({seq({full, tlv(0x84, Der{1})})}), kRead, kRefused}},
               in("2.5.29.31"));
  expect<Crl>("issuing distribution point",
              {{"a constructed flag", unhex("3005 A1030101FF")},
               {"constructed reasons", unhex("3006 A30403020560")},
               {"a flag in indefinite form", unhex("3007 A4800101FF0000")},
               {"attribute certificates", unhex("3003 8501FF"), kRead, kRead},
               {"constructed, attribute certificates", unhex("3005 A5030101FF"), kRead, kRefused},
               {"another tag", unhex("3003 8901FF"), kRead, kRefused}},
              in_crl("2.5.29.28"));
  expect<Crl>("delta CRL indicator", {{"constructed", tlv(0x22, integer(5))}}, in_crl("2.5.29.27"));
  expect<Crl>("reason code", {{"constructed", unhex("2A030A0101")}}, [](const Der &part) {
    return build_entry(entry(1, {extension("2.5.29.21", part)}));
  });
  // Nothing can be lost of these, so classic goes on searching.
  expect<Cert>("ordinary lists",
               {{"policies", seq({null(), seq({oid("1.2.3")})}), kRead, kRefused}},
               in("2.5.29.32"));
  expect<Cert>("ordinary lists", {{"purposes", seq({null(), oid("1.2.3")}), kRead, kRefused}},
               in("2.5.29.37"));
  expect<Cert>("ordinary lists",
               {{"access", seq({seq({oid("1.2.3"), kDns, null()})}), kRead, kRefused}},
               in("1.3.6.1.5.5.7.1.1"));
  expect<Cert>("ordinary values",
               {{"a constructed usage", tlv(0x23, bits({0x80})), kRead, kRefused}},
               in("2.5.29.15"));
}

}  // namespace
