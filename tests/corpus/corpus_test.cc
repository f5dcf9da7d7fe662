// Every certificate and CRL of the corpus against the facts that other tools recorded of it: first
// whether it must be read or refused, then what was read. Items that are refused for their
// algorithm alone are read a second time with a classic algorithm and key in its place, so that
// their names, times and extensions count too. All of it under the classic profile.

#include <gtest/gtest.h>

#include "corpus/classic_rules.h"
#include "corpus/items.h"
#include "corpus/meanings.h"
#include "corpus/name_texts.h"
#include "support/samples.h"
#include "support/touch.h"

namespace {

using classic::Place;
using classic::Verdict;
using corpus_items::CertElements;
using corpus_items::corpus;
using corpus_items::name_der;
using corpus_items::of;
using der::children;
using meanings::fact_instant;
using meanings::instant;
using meanings::read_meaning;
using meanings::unescaped;
using sample::Cert;
using sample::Crl;

std::vector<classic::Extension> extensions_at(const TsvRow &item, const std::string &place) {
  std::vector<classic::Extension> list;
  for (const TsvRow *row : of(corpus().extensions_of, item)) {
    if ((*row)["place"] == place)
      list.push_back({(*row)["oid"], (*row)["critical"] == "1", unhex((*row)["value"])});
  }
  return list;
}

Verdict name_verdict(const TsvRow &item, const std::string &who) {
  const Der der = name_der(item, who);
  const auto name = der::children(der);
  return name.size() == 1 ? classic::name(name[0]) : Verdict::kOpen;
}

bool has_issuer(const TsvRow &item) { return name_der(item, "issuer").size() > 2; }

// Times that are not of the usual length give no verdict.
Verdict time_verdict(const der::Element &time) {
  if (time.identifier == 0x17) return time.content.size() == 13 ? Verdict::kAccept : Verdict::kOpen;
  return time.identifier == 0x18 && time.content.size() == 15 ? Verdict::kAccept : Verdict::kOpen;
}

Verdict version_verdict(const TsvRow &item, const CertElements &elements) {
  const std::string &version = item["version"];
  bool ids = false, extensions = false;
  for (const der::Element &e : elements.tbs) {
    ids |= e.identifier == 0x81 || e.identifier == 0x82;
    extensions |= e.identifier == 0xA3;
  }
  if (version == "1") return classic::must(!ids && !extensions);
  if (version == "2") return classic::must(!extensions);
  return classic::must(version == "3");
}

// The verdict on everything but algorithms, key and signature.
Verdict cert_body_verdict(const TsvRow &item, const CertElements &elements) {
  const bool extended = std::any_of(elements.tbs.begin(), elements.tbs.end(),
                                    [](const auto &e) { return e.identifier == 0xA3; });
  const auto extensions = extensions_at(item, "cert");
  if (!elements.usual || item["class"] == "fuzz" || extended == extensions.empty())
    return Verdict::kOpen;
  Verdict times = Verdict::kAccept;
  for (const der::Element &time : der::children(elements.at(3).content))
    times = times && time_verdict(time);
  return version_verdict(item, elements) && name_verdict(item, "issuer") &&
         name_verdict(item, "subject") && times &&
         classic::extensions(extensions, Place::kCert, has_issuer(item));
}

Verdict cert_verdict(const TsvRow &item, const CertElements &elements) {
  const std::string outer = classic::scheme(item["sig_oid"]),
                    inner = classic::scheme(item["sig_oid_tbs"]);
  if (item["sig_oid"].empty() || !elements.usual) return Verdict::kOpen;
  if (outer.empty() || outer != inner || outer[0] == 'e') return Verdict::kRefuse;
  const Verdict key = classic::key(elements.at(5));
  const auto family = classic::kKeys.find(item["spki_oid"]);
  const bool own_dsa = family != classic::kKeys.end() && family->second == "dsa";
  return key && classic::must(outer[0] != 'd' || own_dsa) && cert_body_verdict(item, elements);
}

// The tables do not have the extensions of every entry, so these are read from the list.
Verdict entry_verdict(const der::Element &entry) {
  const auto parts = children(entry.content);
  if (parts.size() < 2 || parts[0].identifier != 2) return Verdict::kOpen;
  Verdict all = time_verdict(parts[1]);
  if (parts.size() == 2) return all;
  std::vector<classic::Extension> list;
  for (const der::Element &extension : children(parts[2].content)) {
    const auto fields = children(extension.content);
    if (fields.size() < 2) return Verdict::kOpen;
    const bool critical =
        fields.size() > 2 && fields[1].content.size() == 1 && fields[1].content[0] != 0;
    list.push_back({der::oid_text(fields[0].content), critical,
                    Der(fields.back().content.begin(), fields.back().content.end())});
  }
  return all && classic::extensions(list, Place::kEntry, true);
}

Verdict crl_verdict(const TsvRow &item, Bytes octets, bool any_algorithm) {
  const auto top = der::children(octets);
  const auto outer = top.empty() ? std::vector<der::Element>{} : der::children(top[0].content);
  if (outer.size() != 3) return Verdict::kOpen;
  if (!any_algorithm && classic::scheme(item["sig_oid"]).empty()) return Verdict::kRefuse;
  const auto tbs = der::children(outer[0].content);
  Verdict all = name_verdict(item, "issuer") &&
                classic::extensions(extensions_at(item, "crl"), Place::kCrl, has_issuer(item));
  if (!tbs.empty() && tbs[0].identifier == 2)
    all = all && classic::must(hex(tbs[0].content) == "01");
  for (const der::Element &part : tbs) {
    if (part.identifier == 0x17 || part.identifier == 0x18) all = all && time_verdict(part);
  }
  for (size_t i = 1; i < tbs.size(); ++i) {
    const bool after_time = tbs[i - 1].identifier == 0x17 || tbs[i - 1].identifier == 0x18;
    if (tbs[i].identifier != 0x30 || !after_time) continue;
    for (const der::Element &entry : children(tbs[i].content)) all = all && entry_verdict(entry);
  }
  return all;
}

struct Counts {
  size_t accepted = 0, refused = 0, open = 0, meanings = 0, entries = 0, keys = 0, read_open = 0;
};

template <class Record>
void compare_extensions(const TsvRow &item, const std::string &place, const Record &record,
                        Counts &counts) {
  std::set<uint32_t> present;
  std::set<uint32_t> critical;
  for (const TsvRow *row : of(corpus().extensions_of, item)) {
    const auto known = classic::kExtensions.find((*row)["oid"]);
    if ((*row)["place"] != place || known == classic::kExtensions.end()) continue;
    const uint32_t kind = known->second;
    present.insert(kind);
    if ((*row)["critical"] == "1") critical.insert(kind);
    const std::string &fact = (*row)["meaning"];
    if (fact.empty() || fact == "unreadable") continue;
    const bool read = classic::is_read(kind, place == "cert"  ? Place::kCert
                                             : place == "crl" ? Place::kCrl
                                                              : Place::kEntry);
    const std::string ours = read ? read_meaning(record, kind) : "-";
    if (ours == "-") continue;
    ++counts.meanings;
    EXPECT_EQ(ours, unescaped(fact)) << (*row)["oid"] << " at " << place;
  }
  for (uint32_t kind = 0; kind < SSH_X509_EXT_KINDS; ++kind) {
    EXPECT_EQ(record.extensions.test(kind), present.count(kind) != 0)
        << "kind " << kind << " at " << place;
    EXPECT_EQ(record.extensions.critical(kind), critical.count(kind) != 0)
        << "kind " << kind << " at " << place;
  }
}

void compare_name(const TsvRow &item, const std::string &who, const SshX509Name *list) {
  const Der fact = name_der(item, who);
  const SshX509Name *name = ssh_x509_name_find(list, SSH_X509_NAME_DN);
  EXPECT_EQ(name ? hex(name->der) : "3000", hex(fact)) << who;
}

std::string magnitude(Bytes content) {
  while (!content.empty() && content[0] == 0) content = content.subspan(1);
  return hex(content);
}

void compare_key(const TsvRow &item, const SshX509Cert &cert, Counts &counts) {
  for (const TsvRow *row : of(corpus().keys_of, item)) {
    const std::map<std::string, Bytes> numbers = {{"n", cert.key.n},
                                                  {"p", cert.key.p},
                                                  {"q", cert.key.q},
                                                  {"g", cert.key.g},
                                                  {"y", cert.key.y}};
    if ((*row)["key"] != "rsa" && (*row)["key"] != "dsa") continue;
    std::string values = (*row)["values"] + ";";
    for (size_t at = 0, end; (end = values.find(';', at)) != std::string::npos; at = end + 1) {
      const size_t equals = values.find('=', at);
      const std::string field = values.substr(at, equals - at),
                        fact = values.substr(equals + 1, end - equals - 1);
      SshMpInt e;
      e.set_twos_complement(cert.key.e);
      if (field == "e") {
        EXPECT_EQ(sample::decimal(e), fact);
      }
      if (!numbers.count(field)) continue;
      ++counts.keys;
      EXPECT_EQ(magnitude(numbers.at(field)), magnitude(unhex((fact.size() % 2 ? "0" : "") + fact)))
          << field;
    }
  }
}

void compare_cert(const TsvRow &item, const SshX509Cert &cert, Counts &counts) {
  EXPECT_EQ(std::to_string(cert.version), item["version"]);
  EXPECT_EQ(sample::decimal(cert.serial), item["serial"]);
  if (item["disagree"].find("not_before") == std::string::npos) {
    EXPECT_EQ(instant(cert.not_before), fact_instant(item["not_before"]));
  }
  EXPECT_EQ(instant(cert.not_after), fact_instant(item["not_after"]));
  compare_name(item, "issuer", cert.issuer_names);
  compare_name(item, "subject", cert.subject_names);
  compare_extensions(item, "cert", cert, counts);
}

void compare_crl(const TsvRow &item, const SshX509Crl &crl, Counts &counts) {
  EXPECT_EQ(std::to_string(crl.version), item["version"]);
  EXPECT_EQ(instant(crl.this_update), fact_instant(item["not_before"]));
  EXPECT_EQ(crl.next_update.year ? instant(crl.next_update) : "", fact_instant(item["not_after"]));
  EXPECT_EQ(std::to_string(crl.revoked_count), item["revoked"].empty() ? "0" : item["revoked"]);
  compare_name(item, "issuer", crl.issuer_names);
  compare_extensions(item, "crl", crl, counts);

  // The tables have the extensions of the first five entries that have any.
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
    if (index == 0) first = sample::decimal(cursor.entry().serial);
    if (index + 1 == crl.revoked_count) last = sample::decimal(cursor.entry().serial);
    const auto fact = facts.find(index);
    if (fact == facts.end()) continue;
    ++counts.entries;
    EXPECT_EQ(sample::decimal(cursor.entry().serial), (*fact->second)["serial"]) << index;
    EXPECT_EQ(instant(cursor.entry().date), fact_instant((*fact->second)["date"])) << index;
    if (index < known)
      compare_extensions(item, "entry:" + std::to_string(index), cursor.entry(), counts);
  }
  EXPECT_EQ(first, item["revoked_first"]);
  EXPECT_EQ(last, item["revoked_last"]);
}

