// Nothing in the data may end, hang or corrupt the process, and work and memory stay proportional
// to the input.

#include <gtest/gtest.h>

#include <filesystem>

#include "asn1/files.h"
#include "support/samples.h"
#include "support/touch.h"

namespace {

using namespace der;
using namespace sample;
using BadInputTest = sample::Balanced;

Der rich_cert() {
  const Der kDns = text(0x82, "d.example");
  const Der kWide = text(0x1E, std::string_view("\0A", 2)), kT61 = text(0x14, "T\xC8");
  const Der kRelative = wrap(0, wrap(1, set({attribute("2.5.4.11", text(0x13, "U"))})));
  const Der kNotice =
      seq({seq({text(0x16, "O"), seq({integer(1), integer(2)})}), text(0x0C, "\xC3\xA9")});
  CertParts parts;
  parts.unique_ids = join({retag(0x81, bits(unhex("ABC0"), 4)), retag(0x82, bits({1}))});
  parts.subject = seq({set({attribute("2.5.4.3", kWide), attribute("2.5.4.10", kT61)}),
                       set({attribute("2.5.4.45", bits({0x41}))})});
  parts.extensions = {
      extension("2.5.29.15", bits({0x06}, 1), true),
      extension("2.5.29.19", seq({boolean(true), integer(3)}), true),
      extension("2.5.29.14", octets(unhex("0102"))),
      extension("2.5.29.35", seq({unhex("80020A0B"), tlv(0xA1, kDns), unhex("82021000")})),
      extension("2.5.29.16", seq({text(0x80, "20010203040506Z")})),
      extension("2.5.29.32",
                seq({seq({oid("1.2.4"), seq({seq({oid("1.3.6.1.5.5.7.2.1"), text(0x16, "c")}),
                                             seq({oid("1.3.6.1.5.5.7.2.2"), kNotice})})})})),
      extension("2.5.29.33", seq({seq({oid("1.2.1"), oid("1.2.2")})})),
      extension("2.5.29.17", seq({kDns, wrap(4, common_name("D")), unhex("8704C0000201"),
                                  unhex("88032A0304"), wrap(3, null())})),
      extension("2.5.29.9", seq({seq({oid("1.2.3"), set({null()})})})),
      extension("2.5.29.30", seq({tlv(0xA0, {}), tlv(0xA1, {}), seq({kDns, unhex("800103")})})),
      extension("2.5.29.36", seq({seq({unhex("800105810106")})})),
      extension("2.5.29.31", seq({seq({kRelative, unhex("81020460"), tlv(0xA2, kDns)})})),
      extension("2.5.29.37", seq({oid("1.2.3")})),
      extension("1.3.6.1.5.5.7.1.1", seq({seq({oid("1.2.3"), kDns})})),
      extension("1.2.3.4", null()),
  };
  return parts.build();
}

Der rich_crl() {
  CrlParts parts;
  parts.entries = {entry(1), entry(2, {extension("2.5.29.21", {0x0A, 1, 1})}),
                   entry(3, {extension("2.5.29.23", oid("1.2.840.10040.2.1")),
                             extension("2.5.29.24", text(0x18, "20020101000000Z")),
                             extension("2.5.29.29", seq({wrap(4, common_name("X"))}), true)}),
                   entry(4)};
  parts.extensions = {
      extension("2.5.29.20", integer(7)), extension("2.5.29.27", integer(6), true),
      extension("2.5.29.35", seq({unhex("80020A0B")})),
      extension("2.5.29.18", seq({text(0x81, "a@b")})),
      extension("2.5.29.28",
                seq({wrap(0, wrap(1, set({attribute("2.5.4.11", text(0x13, "U"))}))),
                     unhex("8101FF"), retag(0x83, bits({0x60}, 4))}),
                true)};
  return parts.build();
}

struct Seed {
  Der octets;
  bool own = true;  // not one of the examples, some of which are there to be refused
};

std::vector<Seed> seeds() {
  CertParts plain, version1, dsa, dh;
  version1.version = {};
  version1.key = key_info(null(), seq({integer(35), integer(3)}), "2.5.8.1");
  dsa.key = dsa_key_info(0x101);
  dsa.use_algorithm(kDsaSha1);
  dsa.signature = bits(seq({integer(1), integer(0x100)}));
  dh.key = key_info({}, integer(8), "1.2.840.10046.2.1");
  CrlParts version1_crl;
  version1_crl.version = version1_crl.next_update = {};
  version1_crl.entries = {entry(1)};
  std::vector<Seed> all;
  for (const Der &own : {rich_cert(), rich_crl(), plain.build(), version1.build(), dsa.build(),
                         dh.build(), version1_crl.build()})
    all.push_back({own});
  const std::filesystem::path examples = std::filesystem::path(KWPKI_SOURCE_DIR) / "examples";
  std::error_code error;
  for (const auto &file : std::filesystem::directory_iterator(examples, error)) {
    const std::string path = file.path().string(), kind = file.path().extension().string();
    uint8_t *data = nullptr;
    size_t length = 0;
    const bool read = kind == ".der"   ? ssh_read_file(path.c_str(), &data, &length)
                      : kind == ".pem" ? ssh_read_file_base64(path.c_str(), &data, &length)
                                       : false;
    if (read) all.push_back({Der(data, data + length), false});
    if (read) ssh_xfree(data);
  }
  return all;
}

bool decode_both(Bytes octets) {
  const bool cert = touch::decode<Cert>(octets), crl = touch::decode<Crl>(octets);
  return cert || crl;
}

TEST_F(BadInputTest, EveryPrefixOfASeedIsRefused) {
  for (const Seed &seed : seeds()) {
    ASSERT_TRUE(decode_both(seed.octets) || !seed.own) << hex(seed.octets);
    for (size_t length = 0; length < seed.octets.size(); ++length) {
      const Der prefix(seed.octets.begin(), seed.octets.begin() + static_cast<ptrdiff_t>(length));
      ASSERT_FALSE(decode_both(prefix)) << hex(prefix);
    }
  }
}

TEST_F(BadInputTest, EveryChangeOfOneOctetIsReadOrRefused) {
  size_t accepted = 0, refused = 0;
  for (const Seed &seed : seeds()) {
    Der octets = seed.octets;
    const bool cert = static_cast<bool>(Cert(octets));
    for (size_t i = 0; i < octets.size(); ++i) {
      const uint8_t was = octets[i];
      for (unsigned change = 1; change < 256; change += seed.own ? 1 : 31) {
        octets[i] = static_cast<uint8_t>(was ^ change);
        ++((cert ? touch::decode<Cert>(octets) : touch::decode<Crl>(octets)) ? accepted : refused);
      }
      octets[i] = was;
    }
  }
  EXPECT_GT(accepted, 10000u);
  EXPECT_GT(refused, 10000u);
}

// repeat gives `count` copies of an element.
Der repeat(const Der &element, size_t count) {
  Der all;
  all.reserve(element.size() * count);
  for (size_t i = 0; i < count; ++i) all.insert(all.end(), element.begin(), element.end());
  return all;
}

// nest wraps octets in `depth` elements of definite length, without moving them `depth` times.
Der nest(size_t depth, uint8_t identifier, const Der &inner) {
  Der reversed(inner.rbegin(), inner.rend());
  for (size_t i = 0; i < depth; ++i) {
    const size_t length = reversed.size();
    for (int k = 0; k < 4; ++k) reversed.push_back(static_cast<uint8_t>(length >> (8 * k)));
    reversed.insert(reversed.end(), {0x84, identifier});
  }
  return {reversed.rbegin(), reversed.rend()};
}

struct Shape {
  const char *why;
  Der octets;
  const char *refusal = "";  // empty if it is read
};

constexpr char kWork[] = "an encoding that takes too much work";
constexpr size_t kMany = 1000000, kSome = 100000;

Der nulls(size_t count) { return repeat(null(), count); }

template <class Parts, class Part>
Der with(Part Parts::*part, const Part &value) {
  Parts parts;
  parts.*part = value;
  return parts.build();
}
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
  const Der kBigNumber = tlv(0x80, Der(1 << 20, 0)), kOpen = {0x30, 0x80}, kClose = {0, 0};
  const auto subtrees = [](const std::vector<Der> &list) {
    return cert_with("2.5.29.30", seq({tlv(0xA0, {}), seq(list)}));
  };
  return {
      // A read of one element passes over many others, or finds the same large one again.
      {"unknown extension", cert_with({nulls(kMany), kUnknown}), "Extension"},
      {"known extension", cert_with({nulls(kMany), extension("2.5.29.15", bits({0x80}))}),
       "Extension"},
      {"extension value", cert_with("2.5.29.15", nulls(kMany)), "key usage"},
      {"key purpose", cert_with("2.5.29.37", seq({nulls(kMany), kOid})), kWork},
      {"policy", cert_with("2.5.29.32", seq({nulls(kMany), seq({kOid})})), kWork},
      {"long policy", cert_with("2.5.29.32", seq({nulls(kMany), seq({kOid, seq({kQualifiers})})})),
       kWork},
      {"long notice number", cert_with("2.5.29.32", seq({kBigNotice})), kWork},
      {"name", subject_of({nulls(kMany), set({kPair})}), "subject"},
      {"long relative name", subject_of({nulls(kMany), set({repeat(kPair, kSome)})}), "subject"},
      // The fields of name constraints are those of the list for each of its elements.
      {"long base", subtrees({kBigName, unhex("800101810102"), nulls(kSome)}), kWork},
      {"long minimum", subtrees({kDns, kBigNumber, unhex("810102"), nulls(kSome)})},
      {"far minimum", subtrees({kDns, nulls(kSome), unhex("800105")})},
      {"no minimum", subtrees({kDns, nulls(kSome)})},
      // Long lists and deep nesting.
      {"unknown extensions", cert_with({repeat(kUnknown, kSome)})},
      {"key purposes", cert_with("2.5.29.37", seq({repeat(oid("1.2.3"), kMany)}))},
      {"nesting", nest(kMany, 0x30, null()), "Certificate"},
      {"nesting in an extension",
       cert_with({extension("2.5.29.19", nest(kMany, 0x30, {})), kUnknown}), "basic constraints"},
      {"nesting in an unknown extension", cert_with("1.2.3", nest(kMany, 0x30, {}))},
      {"open indefinite lengths", repeat(kOpen, kMany), "BER encoding"},
      {"closed indefinite lengths", join({repeat(kOpen, kMany), repeat(kClose, kMany)}),
       "Certificate"},
      {"list of indefinite lengths",
       cert_with("2.5.29.37", seq({repeat(indefinite(0x30, {null()}), kSome)})),
       "extended key usage"},
  };
}

