// The corpus under the modern profile: what independent tools read must be read, with the numbers,
// names, keys and extensions that they found, and what they reject must be refused. Where we are of
// another mind, the tables say why.

#include <gtest/gtest.h>

#include "corpus/items.h"
#include "corpus/meanings.h"
#include "corpus/name_texts.h"
#include "support/peer.h"
#include "support/profile.h"
#include "support/samples.h"
#include "support/touch.h"

namespace {

using corpus_items::corpus;
using corpus_items::name_der;
using corpus_items::of;
using meanings::fact_instant;
using meanings::instant;
using sample::Cert;
using sample::Crl;

// Signatures of neither profile, with the scheme: whoever asks for it has a table for all of them.
const std::map<std::string, std::string> kForeignSignatures = {
    {"0.0", "a test's own"},
    {"1.2.156.10197.1.501", "SM2 with SM3"},
    {"1.2.643.2.2.3", "GOST R 34.10-2001"},
    {"1.2.643.2.2.4", "GOST R 34.10-94"},
    {"1.2.643.7.1.1.3.2", "GOST R 34.10-2012"},
    {"1.2.840.113549.1.96.5", "unknown to all tools"},
    {"1.2.840.113549.2.5", "MD5, which is no signature"},
    {"1.3.36.3.3.1.2", "RSA with RIPEMD-160"},
    {"2.16.840.1.101.3.4.3.17", "ML-DSA-44"},
    {"2.16.840.1.101.3.4.3.18", "ML-DSA-65"},
    {"2.16.840.1.101.3.4.3.19", "ML-DSA-87"},
};

// Extensions of neither profile, which refuse what they are critical in: RFC 5280, 4.2. The tools
// leave that to their users.
const std::set<std::string> kForeignExtensions = {
    "1.2.3.4",
    "1.2.840.113554.4.1.72585.0",
    "1.3.6.1.5.5.7.1.7",  // addresses of the Internet: RFC 3779
    "1.3.6.1.5.5.7.1.8",  // numbers of autonomous systems
    "1.3.6.1.5.5.7.1.30",
    "1.3.6.1.5.5.7.1.31",
    "2.1.3.4",
    "2.5.29.3",
    "2.5.29.69",
    "2.5.29.99",
    "2.99999.3",
};

struct VerdictRow {
  const char *number;  // the item's, with which its file's name begins
  const char *reason;  // for which it is refused
};
constexpr VerdictRow kRefused[] = {
    {"020-", "an RSA key without parameters, which RFC 3279, 2.3.1 calls for"},
    {"028-", "extensions in version 1"},
    {"032-", "a DSA key with p, q and g beside y"},
    {"033-", "a DSA key with p, q and g beside y"},
    {"070-", "an extension twice: RFC 5280, 4.2"},
    {"089-", "a postal address is a list of strings and no string"},
    {"097-", "version 8"},
    {"108-", "alternative names whose lengths do not add up"},
    {"117-", "a distribution point whose name is neither full nor relative"},
    {"147-", "a subtree of no kind of name"},
    {"215-", "two signature algorithms: RFC 5280, 4.1.1.2"},
    {"277-", "reason 12"},
    {"299-", "version 3 of a CRL"},
    {"300-", "version 1 of a CRL, in so many words"},
    {"301-", "reason 105"},
};

bool is_foreign(const TsvRow &item) {
  if (kForeignSignatures.count(item["sig_oid"])) return true;
  const auto rows = of(corpus().extensions_of, item);
  return std::any_of(rows.begin(), rows.end(), [](const TsvRow *row) {
    return (*row)["critical"] == "1" && kForeignExtensions.count((*row)["oid"]);
  });
}

// expected is true for what no more than one of the four tools rejects. Two of them also reject
// octets behind a certificate, which we leave to the caller.
bool expected(const TsvRow &item) {
  const auto is_row = [&](const VerdictRow &row) { return item["file"].starts_with(row.number); };
  if (is_foreign(item) || std::any_of(std::begin(kRefused), std::end(kRefused), is_row))
    return false;
  size_t rejected = 0;
  for (const char *tool : {"openssl", "gnutls", "pyca", "asn1crypto"})
    rejected += item[tool] == "reject";
  return rejected < 2 || (item["trailing"] != "0" && item["openssl"] == "accept");
}

class ModernCorpus : public sample::Balanced {
 protected:
  void SetUp() override {
    if (!corpus().found) GTEST_SKIP() << "no corpus at " << corpus().folder;
    Balanced::SetUp();
  }
  void TearDown() override {
    if (corpus().found) Balanced::TearDown();
  }
  const ProfileScope modern_{SSH_X509_MODERN};
};

struct Counts {
  size_t items = 0, read = 0, meanings = 0, keys = 0, entries = 0;
};

// compare_key compares the whole SubjectPublicKeyInfo, the numbers, and the points of curves.
void compare_key(const TsvRow &item, const SshX509Cert &cert, Counts &counts) {
  EXPECT_EQ(peer_sha256(cert.key.info), item["spki_sha256"]);
  const std::map<std::string, Bytes> numbers = {{"n", cert.key.n}, {"e", cert.key.e},
                                                {"p", cert.key.p}, {"q", cert.key.q},
                                                {"g", cert.key.g}, {"y", cert.key.y}};
  for (const TsvRow *row : of(corpus().keys_of, item)) {
    std::string values = (*row)["values"] + ";";
    for (size_t at = 0, end; (end = values.find(';', at)) != std::string::npos; at = end + 1) {
      const size_t equals = values.find('=', at);
      const std::string field = values.substr(at, equals - at),
                        fact = values.substr(equals + 1, end - equals - 1);
      const auto number = numbers.find(field);
      if (field == "point") {
        EXPECT_TRUE(hex(cert.key.info).ends_with(fact));
      } else if (number == numbers.end() || number->second.empty()) {
        continue;
      } else {
        SshMpInt value;
        value.set_twos_complement(number->second);
        std::string ours = hex(value.magnitude());
        if (ours.starts_with("0")) ours.erase(0, 1);
        if (field == "e")
          ours = sample::decimal(value);
        else if (value.negative())
          ours.insert(0, "-");
        EXPECT_EQ(ours, fact.substr(fact.starts_with("0") ? 1 : 0)) << field;
      }
      ++counts.keys;
    }
  }
}

void compare_extensions(const TsvRow &item, const SshX509Cert &cert, Counts &counts) {
  for (const TsvRow *row : of(corpus().extensions_of, item)) {
    const std::string &fact = (*row)["meaning"];
    if ((*row)["place"] != "cert") continue;
    const SshOidRow *known = ssh_oid_find_by_oid((*row)["oid"].c_str(), SSH_OID_EXTENSION);
    if (!known || known->code == SSH_X509_EXT_UNKNOWN) {
      EXPECT_EQ((*row)["critical"], "0") << (*row)["oid"];
      continue;
    }
    EXPECT_TRUE(cert.extensions.test(known->code)) << known->name;
    EXPECT_EQ(cert.extensions.critical(known->code), (*row)["critical"] == "1") << known->name;
    if (fact.empty() || fact == "unreadable") continue;
    const std::string ours = meanings::modern_meaning(cert, known->code);
    if (ours == "-") continue;
    ++counts.meanings;
    EXPECT_EQ(ours, meanings::without_empty_subtrees(meanings::unescaped(fact))) << known->name;
  }
}

void compare_name(const TsvRow &item, const std::string &who, const SshX509Name *list) {
  const SshX509Name *name = ssh_x509_name_find(list, SSH_X509_NAME_DN);
  EXPECT_EQ(name ? hex(name->der) : "3000", hex(name_der(item, who))) << who;
}

void compare(const TsvRow &item, const SshX509Cert &cert, Counts &counts) {
  EXPECT_EQ(std::to_string(cert.version), item["version"]);
  EXPECT_EQ(sample::decimal(cert.serial), item["serial"]);
  EXPECT_EQ(instant(cert.not_before), fact_instant(item["not_before"]));
  EXPECT_EQ(instant(cert.not_after), fact_instant(item["not_after"]));
  compare_name(item, "issuer", cert.issuer_names);
  compare_name(item, "subject", cert.subject_names);
  compare_key(item, cert, counts);
  compare_extensions(item, cert, counts);
}

void compare(const TsvRow &item, const SshX509Crl &crl, Counts &counts) {
  EXPECT_EQ(std::to_string(crl.version), item["version"]);
  EXPECT_EQ(instant(crl.this_update), fact_instant(item["not_before"]));
  EXPECT_EQ(crl.next_update.year ? instant(crl.next_update) : "", fact_instant(item["not_after"]));
  EXPECT_EQ(std::to_string(crl.revoked_count), item["revoked"].empty() ? "0" : item["revoked"]);
  compare_name(item, "issuer", crl.issuer_names);
  std::map<size_t, const TsvRow *> facts;
  for (const TsvRow *row : of(corpus().entries_of, item)) facts[std::stoul((*row)["index"])] = row;
  SshX509RevokedCursor cursor(crl);
  for (size_t index = 0; cursor.next(); ++index) {
    const auto fact = facts.find(index);
    if (fact == facts.end()) continue;
    ++counts.entries;
    EXPECT_EQ(sample::decimal(cursor.entry().serial), (*fact->second)["serial"]) << index;
    EXPECT_EQ(instant(cursor.entry().date), fact_instant((*fact->second)["date"])) << index;
  }
}

template <class Decoded>
void judge(const TsvRow &item, const Decoded &decoded, Counts &counts) {
  ++counts.items;
  counts.read += static_cast<bool>(decoded);
  EXPECT_EQ(static_cast<bool>(decoded), expected(item))
      << (decoded ? "must be refused" : decoded->refusal.structure);
  if (!decoded) return;
  touch::record(*decoded);
  compare(item, *decoded, counts);
}

TEST_F(ModernCorpus, Items) {
  Counts certs, crls;
  for (const TsvRow &item : corpus().manifest.rows) {
    SCOPED_TRACE(item["file"]);
    const Der octets = corpus().read(item);
    if (item["kind"] == "cert") {
      judge(item, Cert(octets), certs);
    } else {
      judge(item, Crl(octets), crls);
    }
  }
  std::printf("modern: %zu of %zu certificates, %zu of %zu CRLs; %zu meanings, %zu key numbers\n",
              certs.read, certs.items, crls.read, crls.items, certs.meanings, certs.keys);
  EXPECT_GE(certs.meanings, 500u);
  EXPECT_GE(certs.keys, 300u);
  EXPECT_GE(crls.entries, 500u);
}

TEST_F(ModernCorpus, NamesAndTheirTexts) {
  size_t read = 0, texts = 0;
  for (const TsvRow &row : corpus().names.rows) {
    SCOPED_TRACE(row["file"] + " " + row["who"]);
    SshDN dn = {};
    if (ssh_dn_decode_der(unhex(row["der"]), &dn)) {
      ++read;
      const auto expected = name_texts::name_text(row, true);
      texts += expected.has_value();
      EXPECT_EQ(sample::own_text(ssh_dn_encode_ldap(&dn)), expected.value_or("(null)"));
    }
    ssh_dn_clear(&dn);
  }
  std::printf("names: %zu read, %zu with text\n", read, texts);
  EXPECT_GE(read, corpus().names.rows.size() - 2);
  EXPECT_GE(texts, read * 95 / 100);
}

}  // namespace
