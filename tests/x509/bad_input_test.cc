// Work and memory stay proportional to the input. That nothing in it may end, hang or corrupt the
// process is what the fuzz targets look for.

#include "support/samples.h"

namespace {

using namespace der;
using namespace sample;
using BadInputTest = sample::Balanced;

constexpr char kWork[] = "encoding takes too much work";
constexpr size_t kMany = 1000000, kSome = 100000;

template <class Record>
void expect_refusal(const std::string &wanted, const Der &octets) {
  EXPECT_EQ(reason(Record(octets)->refusal).substr(0, wanted.size()), wanted);
}

// Where reads are repeated without account, such shapes cost the square of their size or worse:
// what refuses them changes, or they take so long, minutes to days, that the test is ended.
TEST_F(BadInputTest, HostileShapesAreReadOrRefusedInLinearTime) {
  const Der kOid = oid("1.2.3.4"), kNulls = repeat(null(), kMany), kDns = text(0x82, "d");
  const Der kUnknown = repeat(extension("1.2.3.4", null()), kSome);
  const Der kPair = attribute("2.5.4.3", text(0x13, "A")), kNotice = oid("1.3.6.1.5.5.7.2.2");
  const auto cert_with = [](std::string_view id, const Der &value) {
    return with(&CertParts::extensions, {extension(id, value)});
  };
  // A read of one element passes over many others, or finds the same large one again.
  const Der kQualifiers = repeat(seq({kNotice, seq({})}), kSome);
  expect_refusal<Cert>(kWork,
                       cert_with("2.5.29.32", seq({kNulls, seq({kOid, seq({kQualifiers})})})));
  const Der kNumbers = seq({kNulls, tlv(2, Der(4 << 20, 0))});
  const Der kReference = seq({seq({text(0x16, ""), kNumbers})});
  expect_refusal<Cert>(
      kWork, cert_with("2.5.29.32", seq({seq({kOid, seq({seq({kNotice, kReference})})})})));
  expect_refusal<Cert>("subject",
                       with(&CertParts::subject, seq({kNulls, set({repeat(kPair, kSome)})})));
  expect_refusal<Crl>("entry of revokedCertificates",
                      with(&CrlParts::entries, {kNulls, entry(1, {kUnknown})}));
  // The fields of name constraints are those of the list for each of its elements.
  const Der kBigName = wrap(4, seq({repeat(set({kPair}), 2 * kSome)}));
  const Der kList = seq({kBigName, unhex("800101810102"), repeat(null(), kSome)});
  expect_refusal<Cert>(kWork, cert_with("2.5.29.30", seq({tlv(0xA0, {}), kList})));
  EXPECT_TRUE(Cert(with(&CertParts::extensions, {kUnknown})));
}

}  // namespace
