// Every certificate and CRL of the corpus against the facts that independent tools recorded of it:
// first whether it must be read or refused, then what was read. What the tools read modern must read
// too, and refuse what they reject; where we are of another mind, the tables say why. Classic reads
// the same but for its rules, stated a second time. As most of today's items are refused by it for
// their algorithms alone, it reads all of them a second time with a classic algorithm and key in
// their place, so that their names, times and extensions count too.

#include <gtest/gtest.h>

#include <sstream>

#include "corpus/classic_rules.h"
#include "corpus/items.h"
#include "corpus/meanings.h"
#include "corpus/name_texts.h"
#include "support/peer.h"
#include "support/profile.h"
#include "support/samples.h"
#include "support/touch.h"

namespace {

using corpus_items::CertElements;
using corpus_items::corpus;
using corpus_items::name_der;
using corpus_items::of;
using meanings::fact_instant;
using meanings::instant;
using sample::Cert;
using sample::Crl;
using sample::decimal;

struct VerdictRow {
  const char *number;  // the item's, with which its file's name begins
  const char *reason;  // for which it is refused
  bool of_algorithms = false;
  bool by_modern = false;  // alone: classic passes over it
};
constexpr VerdictRow kRefused[] = {
    {"020-", "an RSA key without parameters, which RFC 3279, 2.3.1 calls for", true},
    {"028-", "extensions in version 1"},
    {"032-", "a DSA key with p, q and g beside y", true},
    {"033-", "a DSA key with p, q and g beside y", true},
    {"070-", "an extension twice: RFC 5280, 4.2"},
    {"089-", "a postal address is a list of strings and no string"},
    {"097-", "version 8"},
    {"108-", "alternative names whose lengths do not add up"},
    {"117-", "a distribution point whose name is neither full nor relative"},
    {"140-", "a distribution point with a [4]: RFC 5280, 4.2.1.13", false, true},
    {"147-", "a subtree of no kind of name"},
    {"215-", "two signature algorithms: RFC 5280, 4.1.1.2", true},
    {"272-", "an issuing distribution point with a [9]: RFC 5280, 5.2.5", false, true},
    {"277-", "reason 12"},
    {"299-", "version 3 of a CRL"},
    {"300-", "version 1 of a CRL, in so many words"},
    {"301-", "reason 105"},
};

// Mode is how a test reads the corpus.
struct Mode {
  SshX509Profile profile;
  bool dressed = false;  // with a classic algorithm and key