std::vector<Shape> hostile_crls() {
  const Der kUnknown = extension("1.2.3.4", null()), kOpen = {0x30, 0x80}, kClose = {0, 0};
  const char *const kEntry = "an entry of revokedCertificates";
  return {
      {"revoked entry", crl_with({nulls(kMany), entry(1)}), kEntry},
      {"parts of a revoked entry",
       crl_with({seq({nulls(kMany), integer(1), text(0x17, "020304050607Z")})}), kEntry},
      {"long revoked entry", crl_with({nulls(kMany), entry(1, {repeat(kUnknown, kSome)})}), kEntry},
      {"extension of an entry", crl_with({entry(1, {nulls(kMany), kUnknown})}), "Extension"},
      {"entries with extensions", crl_with({repeat(entry(1, {kUnknown}), kSome)})},
      {"entry of indefinite lengths",
       crl_with({repeat(kOpen, 20000), repeat(kClose, 20000), entry(1)}), kEntry},
  };
}

template <class Record>
void expect_refusals(const std::vector<Shape> &shapes) {
  for (const Shape &row : shapes) {
    decode_both(row.octets);
    const Record record(row.octets);
    const char *const refusal = record->refusal.structure;
    EXPECT_STREQ(refusal ? refusal : "", row.refusal) << row.why;
  }
}

