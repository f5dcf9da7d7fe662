// Every certificate and CRL of the corpus against the facts that independent tools recorded of it:
// first whether it must be read or refused, then what was read. What the tools read modern must
// read too, and refuse what they reject; where we are of another mind, the tables say why. Of
// classic it is known how many it reads (README.md); what it refuses is tested in tests/x509.

#include <gtest/gtest.h>

#include "corpus/items.h"
#include "corpus/meanings.h"
#include "support/peer.h"
#include "support/profile.h"
#include "support/samples.h"

namespace {

using corpus_items::corpus;
using corpus_items::of;
using meanings::fact_instant;
using meanings::instant;
using sample::Cert;
using sample::Crl;
using sample::decimal;

// The number with which an item's file begins, and the reason for which it is refused.
constexpr std::pair<const char *, const char *> kRefused[] = {
    {"020-", "a critical extension that has no place in a certificate"},
    {"028-", "extensions in version 1"},
    {"032-", "a DSA key with p, q and g beside y"},
    {"033-", "a DSA key with p, q and g beside y"},
    {"070-", "an extension twice: RFC 5280, 4.2"},
    {"089-", "a postal address is a list of strings and no string"},
    {"097-", "version 8"},
    {"108-", "alternative names whose lengths do not add up"},
    {"117-", "a distribution point whose name is neither full nor relative"},
    {"140-", "a distribution point with a [4]: RFC 5280, 4.2.1.13"},
    {"147-", "a subtree of no kind of name"},
    {"215-", "two signature algorithms: RFC 5280, 4.1.1.2"},
    {"226-", "two signature algorithms that no tool knows"},
    {"272-", "an issuing distribution point with a [9]: RFC 5280, 5.2.5"},
    {"277-", "reason 12"},
    {"299-", "version 3 of a CRL"},
    {"301-", "reason 105"},
};

// expected is true for what no more than one of the four tools rejects, if its critical extensions
// are known, which the tools leave to their users. Two of them also reject bytes behind a
// certificate, which we leave to the caller.
bool expected(const TsvRow &item) {
  for (const TsvRow *row : of(corpus().extensions_of, item)) {
    if ((*row)["critical"] == "1" && !ssh_oid_find_by_oid((*row)["oid"].c_str(), SSH_OID_EXTENSION))
      return false;
  }
  for (const auto &[number, reason] : kRefused) {
    if (item["file"].starts_with(number)) return false;
  }
  size_t rejected = 0;
  for (const char *tool : {"openssl", "gnutls", "pyca", "asn1crypto"})
    rejected += item[tool] == "reject";
  return rejected < 2 || (item["trailing"] != "0" && item["openssl"] == "accept");
}

template <class Record>
void compare_extensions(const TsvRow &item, const std::string &place, const Record &record,
                        bool modern, size_t &compared) {
  const auto rows = of(corpus().extensions_of, item);
  if (rows.empty()) return;           // of some items the tables have none of those that there are
  std::map<uint32_t, bool> critical;  // of those that are there
  for (const TsvRow *row : rows) {
    const SshOidRow *known = ssh_oid_find_by_oid((*row)["oid"].c_str(), SSH_OID_EXTENSION);
    if ((*row)["place"] != place || !known) continue;
    critical[known->code] = (*row)["critical"] == "1";
    const std::string &fact = (*row)["meaning"];
    const bool other = known->code == SSH_X509_EXT_NAME_CONSTRAINTS ||
                       known->code == SSH_X509_EXT_POLICY_CONSTRAINTS;
    if (fact.empty() || fact == "unreadable" || (!modern && other)) continue;
    const std::string ours = meanings::read_meaning(record, known->code);
    if (ours == "-") continue;
    ++compared;
    EXPECT_EQ(ours, meanings::without_empty_subtrees(meanings::unescaped(fact))) << known->name;
  }
  for (uint32_t kind = 0; kind < SSH_X509_EXT_KINDS; ++kind) {
    EXPECT_EQ(record.extensions.test(kind), critical.count(kind) != 0) << kind << " at " << place;
    EXPECT_EQ(record.extensions.critical(kind), critical[kind]) << kind;
  }
}

void compare_name(const TsvRow &item, const std::string &who, const SshX509Name *list) {
  const SshX509Name *name = ssh_x509_name_find(list, SSH_X509_NAME_DN);
  for (const TsvRow *row : of(corpus().names_of, item))
    EXPECT_TRUE((*row)["who"] != who || (*row)["der"] == (name ? hex(name->der) : "3000")) << who;
}

void compare(const TsvRow &item, const SshX509Cert &cert, bool modern, size_t &compared) {
  EXPECT_EQ(std::to_string(cert.version), item["version"]);
  EXPECT_EQ(decimal(cert.serial), item["serial"]);
  EXPECT_EQ(instant(cert.not_before), fact_instant(item["not_before"]));
  EXPECT_EQ(instant(cert.not_after), fact_instant(item["not_after"]));
  compare_name(item, "issuer", cert.issuer_names);
  compare_name(item, "subject", cert.subject_names);
  compare_extensions(item, "cert", cert, modern, compared);
  EXPECT_EQ(peer_sha256(cert.key.info), item["spki_sha256"]);
}

void compare_entries(const TsvRow &item, const SshX509Crl &crl) {
  std::map<size_t, const TsvRow *> facts;
  for (const TsvRow *row : of(corpus().entries_of, item)) facts[std::stoul((*row)["index"])] = row;
  std::string first, last;
  SshX509RevokedCursor cursor(crl);
  for (size_t index = 0; cursor.next(); ++index) {
    last = decimal(cursor.entry().serial);
    if (index == 0) first = last;
    const auto fact = facts.find(index);
    if (fact == facts.end()) continue;
    EXPECT_EQ(last, (*fact->second)["serial"]) << index;
    EXPECT_EQ(instant(cursor.entry().date), fact_instant((*fact->second)["date"])) << index;
  }
  EXPECT_EQ(first, item["revoked_first"]);
  EXPECT_EQ(last, item["revoked_last"]);
}

void compare(const TsvRow &item, const SshX509Crl &crl, bool modern, size_t &compared) {
  EXPECT_EQ(std::to_string(crl.version), item["version"]);
  EXPECT_EQ(instant(crl.this_update), fact_instant(item["not_before"]));
  EXPECT_EQ(crl.next_update.year ? instant(crl.next_update) : "", fact_instant(item["not_after"]));
  EXPECT_EQ(std::to_string(crl.revoked_count), item["revoked"].empty() ? "0" : item["revoked"]);
  compare_name(item, "issuer", crl.issuer_names);
  compare_extensions(item, "crl", crl, modern, compared);
  compare_entries(item, crl);
}

template <class Decoded>
bool judge(const TsvRow &item, const Der &octets, bool modern, size_t &compared) {
  const Decoded decoded(octets);
  EXPECT_TRUE(!modern || static_cast<bool>(decoded) == expected(item))
      << (decoded ? "must be refused" : sample::reason(decoded->refusal));
  if (decoded) compare(item, *decoded, modern, compared);
  return static_cast<bool>(decoded);
}

using CorpusTest = sample::Balanced;

TEST_F(CorpusTest, Items) {
  if (!corpus().found) GTEST_SKIP() << "no corpus at " << corpus().folder;
  for (const bool modern : {false, true}) {
    const ProfileScope scope(modern ? SSH_X509_MODERN : SSH_X509_CLASSIC);
    size_t read = 0, compared = 0;
    for (const TsvRow &item : corpus().manifest.rows) {
      SCOPED_TRACE(item["file"]);
      const Der octets = corpus().read(item);
      const bool is_cert = item["kind"] == "cert";
      read += is_cert ? judge<Cert>(item, octets, modern, compared)
                      : judge<Crl>(item, octets, modern, compared);
      EXPECT_FALSE(is_cert ? Crl(octets).length : Cert(octets).length) << "one read as the other";
    }
    EXPECT_EQ(read, modern ? 269u : 84u);
    EXPECT_GE(compared, modern ? 500u : 240u);
  }
}

}  // namespace
