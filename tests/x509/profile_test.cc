// Every difference between the profiles in algorithms, keys, text and attributes: the same input
// under each of them. What is signed by the algorithms of today is in verify_oracle_test.cc.
#include "x509/profile.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "corpus/name_texts.h"
#include "support/profile.h"
#include "support/samples.h"
#include "x509/dn.h"

namespace {

using namespace sample;
using Profiles = Balanced;

constexpr SshX509Profile kProfiles[] = {SSH_X509_CLASSIC, SSH_X509_MODERN};
constexpr char kRsaSha256[] = "1.2.840.113549.1.1.11", kPss[] = "1.2.840.113549.1.1.10";
constexpr char kDsa[] = "1.2.840.10040.4.1", kEc[] = "1.2.840.10045.2.1";

// outcome decodes a certificate: what is wrong with it, or what the record holds of its signature.
std::string outcome(SshX509Profile profile, const CertParts &parts) {
  const ProfileScope scope(profile);
  const Cert cert(parts.build());
  if (!cert) return cert->refusal.structure;
  return (cert->signature_pair ? "pair " : "octets ") + hex(cert->signature);
}
constexpr char kDecoded[] = "octets 00112233445566778899";

TEST_F(Profiles, OneIsSetAtATime) {
  for (const SshX509Profile given : {SSH_X509_MODERN, static_cast<SshX509Profile>(7)}) {
    EXPECT_EQ(ssh_x509_profile(), SSH_X509_CLASSIC);
    EXPECT_FALSE(ssh_x509_rules().further_identifiers);
    const ProfileScope scope(given);
    const bool modern = given == SSH_X509_MODERN;  // one that does not exist stands for the default
    EXPECT_EQ(ssh_x509_profile(), modern ? SSH_X509_MODERN : SSH_X509_CLASSIC);
    EXPECT_EQ(ssh_x509_rules().further_identifiers, modern);
  }
}

// rows collects a table by walking on from its first row.
std::vector<const SshOidRow *> rows(SshOidKind kind, const char *first) {
  const ProfileScope scope(SSH_X509_MODERN);
  std::vector<const SshOidRow *> found;
  const SshOidRow *row = ssh_oid_find_by_oid(first, kind);
  for (; row && row->oid; ++row) found.push_back(row);
  return found;
}

TEST_F(Profiles, FurtherRowsHideNoGivenOne) {
  const struct {
    SshOidKind kind;
    const char *given, *further;
    size_t count;
  } tables[] = {{SSH_OID_PUBLIC_KEY, "1.2.840.113549.1.1.1", kEc, 7},
                {SSH_OID_SIGNATURE, "1.3.14.7.2.3.2", "1.2.840.113549.1.1.14", 14},
                {SSH_OID_EXTENSION, "2.5.29.35", "2.5.29.54", 23},
                {SSH_OID_DN, "2.5.4.6", "2.5.4.9", 9}};
  for (const auto &table : tables) {
    std::set<std::string> seen;
    for (const SshOidRow *row : rows(table.kind, table.given)) seen.insert({row->oid, row->name});
    const auto further = rows(table.kind, table.further);
    EXPECT_EQ(further.size(), table.count);
    uint32_t next = SSH_X509_EXT_UNKNOWN + 1;
    for (const SshOidRow *row : further) {
      EXPECT_TRUE(seen.insert(row->oid).second && seen.insert(row->name).second) << row->oid;
      EXPECT_TRUE(table.kind != SSH_OID_EXTENSION || row->code == next++) << row->name;
      const Der octets = der::oid_octets(row->oid);
      for (const SshX509Profile profile : kProfiles) {
        const ProfileScope scope(profile);
        const SshOidRow *found = profile == SSH_X509_MODERN ? row : nullptr;
        EXPECT_EQ(ssh_oid_find_by_oid(row->oid, table.kind), found) << row->oid;
        EXPECT_EQ(ssh_oid_find_encoded({octets}, table.kind), found) << row->oid;
        EXPECT_EQ(ssh_oid_find_by_std_name(row->name, table.kind), found) << row->name;
        EXPECT_STREQ(ssh_oid_find_of_any_kind(row->oid)->name, row->name) << row->oid;
      }
    }
    EXPECT_TRUE(table.kind != SSH_OID_EXTENSION || next == SSH_X509_EXT_KINDS);
  }
}

// What RSASSA-PSS does is told by its parameters. Those of other algorithms tell nothing.
TEST_F(Profiles, TheTwoAlgorithmsOfACertificate) {
  const auto pss = [](const Der &parameters) { return der::seq({der::oid(kPss), parameters}); };
  const Der salt = pss(der::seq({der::wrap(2, der::integer(32))}));
  const Der long_salt = pss(der::seq({der::wrap(2, der::integer(64))}));
  const char *const differ = "two signature algorithms whose parameters differ";
  const struct {
    Der inner, outer;
    const char *modern;
  } cases[] = {{salt, salt, kDecoded},
               {pss({}), pss({}), kDecoded},
               {salt, long_salt, differ},
               {salt, pss({}), differ},
               {pss({}), pss(der::seq({})), differ},
               {algorithm(kRsaSha256), der::seq({der::oid(kRsaSha256)}), kDecoded},
               {algorithm(kRsaSha1), salt, "two signature algorithms that differ"},
               {algorithm("1.3.14.7.2.3.2"), algorithm("1.3.14.7.2.3.2"), "signatureValue"}};
  for (const auto &row : cases) {
    CertParts parts;
    parts.inner_algorithm = row.inner;
    parts.outer_algorithm = row.outer;
    EXPECT_EQ(outcome(SSH_X509_MODERN, parts), row.modern) << hex(row.outer);
  }
}

TEST_F(Profiles, Keys) {
  const Der rsa = der::seq({der::natural(modulus()), der::integer(3)});
  const Der number = der::integer(0x1235), p256 = der::oid("1.2.840.10045.3.1.7");
  const auto some = [](size_t count) { return Der(count, 0x5A); };
  const std::string unknown = "an unknown public-key algorithm", dsa = "DSA key or parameters",
                    no_key = "subjectPublicKey", no_rsa = "RSA key or parameters";
  constexpr char kPkcs3[] = "1.2.840.113549.1.3.1", kX25519[] = "1.3.101.110";
  const struct {
    const char *what, *id;
    Der parameters, key;
    std::string classic, modern;
    uint32_t type = 0, usage = 0, ca_usage = 0;
  } keys[] = {
      {"EC", kEc, p256, some(33), unknown, kDecoded, 5, 0x80C9, 0x80CF},
      {"EC, empty", kEc, p256, {}, unknown, no_key},
      {"Ed25519", "1.3.101.112", {}, some(32), unknown, kDecoded, 6, 0xC0, 0xC6},
      {"Ed448", "1.3.101.113", {}, some(57), unknown, kDecoded, 7, 0xC0, 0xC6},
      {"X25519", kX25519, {}, some(32), unknown, kDecoded, 8, 0x8009, 0x8009},
      {"X25519, short", kX25519, {}, some(31), unknown, no_key},
      {"X25519, long", kX25519, {}, some(33), unknown, no_key},
      {"X448", "1.3.101.111", {}, some(56), unknown, kDecoded, 9, 0x8009, 0x8009},
      {"PSS", kPss, {}, rsa, unknown, kDecoded, 10, 0xC0, 0xC6},
      {"PSS, no RSA key", kPss, {}, number, unknown, "RSASSA-PSS key"},
      {"DH", kPkcs3, der::seq({number, number}), number, unknown, kDecoded, 4, 0x10009, 0x10009},
      {"DH, not encoded", kPkcs3, {}, some(9), unknown, no_key},
      {"unknown", "1.2.3.4", {}, some(7), unknown, kDecoded},
      {"DSA, inherited", kDsa, {}, number, dsa, kDecoded, 2, 0xC0, 0xC6},
      {"DSA, NULL", kDsa, der::null(), number, dsa, kDecoded, 2, 0xC0, 0xC6},
      {"DSA, NULL and no key", kDsa, der::null(), rsa, dsa, dsa},
      {"DSA, other", kDsa, der::integer(1), number, dsa, dsa},
      {"RSA without parameters", "1.2.840.113549.1.1.1", {}, rsa, no_rsa, no_rsa},
  };
  CertParts parts;
  for (const auto &row : keys) {
    SCOPED_TRACE(row.what);
    parts.key = key_info(row.parameters, row.key, row.id);
    EXPECT_EQ(outcome(SSH_X509_CLASSIC, parts), row.classic);
    EXPECT_EQ(outcome(SSH_X509_MODERN, parts), row.modern);
    if (row.modern != kDecoded) continue;
    const ProfileScope modern(SSH_X509_MODERN);
    const Cert cert(parts.build());
    EXPECT_EQ(cert->public_key_type, row.type);
    EXPECT_EQ(cert->allowed_usage, row.usage);
    EXPECT_EQ(cert->allowed_ca_usage, row.ca_usage);
    EXPECT_EQ(hex(cert->key.info), hex(parts.key));
    EXPECT_EQ(ssh_x509_cert_public_key(cert.record.get()), nullptr);
  }
  parts.key = der::seq({der::seq({der::oid("1.2.3.4")}), der::octets({})});
  for (const SshX509Profile profile : kProfiles)
    EXPECT_EQ(outcome(profile, parts), "SubjectPublicKeyInfo");
}

TEST_F(Profiles, DsaSignatures) {
  const Der pair = der::seq({der::integer(0x12), der::integer(0x1234)}), rsa = rsa_key_info();
  const std::string octets = "octets " + hex(pair), refused = "signatureValue";
  const struct {
    const char *what;
    Der key, signature;
    std::string classic, modern;
  } cases[] = {
      {"own q", dsa_key_info(0x7FED), pair, "pair 00121234", "pair 00121234"},
      {"longer q", dsa_key_info(0x7FEDCB), pair, "pair 000012001234", "pair 000012001234"},
      {"shorter q", dsa_key_info(0x7B), pair, refused, octets},
      {"negative q", dsa_key_info(-5), pair, refused, octets},
      {"an RSA key", rsa, pair, refused, octets},
      {"no q", key_info({}, der::integer(9), kDsa), pair, "DSA key or parameters", octets},
      {"negative", rsa, der::seq({der::integer(-1), der::integer(2)}), refused, refused},
      {"one number", rsa, der::seq({der::integer(1)}), refused, refused},
      {"no sequence", rsa, unhex("0011"), refused, refused},
  };
  for (const auto &row : cases) {
    CertParts parts;
    parts.key = row.key;
    parts.use_algorithm(kDsaSha1);
    parts.signature = der::bits(row.signature);
    EXPECT_EQ(outcome(SSH_X509_CLASSIC, parts), row.classic) << row.what;
    EXPECT_EQ(outcome(SSH_X509_MODERN, parts), row.modern) << row.what;
  }
}

Der name_of(const Der &pair) { return der::seq({der::set({pair})}); }
Der common_name(const Der &value) { return name_of(der::attribute("2.5.4.3", value)); }

// Seen is what the functions for names make of Name DER.
struct Seen {
  std::string text = "refused", canonical = "none";