// Where reads are repeated without account, such shapes cost the square of their size or worse:
// what refuses them changes, or they take so long, minutes to days, that the test is ended.
TEST_F(BadInputTest, HostileShapesAreReadOrRefusedInLinearTime) {
  expect_refusals<Cert>(hostile_certs());
  expect_refusals<Crl>(hostile_crls());
}

TEST_F(BadInputTest, ALongCrlDecodesWhole) {
  constexpr int64_t kCount = 800000, kFirst = 0x10000;  // serial numbers of three octets
  CrlParts parts;
  Der entries;
  Der plain = entry(kFirst), reasoned = entry(kFirst, {extension("2.5.29.21", {0x0A, 1, 1})});
  for (int64_t serial = kFirst; serial < kFirst + kCount; ++serial) {
    Der &one = serial % 3 ? plain : reasoned;
    for (int i = 0; i < 3; ++i)
      one[static_cast<size_t>(4 + i)] = static_cast<uint8_t>(serial >> (16 - 8 * i));
    entries.insert(entries.end(), one.begin(), one.end());
  }
  parts.entries = {entries};
  const Der octets = parts.build();
  ASSERT_GT(octets.size(), 20000000u);
  const Crl crl(octets);
  ASSERT_TRUE(crl);
  EXPECT_EQ(crl->revoked_count, static_cast<size_t>(kCount));
  SshX509RevokedCursor cursor(*crl);
  int64_t serial = kFirst;
  while (cursor.next() && cursor.entry().serial == SshMpInt(serial)) ++serial;
  EXPECT_EQ(serial, kFirst + kCount);
}

}  // namespace