  [[nodiscard]] bool classic() const { return profile == SSH_X509_CLASSIC; }
};

// expected is true for what no more than one of the four tools rejects, if its signature is known
// to modern and so are its critical extensions, which the tools leave to their users. Two of them
// also reject octets behind a certificate, which we leave to the caller.
bool expected(const TsvRow &item, const Mode &mode) {
  const ProfileScope modern(SSH_X509_MODERN);
  const auto known = [](const std::string &oid, SshOidKind kind) {
    return ssh_oid_find_by_oid(oid.c_str(), kind) != nullptr;
  };
  if (!mode.dressed && !item["sig_oid"].empty() && !known(item["sig_oid"], SSH_OID_SIGNATURE))
    return false;
  for (const TsvRow *row : of(corpus().extensions_of, item)) {
    if ((*row)["critical"] == "1" && !known((*row)["oid"], SSH_OID_EXTENSION)) return false;
  }
  for (const VerdictRow &row : kRefused) {
    if (item["file"].starts_with(row.number))
      return (mode.dressed && row.of_algorithms) || (mode.classic() && row.by_modern);
  }
  size_t rejected = 0;
  for (const char *tool : {"openssl", "gnutls", "pyca", "asn1crypto"})
    rejected += item[tool] == "reject";
  return rejected < 2 || (item["trailing"] != "0" && item["openssl"] == "accept");
}

// expected_by_classic is asked about what modern reads, but for its algorithms.
bool expected_by_classic(const TsvRow &item, const CertElements &elements, const Mode &mode) {
  if (item["kind"] != "cert") {
    return (mode.dressed || classic::kSignatures.count(item["sig_oid"])) &&
           classic::crl(elements.tbs);
  }
  return (mode.dressed || classic::algorithms(elements.outer[1], elements.at(1), elements.at(5))) &&
         classic::certificate(elements.tbs, elements.first);
}

struct Counts {
  size_t read = 0, meanings = 0, keys = 0, entries = 0, open = 0;
};

// compare_key compares the whole SubjectPublicKeyInfo, the numbers, and the points of curves.
void compare_key(const TsvRow &item, const SshX509Cert &cert, Counts &counts) {
  EXPECT_EQ(peer_sha256(cert.key.info), item["spki_sha256"]);
  const std::map<std::string, Bytes> numbers = {{"n", cert.key.n}, {"e", cert.key.e},
                                                {"p", cert.key.p}, {"q", cert.key.q},
                                                {"g", cert.key.g}, {"y", cert.key.y}};
  for (const TsvRow *row : of(corpus().keys_of, item)) {
    std::istringstream values((*row)["values"]);
    for (std::string field; std::getline(values, field, ';');) {
      const std::string fact = field.substr(field.find('=') + 1);
      field.erase(std::min(field.find('='), field.size()));
      const auto number = numbers.find(field);
      if (field == "point") {
        EXPECT_TRUE(hex(cert.key.info).ends_with(fact));
      } else if (number == numbers.end() || number->second.empty()) {
        continue;
      } else {
        SshMpInt value;
        value.set_twos_complement(number->second);
        std::string ours = field == "e" ? decimal(value) : hex(value.magnitude());
        if (ours.starts_with("0")) ours.erase(0, 1);
        if (value.negative() && field != "e") ours.insert(0, "-");
        EXPECT_EQ(ours, fact.substr(fact.starts_with("0") ? 1 : 0)) << field;
      }
      ++counts.keys;
    }
  }
}

template <class Record>
void compare_extensions(const TsvRow &item, const std::string &place, const Record &record,
                        const Mode &mode, Counts &counts) {
  const auto rows = of(corpus().extensions_of, item);
  if (rows.empty()) return;  // of some items the tables have none of those that there are
  std::set<uint32_t> present, critical;
  for (const TsvRow *row : rows) {
    const SshOidRow *known = ssh_oid_find_by_oid((*row)["oid"].c_str(), SSH_OID_EXTENSION);
    if ((*row)["place"] != place || !known) continue;
    present.insert(known->code);
    if ((*row)["critical"] == "1") critical.insert(known->code);
    const std::string &fact = (*row)["meaning"];
    const bool other = known->code == SSH_X509_EXT_NAME_CONSTRAINTS ||
                       known->code == SSH_X509_EXT_POLICY_CONSTRAINTS;
    if (fact.empty() || fact == "unreadable" || (mode.classic() && other)) continue;
    const std::string ours = meanings::read_meaning(record, known->code);
    if (ours == "-") continue;
    ++counts.meanings;
    EXPECT_EQ(ours, meanings::without_empty_subtrees(meanings::unescaped(fact))) << known->name;
  }
  for (uint32_t kind = 0; kind < SSH_X509_EXT_KINDS; ++kind) {
    EXPECT_EQ(record.extensions.test(kind), present.count(kind) != 0) << kind << " at " << place;
    EXPECT_EQ(record.extensions.critical(kind), critical.count(kind) != 0) << kind;
  }
}

void compare_name(const TsvRow &item, const std::string &who, const SshX509Name *list) {
  const SshX509Name *name = ssh_x509_name_find(list, SSH_X509_NAME_DN);
  EXPECT_EQ(name ? hex(name->der) : "3000", hex(name_der(item, who))) << who;
}

void compare(const TsvRow &item, const SshX509Cert &cert, const Mode &mode, Counts &counts) {
  EXPECT_EQ(std::to_string(cert.version), item["version"]);
  EXPECT_EQ(decimal(cert.serial), item["serial"]);
  EXPECT_EQ(instant(cert.not_before), fact_instant(item["not_before"]));
  EXPECT_EQ(instant(cert.not_after), fact_instant(item["not_after"]));
  compare_name(item, "issuer", cert.issuer_names);
  compare_name(item, "subject", cert.subject_names);
  compare_extensions(item, "cert", cert, mode, counts);
  if (!mode.dressed) compare_key(item, cert, counts);
}

// compare_entries: the tables have the extensions of the first five entries that have any.
void compare_entries(const TsvRow &item, const SshX509Crl &crl, const Mode &mode, Counts &counts) {
  std::set<size_t> extended;
  for (const TsvRow *row : of(corpus().extensions_of, item)) {
    if ((*row)["place"].starts_with("entry:"))
      extended.insert(std::stoul((*row)["place"].substr(6)));
  }
  const size_t known = extended.size() < 5 ? crl.revoked_count : *extended.rbegin() + 1;
  std::map<size_t, const TsvRow *> facts;
  for (const TsvRow *row : of(corpus().entries_of, item)) facts[std::stoul((*row)["index"])] = row;
  std::string first, last;
  SshX509RevokedCursor cursor(crl);
  for (size_t index = 0; cursor.next(); ++index) {
    last = decimal(cursor.entry().serial);
    if (index == 0) first = last;
    const auto fact = facts.find(index);
    if (fact == facts.end()) continue;
    ++counts.entries;
    EXPECT_EQ(last, (*fact->second)["serial"]) << index;
    EXPECT_EQ(instant(cursor.entry().date), fact_instant((*fact->second)["date"])) << index;
    if (index < known)
      compare_extensions(item, "entry:" + std::to_string(index), cursor.entry(), mode, counts);
  }
  EXPECT_EQ(first, item["revoked_first"]);
  EXPECT_EQ(last, item["revoked_last"]);
}

void compare(const TsvRow &item, const SshX509Crl &crl, const Mode &mode, Counts &counts) {
  EXPECT_EQ(std::to_string(crl.version), item["version"]);
  EXPECT_EQ(instant(crl.this_update), fact_instant(item["not_before"]));
  EXPECT_EQ(crl.next_update.year ? instant(crl.next_update) : "", fact_instant(item["not_after"]));
  EXPECT_EQ(std::to_string(crl.revoked_count), item["revoked"].empty() ? "0" : item["revoked"]);
  compare_name(item, "issuer", crl.issuer_names);
  compare_extensions(item, "crl", crl, mode, counts);
  compare_entries(item, crl, mode, counts);
}

template <class Decoded>
void judge(const TsvRow &item, const Der &octets, const Mode &mode, Counts &counts) {
  const Decoded decoded(octets);
  if (decoded) touch::record(*decoded);
  const CertElements elements(octets);
  bool wanted = expected(item, mode);
  if (wanted && mode.classic()) {
    if (!elements.usual) {
      ++counts.open;
      return;
    }
    wanted = expected_by_classic(item, elements, mode);
  }
  counts.read += wanted;
  EXPECT_EQ(static_cast<bool>(decoded), wanted)
      << (decoded ? "must be refused" : decoded->refusal.structure);
  if (!decoded || !wanted) return;
  compare(item, *decoded, mode, counts);
  if (mode.dressed || !mode.classic()) return;
  EXPECT_EQ(decoded->signature_scheme, classic::kSignatures.at(item["sig_oid"]));
  EXPECT_EQ(decoded.length, octets.size());
}

// dressed gives a record classic algorithms, and a certificate a classic key.
Der dressed(const TsvRow &item, const Der &octets) {
  const CertElements elements(octets);
  if (elements.outer.size() != 3) return octets;
  std::vector<Der> tbs;
  for (const der::Element &element : elements.tbs)
    tbs.emplace_back(element.whole.begin(), element.whole.end());
  const Der algorithm = sample::algorithm(sample::kRsaSha1);
  const Bytes list = elements.outer[0].whole;
  Der first(list.begin(), list.end());
  if (item["kind"] == "cert" && tbs.size() >= elements.first + 6) {
    tbs[elements.first + 1] = algorithm;
    tbs[elements.first + 5] = sample::rsa_key_info();
    first = der::seq(tbs);
  }
  return der::seq({first, algorithm, der::bits({1, 2, 3})});
}

class CorpusTest : public sample::Balanced {
 protected:
  void SetUp() override {
    if (!corpus().found) GTEST_SKIP() << "no corpus at " << corpus().folder;
    Balanced::SetUp();
  }
  void TearDown() override {
    if (corpus().found) Balanced::TearDown();
  }
};

TEST_F(CorpusTest, ItemsAsTheyAreAndInClassicDress) {
  const struct {
    Mode mode;
    Counts least;
  } rows[] = {{{SSH_X509_MODERN}, {250, 500, 300, 500}},
              {{SSH_X509_CLASSIC}, {80, 250, 90, 180}},
              {{SSH_X509_CLASSIC, true}, {230, 750, 0, 650}}};
  for (const auto &[mode, least] : rows) {
    const ProfileScope scope(mode.profile);
    Counts counts;
    for (const TsvRow &item : corpus().manifest.rows) {
      SCOPED_TRACE(item["file"] + (mode.dressed ? " in classic dress" : ""));
      Der octets = corpus().read(item);
      ASSERT_EQ(std::to_string(octets.size()), item["size"]);
      if (mode.dressed) octets = dressed(item, octets);
      if (item["kind"] == "cert") {
        judge<Cert>(item, octets, mode, counts);
        EXPECT_FALSE(Crl(octets));
      } else {
        judge<Crl>(item, octets, mode, counts);
        EXPECT_FALSE(Cert(octets));
      }
    }
    std::printf("%zu read, %zu open; %zu meanings, %zu entries, %zu key numbers\n", counts.read,
                counts.open, counts.meanings, counts.entries, counts.keys);
    EXPECT_TRUE(counts.read >= least.read && counts.meanings >= least.meanings &&
                counts.keys >= least.keys && counts.entries >= least.entries);
    EXPECT_LE(counts.open, 10u);
  }
}

TEST_F(CorpusTest, NamesAndTheirTexts) {
  for (const bool modern : {false, true}) {
    const ProfileScope scope(modern ? SSH_X509_MODERN : SSH_X509_CLASSIC);
    size_t read = 0, texts = 0;
    for (const TsvRow &row : corpus().names.rows) {
      SCOPED_TRACE(row["file"] + " " + row["who"]);
      const Der octets = unhex(row["der"]);
      SshDN dn = {};
      const bool good = ssh_dn_decode_der(octets, &dn);
      if (good) {
        ++read;
        const auto expected = name_texts::name_text(row, modern);
        texts += expected.has_value();
        EXPECT_EQ(sample::own_text(ssh_dn_encode_ldap(&dn)), expected.value_or("(null)"));
      }
      ssh_dn_clear(&dn);
      bool empty = false;
      EXPECT_EQ(ssh_dn_check_der(octets, &empty), good);
      EXPECT_EQ(good && empty, octets.size() == 2);
      if (!modern) {
        EXPECT_EQ(good, classic::name(der::children(octets)[0]));
      }
    }
    std::printf("names: %zu read, %zu with text\n", read, texts);
    EXPECT_GE(read, corpus().names.rows.size() - (modern ? 2 : 12));
    EXPECT_GE(texts, modern ? read * 95 / 100 : 250);
  }
}

}  // namespace