// judge compares the outcome with the verdict; true if the record can be compared.
template <class Decoded>
bool judge(const Decoded &decoded, Verdict verdict, Counts &counts) {
  if (verdict == Verdict::kOpen) {
    ++counts.open;
    if (decoded) ++counts.read_open;
    return false;
  }
  ++(verdict == Verdict::kAccept ? counts.accepted : counts.refused);
  EXPECT_EQ(static_cast<bool>(decoded), verdict == Verdict::kAccept)
      << (decoded ? "must be refused" : decoded->refusal.structure);
  return decoded && verdict == Verdict::kAccept;
}

void report(const char *what, const Counts &counts) {
  std::printf(
      "%s: %zu read, %zu refused, %zu open (%zu of them read); %zu meanings, %zu entries, %zu key "
      "numbers\n",
      what, counts.accepted, counts.refused, counts.open, counts.read_open, counts.meanings,
      counts.entries, counts.keys);
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

TEST_F(CorpusTest, ItemsAsTheyAre) {
  Counts counts;
  for (const TsvRow &item : corpus().manifest.rows) {
    SCOPED_TRACE(item["file"]);
    const Der octets = corpus().read(item);
    ASSERT_EQ(std::to_string(octets.size()), item["size"]);
    if (item["kind"] == "cert") {
      const Cert cert(octets);
      if (judge(cert, cert_verdict(item, CertElements(octets)), counts)) {
        compare_cert(item, *cert, counts);
        compare_key(item, *cert, counts);
        EXPECT_EQ(cert->signature_scheme, classic::scheme(item["sig_oid"]));
        EXPECT_EQ(cert.length, octets.size() - std::stoul(item["trailing"]));
      }
      if (cert) touch::record(*cert);
      EXPECT_FALSE(Crl(octets));
    } else {
      const Crl crl(octets);
      if (judge(crl, crl_verdict(item, octets, false), counts)) {
        compare_crl(item, *crl, counts);
        EXPECT_EQ(crl->signature_scheme, classic::scheme(item["sig_oid"]));
      }
      if (crl) touch::record(*crl);
      EXPECT_FALSE(Cert(octets));
    }
  }
  report("as they are", counts);
  EXPECT_GE(counts.accepted, 80u);
  EXPECT_GE(counts.refused, 200u);
  EXPECT_LE(counts.open, 10u);
  EXPECT_GE(counts.meanings, 250u);
  EXPECT_GE(counts.keys, 90u);
  EXPECT_GE(counts.entries, 180u);
}

// in_classic_dress gives a certificate classic algorithms and, where its own is not, a classic key.
Der in_classic_dress(const CertElements &elements) {
  std::vector<Der> tbs;
  for (size_t i = 0; i < elements.tbs.size(); ++i) {
    const Bytes whole = elements.tbs[i].whole;
    tbs.emplace_back(whole.begin(), whole.end());
  }
  tbs[elements.first + 1] = sample::algorithm(sample::kRsaSha1);
  if (classic::key(elements.at(5)) != Verdict::kAccept)
    tbs[elements.first + 5] = sample::rsa_key_info();
  return der::seq({der::seq(tbs), sample::algorithm(sample::kRsaSha1), der::bits({1, 2, 3})});
}

TEST_F(CorpusTest, ItemsInClassicDress) {
  Counts counts;
  for (const TsvRow &item : corpus().manifest.rows) {
    SCOPED_TRACE(item["file"]);
    const Der octets = corpus().read(item);
    const CertElements elements(octets);
    if (item["kind"] == "cert") {
      if (!elements.usual) continue;
      const Cert cert(in_classic_dress(elements));
      if (judge(cert, cert_body_verdict(item, elements), counts)) compare_cert(item, *cert, counts);
      if (cert) touch::record(*cert);
    } else {
      if (elements.outer.size() != 3) continue;
      const Bytes list = elements.outer[0].whole;
      const Crl crl(der::seq(
          {Der(list.begin(), list.end()), sample::algorithm(sample::kRsaSha1), der::bits({1, 2})}));
      if (judge(crl, crl_verdict(item, octets, true), counts)) compare_crl(item, *crl, counts);
      if (crl) touch::record(*crl);
    }
  }
  report("in classic dress", counts);
  EXPECT_GE(counts.accepted, 230u);
  EXPECT_GE(counts.refused, 50u);
  EXPECT_LE(counts.open, 15u);
  EXPECT_GE(counts.meanings, 750u);
  EXPECT_GE(counts.entries, 650u);
}

TEST_F(CorpusTest, NamesAndTheirTexts) {
  size_t read = 0, refused = 0, texts = 0;
  for (const TsvRow &row : corpus().names.rows) {
    SCOPED_TRACE(row["file"] + " " + row["who"]);
    const Der octets = unhex(row["der"]);
    const auto elements = der::children(octets);
    ASSERT_EQ(elements.size(), 1u);
    bool empty = false;
    const bool good = classic::name(elements[0]) == Verdict::kAccept;
    EXPECT_EQ(ssh_dn_check_der(octets, &empty), good);
    EXPECT_EQ(good && empty, octets.size() == 2);
    SshDN dn = {};
    EXPECT_EQ(ssh_dn_decode_der(octets, &dn), good);
    ++(good ? read : refused);
    if (good) {
      const auto expected = name_texts::name_text(row, false);
      if (expected) ++texts;
      EXPECT_EQ(sample::own_text(ssh_dn_encode_ldap(&dn)), expected.value_or("(null)"));
    }
    ssh_dn_clear(&dn);
  }
  std::printf("names: %zu read, %zu refused, %zu with text\n", read, refused, texts);
  EXPECT_GE(read, 530u);
  EXPECT_GE(refused, 5u);
  EXPECT_GE(texts, 250u);
}

}  // namespace
