// Nothing in the data may end, hang or corrupt the process, and work and memory stay proportional
// to the input.

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>

#include "asn1/files.h"
#include "support/samples.h"
#include "support/touch.h"

namespace {

using sample::Cert;
using sample::CertParts;
using sample::Crl;
using sample::CrlParts;
using sample::entry;
using sample::extension;
using BadInputTest = sample::Balanced;

#if defined(__SANITIZE_ADDRESS__)
constexpr double kSeconds = 30;
#elif defined(__has_feature)
constexpr double kSeconds = __has_feature(address_sanitizer) ? 30 : 6;
#else
constexpr double kSeconds = 6;
#endif

Der rich_cert() {
  const Der kDns = der::text(0x82, "d.example");
  const Der kRelative =
      der::wrap(0, der::wrap(1, der::set({der::attribute("2.5.4.11", der::text(0x13, "U"))})));
  const Der kNotice =
      der::seq({der::seq({der::text(0x16, "O"), der::seq({der::integer(1), der::integer(2)})}),
                der::text(0x0C, "\xC3\xA9")});
  CertParts parts;
  parts.unique_ids =
      der::join({der::retag(0x81, der::bits(unhex("ABC0"), 4)), der::retag(0x82, der::bits({1}))});
  parts.subject =
      der::seq({der::set({der::attribute("2.5.4.3", der::text(0x1E, std::string_view("\0A", 2))),
                          der::attribute("2.5.4.10", der::text(0x14,
                                                               "T\xC8"
                                                               "u"))}),
                der::set({der::attribute("2.5.4.45", der::bits({0x41}))})});
  parts.extensions = {
      extension("2.5.29.15", der::bits({0x06}, 1), true),
      extension("2.5.29.19", der::seq({der::boolean(true), der::integer(3)}), true),
      extension("2.5.29.14", der::octets(unhex("0102"))),
      extension("2.5.29.35",
                der::seq({unhex("80020A0B"), der::tlv(0xA1, kDns), unhex("82021000")})),
      extension("2.5.29.16", der::seq({der::text(0x80, "20010203040506Z")})),
      extension("2.5.29.32",
                der::seq({der::seq(
                    {der::oid("1.2.4"),
                     der::seq({der::seq({der::oid("1.3.6.1.5.5.7.2.1"), der::text(0x16, "c")}),
                               der::seq({der::oid("1.3.6.1.5.5.7.2.2"), kNotice})})})})),
      extension("2.5.29.33", der::seq({der::seq({der::oid("1.2.1"), der::oid("1.2.2")})})),
      extension("2.5.29.17",
                der::seq({kDns, der::wrap(4, der::common_name("D")), unhex("8704C0000201"),
                          unhex("88032A0304"), der::wrap(3, der::null())})),
      extension("2.5.29.9", der::seq({der::seq({der::oid("1.2.3"), der::set({der::null()})})})),
      extension("2.5.29.30", der::seq({der::tlv(0xA0, {}), der::tlv(0xA1, {}),
                                       der::seq({kDns, unhex("800103")})})),
      extension("2.5.29.36", der::seq({der::seq({unhex("800105810106")})})),
      extension("2.5.29.31",
                der::seq({der::seq({kRelative, unhex("81020460"), der::tlv(0xA2, kDns)})})),
      extension("2.5.29.37", der::seq({der::oid("1.2.3")})),
      extension("1.3.6.1.5.5.7.1.1", der::seq({der::seq({der::oid("1.2.3"), kDns})})),
      extension("1.2.3.4", der::null()),
  };
  return parts.build();
}

Der rich_crl() {
  CrlParts parts;
  parts.entries = {
      entry(1), entry(2, {extension("2.5.29.21", {0x0A, 1, 1})}),
      entry(3, {extension("2.5.29.23", der::oid("1.2.840.10040.2.1")),
                extension("2.5.29.24", der::text(0x18, "20020101000000Z")),
                extension("2.5.29.29", der::seq({der::wrap(4, der::common_name("X"))}), true)}),
      entry(4)};
  parts.extensions = {
      extension("2.5.29.20", der::integer(7)), extension("2.5.29.27", der::integer(6), true),
      extension("2.5.29.35", der::seq({unhex("80020A0B")})),
      extension("2.5.29.18", der::seq({der::text(0x81, "a@b")})),
      extension("2.5.29.28",
                der::seq({der::wrap(0, der::wrap(1, der::set({der::attribute(
                                                        "2.5.4.11", der::text(0x13, "U"))}))),
                          unhex("8101FF"), der::retag(0x83, der::bits({0x60}, 4))}),
                true)};
  return parts.build();
}

struct Seed {
  std::string name;
  Der octets;
  bool own = true;  // not one of the examples, some of which are there to be refused
};

std::vector<Seed> seeds() {
  CertParts plain, version1, dsa, dh;
  version1.version = {};
  version1.key =
      sample::key_info(der::null(), der::seq({der::integer(35), der::integer(3)}), "2.5.8.1");
  dsa.key = sample::dsa_key_info(0x101);
  dsa.use_algorithm(sample::kDsaSha1);
  dsa.signature = der::bits(der::seq({der::integer(1), der::integer(0x100)}));
  dh.key = sample::key_info({}, der::integer(8), "1.2.840.10046.2.1");
  CrlParts version1_crl;
  version1_crl.version = version1_crl.next_update = {};
  version1_crl.entries = {entry(1)};
  std::vector<Seed> all = {
      {"rich certificate", rich_cert()},      {"plain certificate", plain.build()},
      {"version 1", version1.build()},        {"DSA", dsa.build()},
      {"Diffie-Hellman", dh.build()},         {"rich CRL", rich_crl()},
      {"version 1 CRL", version1_crl.build()}};
  const std::filesystem::path examples = std::filesystem::path(KWPKI_SOURCE_DIR) / "examples";
  std::error_code error;
  for (const auto &file : std::filesystem::directory_iterator(examples, error)) {
    const std::string path = file.path().string(), kind = file.path().extension().string();
    uint8_t *data = nullptr;
    size_t length = 0;
    const bool read = kind == ".der"   ? ssh_read_file(path.c_str(), &data, &length)
                      : kind == ".pem" ? ssh_read_file_base64(path.c_str(), &data, &length)
                                       : false;
    if (read) all.push_back({file.path().filename().string(), Der(data, data + length), false});
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
    ASSERT_TRUE(decode_both(seed.octets) || !seed.own) << seed.name;
    for (size_t length = 0; length < seed.octets.size(); ++length) {
      const Der prefix(seed.octets.begin(), seed.octets.begin() + static_cast<ptrdiff_t>(length));
      ASSERT_FALSE(decode_both(prefix)) << seed.name << " cut to " << length;
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
  std::vector<uint8_t> reversed(inner.rbegin(), inner.rend());
  for (size_t i = 0; i < depth; ++i) {
    const size_t length = reversed.size();
    if (length < 0x80) {
      reversed.push_back(static_cast<uint8_t>(length));
    } else {
      for (int k = 0; k < 4; ++k) reversed.push_back(static_cast<uint8_t>(length >> (8 * k)));
      reversed.push_back(0x84);
    }
    reversed.push_back(identifier);
  }
  return {reversed.rbegin(), reversed.rend()};
}

struct Shape {
  const char *why;
  Der octets;
};

constexpr size_t kMany = 500000, kSome = 100000;

Der nulls(size_t count) { return repeat(der::null(), count); }

Der cert_with(const std::vector<Der> &extensions) {
  CertParts parts;
  parts.extensions = extensions;
  return parts.build();
}
Der cert_with(std::string_view id, const Der &value) { return cert_with({extension(id, value)}); }
Der subject_of(const std::vector<Der> &rdns) {
  CertParts parts;
  parts.subject = der::seq(rdns);
  return parts.build();
}
Der crl_with(const std::vector<Der> &entries) {
  CrlParts parts;
  parts.entries = entries;
  return parts.build();
}

// Shapes that make a read of one element pass over many others, or find the same large one again.
std::vector<Shape> search_shapes() {
  const Der kOid = der::oid("1.2.3.4"), kUnknown = extension("1.2.3.4", der::null());
  const Der kPair = der::attribute("2.5.4.3", der::text(0x13, "A"));
  const Der kNotice = der::oid("1.3.6.1.5.5.7.2.2"), kBigNumber = der::tlv(2, Der(4 << 20, 0));
  const Der kQualifiers = repeat(der::seq({kNotice, der::seq({})}), 100000);
  const Der kNumbers = der::seq({nulls(20000), kBigNumber});
  const Der kReference = der::seq({der::seq({der::text(0x16, ""), kNumbers})});
  const Der kBigNotice = der::seq({kOid, der::seq({der::seq({kNotice, kReference})})});
  return {
      {"unknown extension", cert_with({nulls(kMany), kUnknown})},
      {"known extension", cert_with({nulls(kMany), extension("2.5.29.15", der::bits({0x80}))})},
      {"subject attributes", cert_with({nulls(kSome), extension("2.5.29.9", der::seq({}))})},
      {"extension value", cert_with("2.5.29.15", nulls(kMany))},
      {"key purpose", cert_with("2.5.29.37", der::seq({nulls(kSome), kOid}))},
      {"policy", cert_with("2.5.29.32", der::seq({nulls(kSome), der::seq({kOid})}))},
      {"long policy",
       cert_with("2.5.29.32", der::seq({nulls(60000), der::seq({kOid, der::seq({kQualifiers})})}))},
      {"long notice number", cert_with("2.5.29.32", der::seq({kBigNotice}))},
      {"name", subject_of({nulls(kSome), der::set({kPair})})},
      {"long relative name", subject_of({nulls(60000), der::set({repeat(kPair, 50000)})})},
      {"revoked entry", crl_with({nulls(kSome), entry(1)})},
      {"parts of a revoked entry",
       crl_with({der::seq({nulls(kSome), der::integer(1), der::text(0x17, "020304050607Z")})})},
      {"long revoked entry", crl_with({nulls(60000), entry(1, {repeat(kUnknown, 50000)})})},
      {"extension of an entry", crl_with({entry(1, {nulls(kSome), kUnknown})})},
  };
}

// Name constraints, whose fields are those of the list for each of its elements.
std::vector<Shape> subtree_shapes() {
  const Der kPair = der::attribute("2.5.4.3", der::text(0x13, "A"));
  const Der kBigName = der::wrap(4, der::seq({repeat(der::set({kPair}), 20000)}));
  const Der kBigNumber = der::tlv(0x80, Der(1 << 20, 0)), kDns = der::text(0x82, "d");
  const auto subtrees = [](const std::vector<Der> &list) {
    return cert_with("2.5.29.30", der::seq({der::tlv(0xA0, {}), der::seq(list)}));
  };
  return {
      {"long base", subtrees({kBigName, unhex("800101810102"), nulls(kSome)})},
      {"long minimum", subtrees({kDns, kBigNumber, unhex("810102"), nulls(kSome)})},
      {"far minimum", subtrees({kDns, nulls(kSome), unhex("800105")})},
      {"no minimum", subtrees({kDns, nulls(kSome)})},
  };
}

std::vector<Shape> long_and_deep_shapes() {
  const Der kUnknown = extension("1.2.3.4", der::null()), kOpen = {0x30, 0x80}, kClose = {0, 0};
  const Der kIndefinite = der::indefinite(0x30, {der::null()});
  return {
      {"unknown extensions", cert_with({repeat(kUnknown, kMany / 4)})},
      {"key purposes", cert_with("2.5.29.37", der::seq({repeat(der::oid("1.2.3"), kMany)}))},
      {"entries with extensions", crl_with({repeat(entry(1, {kUnknown}), kSome)})},
      {"nesting", nest(kMany, 0x30, der::null())},
      {"nesting in an extension",
       cert_with({extension("2.5.29.19", nest(kMany, 0x30, {})), kUnknown})},
      {"nesting in an unknown extension", cert_with("1.2.3", nest(kMany, 0x30, {}))},
      {"open indefinite lengths", repeat(kOpen, kMany)},
      {"closed indefinite lengths", der::join({repeat(kOpen, kMany), repeat(kClose, kMany)})},
      {"list of indefinite lengths",
       cert_with("2.5.29.37", der::seq({repeat(kIndefinite, kSome)}))},
      {"entry of indefinite lengths",
       crl_with({repeat(kOpen, 20000), repeat(kClose, 20000), entry(1)})},
  };
}

// Each shape costs the square of its size or worse where reads are repeated without account:
// minutes to days.
TEST_F(BadInputTest, HostileShapesTakeLinearTime) {
  std::vector<Shape> rows = search_shapes();
  for (const auto &more : {subtree_shapes(), long_and_deep_shapes()}) {
    rows.insert(rows.end(), more.begin(), more.end());
  }
  for (const auto &row : rows) {
    // A guard against hanging, of processor time, so that other work on the machine has no say.
    const std::clock_t start = std::clock();
    decode_both(row.octets);
    const double took = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    EXPECT_LT(took, kSeconds) << row.why;
  }
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
