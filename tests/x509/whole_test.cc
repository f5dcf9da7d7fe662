// What is accepted has been read whole: an element that can take something away, and that no field
// takes, refuses the input. Classic passes over what has nothing to lose; modern over nothing. How
// the modes of reading do that is tested in tests/asn1, values of extensions in
// extensions_test.cc.

#include "support/samples.h"

namespace {

using namespace der;
using namespace sample;
using C = CertParts;
using L = CrlParts;

constexpr char kNotRead[] = "refused", kRead[] = "";

struct WholeRow {
  const char *why;
  Der whole;
  const char *classic = kNotRead, *modern = classic;
};

// expect holds each row against the structure that the refusal names: any, unless it is given.
template <class Record>
void expect(const std::vector<WholeRow> &rows) {
  for (const SshX509Profile profile : {SSH_X509_CLASSIC, SSH_X509_MODERN}) {
    const ProfileScope scope(profile);
    for (const WholeRow &row : rows) {
      const Record record(row.whole);
      const std::string_view wanted = profile == SSH_X509_MODERN ? row.modern : row.classic;
      std::string_view seen = record ? kRead : record->refusal.structure;
      if (!record && wanted == kNotRead) seen = kNotRead;
      EXPECT_EQ(seen, wanted) << row.why << ", profile " << profile;
    }
  }
}

const Der kWhen = text(0x17, "020304050607Z"), kEnd = {0, 0}, kNull = null();
const Der kKnown = extension("2.5.29.14", octets(Der{1}));

// Each list of extensions, of a certificate, a CRL and an entry, and what may stand around it.
TEST(Whole, Extensions) {
  const struct {
    const char *why;
    Der list;
    const char *outcome = "Extension";
  } lists[] = {
      {"indefinite form", join({indefinite(0x30, {unhex("06032A03040101FF04020500")}), kKnown})},
      {"a NULL behind", join({kKnown, kNull})},
      {"end-of-contents octets", join({kKnown, kEnd}), kRead},
      {"a constructed flag", unhex("300E06032A0304 21030101FF 04020500")}};
  for (const auto &row : lists) {
    const Der list = seq({row.list});
    expect<Cert>({{row.why, with(&C::extensions_wrapper, wrap(3, list)), row.outcome}});
    expect<Crl>({{row.why, with(&L::extensions_wrapper, wrap(0, list)), row.outcome},
                 {row.why, with(&L::entries, {seq({integer(1), kWhen, list})}), row.outcome}});
  }
  const Der list = seq({kKnown}), two = join({list, list});
  expect<Cert>({{"two lists", with(&C::extensions_wrapper, wrap(3, two))},
                {"indefinite form", with(&C::extensions_wrapper, indefinite(0xA3, {list}))}});
  expect<Crl>({{"a SET", with(&L::extensions_wrapper, wrap(0, set({kKnown})))}});
}

TEST(Whole, EntriesAndTheirList) {
  const Der kOne = entry(1), kNone = seq({});
  const auto list = [](const Der &value) { return with(&L::revoked, value); };
  const auto in_list = [](const Der &value) { return with(&L::entries, {value}); };
  const char *const kEntry = "entry of revokedCertificates";
  expect<Crl>(
      {{"a SET", list(set({kOne}))},
       {"two, the first empty", list(join({kNone, seq({kOne})}))},
       {"indefinite form", in_list(join({indefinite(0x30, {integer(5), kWhen}), entry(6)})),
        kEntry},
       {"a constructed number", in_list(seq({tlv(0x22, integer(5)), kWhen})), kEntry},
       {"two lists of extensions", in_list(seq({integer(1), kWhen, kNone, kNone})), kEntry},
       {"a constructed date", in_list(seq({integer(1), tlv(0x37, kWhen)})), "revocationDate"},
       {"end-of-contents octets", in_list(join({kOne, kEnd, entry(2)})), kRead}});
}

// Where the templates of classic find a part further on, it stays found.
TEST(Whole, Certificates) {
  const Der kLonger = seq({oid("2.5.4.3"), text(0x13, "a"), kNull});
  expect<Cert>(
      {{"a constructed number", with(&C::serial, tlv(0x22, integer(5))), "TBSCertificate"},
       {"two versions in one", with(&C::version, wrap(0, join({integer(2), integer(0)}))),
        "TBSCertificate"},
       {"a NULL before the key", with(&C::key, join({kNull, rsa_key_info()})), kRead, kNotRead},
       {"a NULL before the algorithm",
        with(&C::outer_algorithm, join({kNull, algorithm(kRsaSha1)})), kRead, "Certificate"},
       {"an algorithm of three", with(&C::outer_algorithm, seq({oid(kRsaSha1), kNull, kNull})),
        kRead, "AlgorithmIdentifier"},
       {"a pair of three", with(&C::subject, seq({set({kLonger})})), kRead, "subject"}});
}

}  // namespace
