// Work and memory stay proportional to the input. That nothing in it may end, hang or corrupt the
// process is what the fuzz targets look for.

#include "support/samples.h"

namespace {

using namespace der;
using namespace sample;
using BadInputTest = sample::Balanced;

struct Shape {
  const char *why;
  Der octets;
  const char *refusal = "";  // empty if it is read
};

constexpr char kWork[] = "encoding takes too much work";
constexpr size_t kMany = 1000000, kSome = 100000;

Der nulls(size_t count) { return repeat(null(), count); }

Der cert_with(const std::vector<Der> &list) { return with(&CertParts::extensions, list); }
Der cert_with(std::string_view id, const Der &value) { return cert_with({extension(id, value)}); }
Der subject_of(const std::vector<Der> &rdns) { return with(&CertParts::subject, seq(rdns)); }
Der crl_with(const std::vector<Der> &entries) { return with(&CrlParts::entries, entries); }

std::vector<Shape> hostile_certs() {
  const Der kOid = oid("1.2.3.4"), kUnknown = extension("1.2.3.4", null());
  const Der kPair = attribute("2.5.4.3", text(0x13, "A")), kDns = text(0x82, "d");
  const Der kNotice = oid("1.3.6.1.5.5.7.2.2");
  const Der kQualifiers = repeat(seq({kNotice, seq({})}), kSome);
  const Der kNumbers = seq({nulls(kMany), tlv(2, Der(4 << 20, 0))});
  const Der kReference = seq({seq({text(0x16, ""), kNumbers})});
  const Der kBigNotice = seq({kOid, seq({seq({kNotice, kReference})})});
  const Der kBigName = wrap(4, seq({repeat(set({kPair}), 2 * kSome)}));
  const Der kBigNumber = tlv(0x80, Der(1 << 20, 0));
  const auto subtrees = [](const std::vector<Der> &list) {
    return cert_with("2.5.29.30", seq({tlv(0xA0, {}), seq(list)}));
  };
  return {
      // A read of one element passes over many others, or finds the same large one again.
      {"extension value", cert_with("2.5.29.15", nulls(kMany)), "key usage"},
      {"long policy", cert_with("2.5.29.32", seq({nulls(kMany), seq({kOid, seq({kQualifiers})})})),
       kWork},
      {"long notice number", cert_with("2.5.29.32", seq({kBigNotice})), kWork},
      {"long relative name", subject_of({nulls(kMany), set({repeat(kPair, kSome)})}), "subject"},
      // The fields of name constraints are those of the list for each of its elements.
      {"long base", subtrees({kBigName, unhex("800101810102"), nulls(kSome)}), kWork},
      // Long lists and deep nesting.
      {"unknown extensions", cert_with({repeat(kUnknown, kSome)})},
      {"list of indefinite lengths",
       cert_with("2.5.29.37", seq({repeat(indefinite(0x30, {null()}), kSome)})),
       "extended key usage"},
  };
}

std::vector<Shape> hostile_crls() {
  const Der kUnknown = extension("1.2.3.4", null());
  const char *const kEntry = "entry of revokedCertificates";
  return {
      {"long revoked entry", crl_with({nulls(kMany), entry(1, {repeat(kUnknown, kSome)})}), kEntry},
      {"entries with extensions", crl_with({repeat(entry(1, {kUnknown}), kSome)})},
  };
}

template <class Record>
void expect_refusals(const std::vector<Shape> &shapes) {
  for (const Shape &row : shapes) {
    const Record record(row.octets);
    const std::string refusal = reason(record->refusal);
    EXPECT_EQ(refusal.substr(0, std::strlen(row.refusal)), row.refusal) << row.why;
    EXPECT_EQ(refusal.empty(), *row.refusal == 0) << row.why;
  }
}

// Where reads are repeated without account, such shapes cost the square of their size or worse:
// what refuses them changes, or they take so long, minutes to days, that the test is ended.
TEST_F(BadInputTest, HostileShapesAreReadOrRefusedInLinearTime) {
  expect_refusals<Cert>(hostile_certs());
  expect_refusals<Crl>(hostile_crls());
}

}  // namespace
