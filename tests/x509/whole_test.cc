// What is accepted has been read whole: an element that can take something away, and that no field
// takes, refuses the input. Classic passes over what has nothing to lose; modern over nothing. How
// the modes of reading do that is tested in tests/asn1, values of extensions in
// extensions_test.cc.

#include <gtest/gtest.h>

#include "support/profile.h"
#include "support/samples.h"

namespace {

using namespace der;
using namespace sample;
using C = CertParts;
using L = CrlParts;

constexpr char kRefused[] = "refused", kRead[] = "";

struct Row {
  const char *why;
  Der whole;
  const char *classic = kRefused, *modern = classic;
};

// expect holds each row against the structure that the refusal names: any, unless it is given.
template <class Record>
void expect(const std::vector<Row> &rows) {
  for (const SshX509Profile profile : {SSH_X509_CLASSIC, SSH_X509_MODERN}) {
    const ProfileScope scope(profile);
    for (const Row &row : rows) {
      const Record record(row.whole);
      const std::string_view wanted = profile == SSH_X509_MODERN ? row.modern : row.classic;
      std::string_view seen = record ? kRead : record->refusal.structure;
      if (!record && wanted == kRefused) seen = kRefused;
      EXPECT_EQ(seen, wanted) << row.why << ", profile " << profile;
    }
  }
}

const Der kDate = text(0x17, "020304050607Z"), kEnd = {0, 0}, kNull = null();
const Der kKnown = extension("2.5.29.14", octets(Der{1}));

// The lists of extensions: of a certificate, a CRL and an entry.
TEST(Whole, Extensions) {
  const struct {
    const char *why;
    Der list;
    const char *outcome = "Extension";
  } lists[] = {
      {"indefinite form", join({indefinite(0x30, {unhex("06032A03040101FF04020500")}), kKnown})},
      {"a NULL behind", join({kKnown, kNull})},
      {"end-of-contents octets", join({kKnown, kEnd}), kRead},
      {"a constructed flag", unhex("300E06032A0304 21030101FF 04020500")},
      {"two values", unhex("300D06032A0304 04020500 04020500")},
      {"a flag that says no", unhex("300C06032A0304 010100 04020500"), kRead}};
  for (const auto &row : lists) {
    const Der list = seq({row.list});
    expect<Cert>({{row.why, with(&C::extensions_wrapper, wrap(3, list)), row.outcome}});
    expect<Crl>({{row.why, with(&L::extensions_wrapper, wrap(0, list)), row.outcome},
                 {row.why, with(&L::entries, {seq({integer(1), kDate, list})}), row.outcome}});
  }
}

// A wrapper holds one list, and there is one wrapper; an empty one holds nothing.
TEST(Whole, Wrappers) {
  const Der list = seq({kKnown});
  for (const unsigned tag : {3u, 0u}) {
    const Der wrapper = wrap(tag, list);
    const Row rows[] = {{"one", wrapper, kRead},
                        {"indefinite form", indefinite(0xA0 + tag, {list})},
                        {"indefinite form inside", wrap(tag, indefinite(0x30, {kKnown}))},
                        {"a SET inside", wrap(tag, set({kKnown}))},
                        {"primitive", tlv(0x80 + tag, list)},
                        {"two", join({wrapper, wrapper})},
                        {"two lists inside", wrap(tag, join({list, list}))},
                        {"an empty one", wrap(tag, {}), kRead, kRefused},
                        {"an empty one behind", join({wrapper, wrap(tag, {})}), kRead, kRefused},
                        {"a NULL in front", join({kNull, wrapper}), kRead, kRefused}};
    for (const Row &row : rows) {
      if (tag == 3)
        expect<Cert>({{row.why, with(&C::extensions_wrapper, row.whole), row.classic, row.modern}});
      else
        expect<Crl>({{row.why, with(&L::extensions_wrapper, row.whole), row.classic, row.modern}});
    }
  }
}

TEST(Whole, EntriesAndTheirList) {
  const Der kOne = entry(1), kList = seq({kOne}), kNone = seq({});
  const auto list = [](const Der &value) { return with(&L::revoked, value); };
  const auto in_list = [](const Der &value) { return with(&L::entries, {value}); };
  const char *const kEntry = "an entry of revokedCertificates";
  expect<Crl>(
      {{"a SET", list(set({kOne}))},
       {"indefinite form", list(indefinite(0x30, {kOne}))},
       {"primitive [3]", list(tlv(0x83, kOne))},
       {"two, the first empty", list(join({kNone, kList}))},
       {"a NULL in front of the list", list(join({kNull, kList})), kRead, kRefused},
       {"an empty SET", list(set({})), kRead, kRefused},
       {"an entry of indefinite form",
        in_list(join({indefinite(0x30, {integer(5), kDate}), entry(6)})), kEntry},
       {"a NULL behind", in_list(join({kOne, kNull})), kEntry},
       {"a constructed number", in_list(seq({tlv(0x22, integer(5)), kDate})), kEntry},
       {"two lists of extensions", in_list(seq({integer(1), kDate, kNone, kNone})), kEntry},
       {"a constructed date", in_list(seq({integer(1), tlv(0x37, kDate)})), "revocationDate"},
       {"end-of-contents octets", in_list(join({kOne, kEnd, entry(2)})), kRead}});
}

// Where the templates of classic find a part further on, it stays found.
TEST(Whole, Certificates) {
  const Der id = oid(kRsaSha1), kLonger = seq({oid("2.5.4.3"), text(0x13, "a"), kNull});
  const auto part = [](Der C::*field, const Der &value) { return with(field, value); };
  expect<Cert>(
      {{"a constructed number", part(&C::serial, tlv(0x22, integer(5))), "TBSCertificate"},
       {"a NULL in front of it", part(&C::serial, join({kNull, integer(5)})), kRead, kRefused},
       {"two versions in one", part(&C::version, wrap(0, join({integer(2), integer(0)}))),
        "TBSCertificate"},
       {"a NULL in front of the key", part(&C::key, join({kNull, rsa_key_info()})), kRead,
        kRefused},
       {"a NULL in front of the algorithm",
        part(&C::outer_algorithm, join({kNull, algorithm(kRsaSha1)})), kRead, "Certificate"},
       {"an algorithm of three", part(&C::outer_algorithm, seq({id, kNull, kNull})), kRead,
        "AlgorithmIdentifier"},
       {"a pair of three", part(&C::subject, seq({set({kLonger})})), kRead, "subject"},
       {"a constructed signature", part(&C::signature, tlv(0x23, bits({1}))), kRead, kRefused}});
}

}  // namespace
