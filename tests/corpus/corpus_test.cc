// Every certificate and CRL of the corpus against the facts that independent tools recorded of it:
// first whether it must be read or refused, then what was read. What the tools read modern must
// read too, and refuse what they reject; where we are of another mind, the tables say why. Of
// classic it is known how many it reads (README.md); what it refuses is tested in tests/x509.

#include <gtest/gtest.h>

#include <set>

#include "corpus/items.h"
#include "corpus/meanings.h"
#include "support/peer.h"
#include "support/profile.h"
#include "support/samples.h"

namespace {

using corpus_items::corpus;
using corpus_items::name_der;
using corpus_items::of;
using meanings::fact_instant;
using meanings::instant;
using sample::Cert;
using sample::Crl;
using sample::decimal;

struct VerdictRow {
  const char *number;      // the item's, with which its file's name begins
  const char *reason;      // for which it is refused
  bool by_modern = false;  // alone: classic passes over it
};
constexpr VerdictRow kRefused[] = {
    {"020-", "a critical extension that has no place in a certificate"},
    {"028-", "extensions in version 1"},
    {"032-", "a DSA key with p, q and g beside y"},
    {"033-", "a DSA key with p, q and g beside y"},
    {"070-", "an extension twice: RFC 5280, 4.2"},
    {"089-", "a postal address is a list of strings and no string"},
    {"097-", "version 8"},
    {"108-", "alternative names whose lengths do not add up"},
    {"117-", "a distribution point whose name is neither full nor relative"},
    {"140-", "a distribution point with a [4]: RFC 5280, 4.2.1.13", true},
    {"147-", "a subtree of no kind of name"},
    {"215-", "two signature algorithms: RFC 5280, 4.1.1.2"},
    {"226-", "two signature algorithms that no tool knows"},
    {"272-", "an issuing distribution point with a [9]: RFC 5280, 5.2.5", true},
    {"277-", "reason 12"},
    {"299-", "version 3 of a CRL"},
    {"301-", "reason 105"},
};

// expected is true for what no more than one of the four tools rejects, if its critical extensions
// are known, which the tools leave to their users, and to classic its signature. Two of them
// also reject bytes behind a certificate, which we leave to the caller.
bool expected(const TsvRow &item, bool modern) {
  const ProfileScope scope(SSH_X509_MODERN);
  const auto known = [](const std::string &oid, SshOidKind kind) {
    return ssh_oid_find_by_oid(oid.c_str(), kind) != nullptr;
  };
  if (!modern && !item["sig_oid"].empty() && !known(item["sig_oid"], SSH_OID_SIGNATURE))
    return false;
  for (const TsvRow *row : of(corpus().extensions_of, item)) {
    if ((*row)["critical"] == "1" && !known((*row)["oid"], SSH_OID_EXTENSION)) return false;
  }
  for (const VerdictRow &row : kRefused) {
    if (item["file"].starts_with(row.number)) return !modern && row.by_modern;
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
    if (fact.empty() || fact == "unreadable" || (!modern && other)) continue;
    const std::string ours = meanings::read_meaning(record, known->code);
    if (ours == "-") continue;
    ++compared;
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

// compare_entries: the tables have the extensions of the first five entries that have any.
void compare_entries(const TsvRow &item, const SshX509Crl &crl, bool modern, size_t &compared) {
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
    EXPECT_EQ(last, (*fact->second)["serial"]) << index;
    EXPECT_EQ(instant(cursor.entry().date), fact_instant((*fact->second)["date"])) << index;
    if (index < known)
      compare_extensions(item, "entry:" + std::to_string(index), cursor.entry(), modern, compared);
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
  compare_entries(item, crl, modern, compared);
}

template <class Decoded>
bool judge(const TsvRow &item, const Der &octets, bool modern, size_t &compared) {
  const Decoded decoded(octets);
  const bool wanted = expected(item, modern);
  if (modern || decoded) {
    EXPECT_EQ(static_cast<bool>(decoded), wanted)
        << (decoded ? "must be refused" : sample::reason(decoded->refusal));
  }
  if (decoded && wanted) compare(item, *decoded, modern, compared);
  return static_cast<bool>(decoded);
}

// label gives what stands for an attribute's type in the text of a name.
std::string label(const std::string &oid, bool modern) {
  static const std::string kNames =
      " 2.5.4.6=C 2.5.4.7=L 2.5.4.5=STREET 2.5.4.8=ST 2.5.4.10=O 2.5.4.11=OU 2.5.4.3=CN 2.5.4.4=S "
      "2.5.4.12=T 2.5.4.41=N 2.5.4.42=G 2.5.4.43=I 2.5.4.44=GQ 2.5.4.45=UI 2.5.4.46=DNQ "
      "2.5.4.54=dmdName 1.2.840.113549.1.9.1=MAILTO 1.2.840.113549.1.9.2=UN "
      "1.2.840.113549.1.9.8=UA 0.9.2342.19200300.100.1.25=DC ";
  static const std::string kModernNames =
      kNames +
      "2.5.4.9=streetAddress 2.5.4.15=businessCategory 2.5.4.17=postalCode 2.5.4.65=pseudonym "
      "2.5.4.97=organizationIdentifier 1.3.6.1.4.1.311.60.2.1.1=jurisdictionL "
      "1.3.6.1.4.1.311.60.2.1.2=jurisdictionST 1.3.6.1.4.1.311.60.2.1.3=jurisdictionC "
      "0.9.2342.19200300.100.1.1=UID ";
  const std::string &names = modern ? kModernNames : kNames;
  const size_t at = names.find(" " + oid + "="), name = at + oid.size() + 2;
  return at == names.npos ? "OID." + oid : names.substr(name, names.find(' ', name) - name);
}

// name_text gives the text of a row of the names whose values stand in it as they are. tests/x509
// has those that are quoted, in digits, or have none.
std::optional<std::string> name_text(const TsvRow &name, bool modern) {
  std::string text;
  for (const TsvRow *row : of(corpus().attributes_of, name)) {
    if ((*row)["who"] != name["who"]) continue;
    const std::string &value = (*row)["text"], &tag = (*row)["tag"], &oid = (*row)["oid"];
    const bool coded = tag == "30" || tag == "28" || (tag == "12" && !modern);
    if (coded || value.empty() || value.find_first_of("\\\"+,;") != std::string::npos) return {};
    if (!text.empty()) text += (*row)["part"] == "0" ? ", " : " + ";
    text += label(oid, modern) + "=" + value;
  }
  return text;
}

class CorpusTest : public sample::Balanced {
 protected:
  void SetUp() override {
    if (!corpus().found) GTEST_SKIP() << "no corpus at " << corpus().folder;
  }
};

TEST_F(CorpusTest, Items) {
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
    EXPECT_GE(compared, modern ? 500u : 250u);
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
        const std::string text = sample::own_text(ssh_dn_encode_ldap(&dn));
        if (const auto expected = name_text(row, modern)) {
          EXPECT_EQ(text, *expected);
          ++texts;
        }
      }
      ssh_dn_clear(&dn);
      bool empty = false;
      EXPECT_EQ(ssh_dn_check_der(octets, &empty), good);
      EXPECT_EQ(good && empty, octets.size() == 2);
    }
    EXPECT_EQ(corpus().names.rows.size() - read, modern ? 1u : 5u);
    EXPECT_GE(texts, modern ? read * 80 / 100 : 230);
  }
}

}  // namespace