  Seen(SshX509Profile profile, const Der &name) {
    const ProfileScope scope(profile);
    bool empty = false;
    SshDN dn = {};
    const bool decoded = ssh_dn_decode_der(name, &dn);
    EXPECT_EQ(decoded, ssh_dn_check_der(name, &empty));
    if (decoded) {
      text = own_text(ssh_dn_encode_ldap(&dn));
      EXPECT_EQ(own_text(ssh_dn_der_to_ldap(name)), text);
      uint8_t *der = nullptr;
      size_t length = 0;
      if (ssh_dn_encode_der_canonical(&dn, &der, &length)) canonical = hex({der, length});
      ssh_xfree(der);
    }
    ssh_dn_clear(&dn);
  }
};

// What modern reads as text has the search key of the same text in a PrintableString.
TEST_F(Profiles, ValuesOfNames) {
  const struct {
    const char *what;
    Der value;
    const char *classic, *modern;
    const char *printable = nullptr;  // the same name
  } cases[] = {
      {"UTF-8, ASCII", der::text(0x0C, " Foo  Bar"), "(null)", "CN= Foo  Bar", "foo bar"},
      {"UTF-8, mixed", der::text(0x0C, "Zo\xC3\xAB"), "(null)", "CN=#5a6fc3ab"},
      {"UTF-8, no ASCII", der::text(0x0C, "\xC3\xAB"), "CN=#c3ab", "CN=#c3ab"},
      {"UTF-8, empty", der::text(0x0C, ""), "(null)", "(null)"},
      {"numeric", der::text(0x12, "12 34"), "refused", "CN=12 34", "12 34"},
      {"numeric, empty", der::text(0x12, ""), "refused", "(null)"},
      {"visible, escaped", der::text(0x1A, "A,b"), "refused", "CN=A\\,b", "a,b"},
      {"visible, constructed", der::tlv(0x3A, der::text(0x1A, "Foo")), "refused", "refused"},
      {"general", der::text(0x1B, "Foo"), "refused", "refused"},
      {"a list", der::seq({der::text(0x0C, "Foo")}), "refused", "refused"},
      {"printable", der::text(0x13, "Foo"), "CN=Foo", "CN=Foo", "foo"},
      {"teletex", der::text(0x14, "Z\xFC"), "CN=#5afc", "CN=#5afc"},
      {"BMP", der::text(0x1E, std::string_view("\0F", 2)), "CN=#0046", "CN=#0046", "f"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.what);
    // A pair that ends in octets which are no element is read by the long way.
    const Der slow = der::seq({der::oid("2.5.4.3"), row.value, {0, 0}});
    CertParts parts;
    parts.subject = common_name(row.value);
    std::string keys[2];
    for (const SshX509Profile profile : kProfiles) {
      const std::string expected = profile == SSH_X509_MODERN ? row.modern : row.classic;
      const Seen seen(profile, parts.subject);
      keys[profile] = seen.canonical;
      EXPECT_EQ(seen.text, expected);
      EXPECT_EQ(Seen(profile, name_of(slow)).text, expected);
      EXPECT_EQ(outcome(profile, parts), expected == "refused" ? "subject" : kDecoded);
    }
    EXPECT_TRUE(keys[SSH_X509_CLASSIC] == "none" || keys[0] == keys[1]);
    if (!row.printable) continue;
    EXPECT_EQ(keys[SSH_X509_MODERN], hex(common_name(der::text(0x13, row.printable))));
  }
  // An at sign is a letter of VisibleString, but of no set that is encoded as PrintableString.
  const auto key = [](unsigned tag) {
    return Seen(SSH_X509_MODERN, common_name(der::text(tag, "a@b"))).canonical;
  };
  EXPECT_EQ(key(0x1A), key(0x16));
  EXPECT_NE(key(0x1A), "none");
}

// letters gives the letters of a UTF8String in hexadecimal, or "null".
std::string letters(SshX509Profile profile, const Der &octets) {
  const ProfileScope scope(profile);
  auto *data = static_cast<uint8_t *>(ssh_xmemdup(octets.data(), octets.size()));
  const SshStrOwner str(ssh_str_make(SSH_CHARSET_UTF8, data, octets.size()));
  if (!str) return "null";
  std::string text;
  uint32_t letter = 0;
  for (uint32_t i = 0; ssh_str_get_letter(str.get(), i, &letter); ++i) {
    char digits[16];
    std::snprintf(digits, sizeof(digits), i ? " %x" : "%x", letter);
    text += digits;
  }
  return text;
}

// Classic alone reads overlong forms, surrogates, what lies beyond the last letter or has five
// octets, and marks that come first or are missing.
TEST_F(Profiles, Utf8) {
  const std::map<std::string, std::string> same = {
      {"c280", "80"},        {"dfbf", "7ff"},        {"e0a080", "800"}, {"efbfbf", "ffff"},
      {"f0908080", "10000"}, {"f48fbfbf", "10ffff"}, {"c3", "null"},    {"f09f98", "null"},
      {"41c3", "null"},      {"ff", "null"},         {"", "null"}};
  const std::map<std::string, std::string> modern = {
      {"00", "0"}, {"7f", "7f"}, {"41c3a9f09f9880", "41 e9 1f600"}};
  const std::map<std::string, std::string> classic = {
      {"c1bf", "7f"},     {"e09fbf", "7ff"},      {"f08fbfbf", "ffff"},     {"eda080", "d800"},
      {"edbfbf", "dfff"}, {"f4908080", "110000"}, {"f888808080", "200000"}, {"8081c3a9", "1 43 e9"},
      {"c341", "c1"},     {"e28241", "2081"}};
  const auto expect = [](const auto &rows, bool by_classic, bool by_modern) {
    for (const auto &[octets, text] : rows) {
      EXPECT_EQ(letters(SSH_X509_CLASSIC, unhex(octets)), by_classic ? text : "null") << octets;
      EXPECT_EQ(letters(SSH_X509_MODERN, unhex(octets)), by_modern ? text : "null") << octets;
    }
  };
  expect(same, true, true);
  expect(modern, false, true);
  expect(classic, true, false);
}

// read_text parses a name and prints it; "error" if it does not parse.
std::string read_text(SshX509Profile profile, const std::string &text) {
  const ProfileScope scope(profile);
  SshDN dn = {};
  const bool good = ssh_dn_decode_ldap(text.c_str(), &dn);
  const std::string printed = good ? own_text(ssh_dn_encode_ldap(&dn)) : "error";
  ssh_dn_clear(&dn);
  return printed;
}

TEST_F(Profiles, AttributesOfNames) {
  for (const auto &[oid, name] : name_texts::kModernNames) {
    const std::string dotted = "OID." + oid + "=x", named = name + "=x";
    const Der der = name_of(der::attribute(oid, der::text(0x13, "x")));
    for (const SshX509Profile profile : kProfiles) {
      const bool modern = profile == SSH_X509_MODERN;
      EXPECT_EQ(read_text(profile, dotted), modern ? named : dotted);
      EXPECT_EQ(read_text(profile, named), modern ? named : "error");
      EXPECT_EQ(Seen(profile, der).text, modern ? named : dotted);
    }
  }
  // The given names stay what they are, the odd ones too.
  for (const SshX509Profile profile : kProfiles) {
    EXPECT_EQ(read_text(profile, "OID.2.5.4.5=7, ui=u"), "STREET=7, UI=u");
    EXPECT_EQ(read_text(profile, "serialNumber=7"), "error");
    EXPECT_EQ(read_text(profile, "OID.2.5.4.16=x"), "OID.2.5.4.16=x");
  }
}

}  // namespace
