// Every difference between the profiles in algorithms, keys, text and attributes: the same input
// under each of them.
#include "x509/profile.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "support/profile.h"
#include "support/samples.h"
#include "x509/dn.h"

namespace {

using namespace sample;
using Profiles = Balanced;

constexpr char kRsaSha256[] = "1.2.840.113549.1.1.11";
constexpr char kPss[] = "1.2.840.113549.1.1.10";
constexpr char kDsaSha256[] = "2.16.840.1.101.3.4.3.2";

// under gives what `see` sees under a profile.
template <class See>
auto under(SshX509Profile profile, See see) {
  const ProfileScope scope(profile);
  return see();
}

// outcome decodes a certificate: "decoded", or the structure that was refused.
std::string outcome(SshX509Profile profile, const CertParts &parts) {
  const ProfileScope scope(profile);
  const Cert cert(parts.build());
  return cert ? "decoded" : cert->refusal.structure;
}

TEST_F(Profiles, OneIsSetAtATime) {
  EXPECT_EQ(ssh_x509_profile(), SSH_X509_CLASSIC);
  EXPECT_FALSE(ssh_x509_rules().further_identifiers);
  {
    const ProfileScope scope(SSH_X509_MODERN);
    EXPECT_EQ(ssh_x509_profile(), SSH_X509_MODERN);
    EXPECT_TRUE(ssh_x509_rules().further_identifiers);
    ssh_x509_set_profile(static_cast<SshX509Profile>(7));  // none: the default
    EXPECT_EQ(ssh_x509_profile(), SSH_X509_CLASSIC);
  }
  EXPECT_EQ(ssh_x509_profile(), SSH_X509_CLASSIC);
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
  } tables[] = {
      {SSH_OID_PUBLIC_KEY, "1.2.840.113549.1.1.1", "1.2.840.10045.2.1", 7},
      {SSH_OID_SIGNATURE, "1.3.14.7.2.3.2", "1.2.840.113549.1.1.14", 14},
      {SSH_OID_EXTENSION, "2.5.29.35", "2.5.29.54", 23},
      {SSH_OID_DN, "2.5.4.6", "2.5.4.9", 9},
  };
  for (const auto &table : tables) {
    const auto further = rows(table.kind, table.further);
    EXPECT_EQ(further.size(), table.count);
    std::set<std::string> seen;
    for (const SshOidRow *row : further) {
      EXPECT_TRUE(seen.insert(row->oid).second) << row->oid;
      EXPECT_TRUE(seen.insert(row->name).second) << row->name;
      const Der octets = der::oid_octets(row->oid);
      Der padded = octets;  // a needless octet before an arc that the text does not show
      padded.insert(padded.begin() + 1, 0x80);
      for (const SshX509Profile profile : {SSH_X509_CLASSIC, SSH_X509_MODERN}) {
        const ProfileScope scope(profile);
        const SshOidRow *found = profile == SSH_X509_MODERN ? row : nullptr;
        EXPECT_EQ(ssh_oid_find_by_oid(row->oid, table.kind), found) << row->oid;
        EXPECT_EQ(ssh_oid_find_encoded({octets}, table.kind), found) << row->oid;
        EXPECT_EQ(ssh_oid_find_encoded({padded}, table.kind), found) << row->oid;
        EXPECT_EQ(ssh_oid_find_by_std_name(row->name, table.kind), found) << row->name;
      }
    }
    for (const SshOidRow *row : rows(table.kind, table.given)) {
      EXPECT_EQ(seen.count(row->oid) + seen.count(row->name), 0u) << row->oid;
      const auto find = [&] { return ssh_oid_find_by_std_name(row->name, table.kind); };
      EXPECT_EQ(under(SSH_X509_CLASSIC, find), under(SSH_X509_MODERN, find)) << row->name;
    }
  }
}

TEST_F(Profiles, ExtensionKindsRunOn) {
  uint32_t next = SSH_X509_EXT_UNKNOWN + 1;
  for (const SshOidRow *row : rows(SSH_OID_EXTENSION, "2.5.29.54"))
    EXPECT_EQ(row->code, next++) << row->name;
  EXPECT_EQ(next, static_cast<uint32_t>(SSH_X509_EXT_KINDS));
}

TEST_F(Profiles, SignatureAlgorithms) {
  const struct {
    const char *oid, *scheme;
    uint32_t type;
  } algorithms[] = {
      {"1.2.840.113549.1.1.14", "rsa-pkcs1-sha224", 1},
      {"1.2.840.113549.1.1.11", "rsa-pkcs1-sha256", 1},
      {"1.2.840.113549.1.1.12", "rsa-pkcs1-sha384", 1},
      {"1.2.840.113549.1.1.13", "rsa-pkcs1-sha512", 1},
      {"1.2.840.113549.1.1.10", "rsa-pss", 10},
      {"2.16.840.1.101.3.4.3.1", "dsa-nist-sha224", 2},
      {"2.16.840.1.101.3.4.3.2", "dsa-nist-sha256", 2},
      {"1.2.840.10045.4.1", "ecdsa-sha1", 5},
      {"1.2.840.10045.4.3.1", "ecdsa-sha224", 5},
      {"1.2.840.10045.4.3.2", "ecdsa-sha256", 5},
      {"1.2.840.10045.4.3.3", "ecdsa-sha384", 5},
      {"1.2.840.10045.4.3.4", "ecdsa-sha512", 5},
      {"1.3.101.112", "ed25519", 6},
      {"1.3.101.113", "ed448", 7},
  };
  const Der signature = der::seq({der::integer(3), der::integer(4)});
  for (const auto &row : algorithms) {
    SCOPED_TRACE(row.oid);
    CertParts parts;
    parts.inner_algorithm = parts.outer_algorithm = der::seq({der::oid(row.oid)});
    parts.signature = der::bits(signature);
    EXPECT_EQ(outcome(SSH_X509_CLASSIC, parts), "an unknown signature algorithm");
    CrlParts list;
    list.inner_algorithm = list.outer_algorithm = parts.outer_algorithm;
    EXPECT_FALSE(Crl(list.build()));

    const ProfileScope modern(SSH_X509_MODERN);
    const Cert cert(parts.build());
    ASSERT_TRUE(cert);
    EXPECT_STREQ(cert->signature_scheme, row.scheme);
    EXPECT_EQ(cert->signature_key_type, row.type);
    EXPECT_EQ(hex(cert->signature), hex(signature));
    EXPECT_FALSE(cert->signature_pair);
    const Crl crl(list.build());
    ASSERT_TRUE(crl);
    EXPECT_STREQ(crl->signature_scheme, row.scheme);
    EXPECT_EQ(crl->signature_key_type, row.type);

    parts.inner_algorithm = algorithm(kRsaSha1);
    EXPECT_EQ(outcome(SSH_X509_MODERN, parts), "two signature algorithms that differ");
  }
  CertParts elgamal;
  elgamal.use_algorithm("1.3.14.7.2.3.2");
  for (const SshX509Profile profile : {SSH_X509_CLASSIC, SSH_X509_MODERN})
    EXPECT_EQ(outcome(profile, elgamal), "signatureValue");
}

// What RSASSA-PSS does is told by its parameters. Those of other algorithms tell nothing.
TEST_F(Profiles, ParametersOfTheTwoAlgorithms) {
  const auto pss = [](const Der &parameters) { return der::seq({der::oid(kPss), parameters}); };
  const Der long_salt = der::seq({der::wrap(2, der::integer(64))});
  const Der salt = der::seq({der::wrap(2, der::integer(32))});
  const struct {
    Der inner, outer;
    const char *modern;
  } cases[] = {
      {pss(salt), pss(salt), "decoded"},
      {pss({}), pss({}), "decoded"},
      {pss(salt), pss(long_salt), "two signature algorithms whose parameters differ"},
      {pss(salt), pss({}), "two signature algorithms whose parameters differ"},
      {pss({}), pss(der::seq({})), "two signature algorithms whose parameters differ"},
      {algorithm(kRsaSha256), der::seq({der::oid(kRsaSha256)}), "decoded"},
  };
  for (const auto &row : cases) {
    CertParts parts;
    parts.inner_algorithm = row.inner;
    parts.outer_algorithm = row.outer;
    EXPECT_EQ(outcome(SSH_X509_MODERN, parts), row.modern) << hex(row.outer);
  }
}

TEST_F(Profiles, Keys) {
  const Der octets(140, 0x5A);
  const auto some = [&](size_t count) { return Bytes(octets).first(count); };
  const auto info = [](std::string_view id, const Der &parameters, Bytes key) {
    return der::seq({der::seq({der::oid(id), parameters}), der::bits(key)});
  };
  const Der rsa = der::seq({der::natural(modulus()), der::integer(3)});
  const Der number = der::integer(0x1235), p256 = der::oid("1.2.840.10045.3.1.7");
  const std::string unknown = "an unknown public-key algorithm", dsa = "DSA key or parameters";
  constexpr char kEc[] = "1.2.840.10045.2.1", kDsa[] = "1.2.840.10040.4.1";
  const struct {
    const char *what;
    Der info;
    std::string classic, modern;
    uint32_t type, usage, ca_usage;
  } keys[] = {
      {"EC", info(kEc, p256, some(65)), unknown, "decoded", 5, 0x80C9, 0x80CF},
      {"EC, compressed", info(kEc, p256, some(33)), unknown, "decoded", 5, 0x80C9, 0x80CF},
      {"EC, empty", info(kEc, p256, {}), unknown, "subjectPublicKey", 0, 0, 0},
      {"Ed25519", info("1.3.101.112", {}, some(32)), unknown, "decoded", 6, 0xC0, 0xC6},
      {"Ed25519, short", info("1.3.101.112", {}, some(31)), unknown, "subjectPublicKey", 0, 0, 0},
      {"Ed448", info("1.3.101.113", {}, some(57)), unknown, "decoded", 7, 0xC0, 0xC6},
      {"Ed448, of 25519", info("1.3.101.113", {}, some(32)), unknown, "subjectPublicKey", 0, 0, 0},
      {"X25519", info("1.3.101.110", {}, some(32)), unknown, "decoded", 8, 0x8009, 0x8009},
      {"X25519, long", info("1.3.101.110", {}, some(33)), unknown, "subjectPublicKey", 0, 0, 0},
      {"X448", info("1.3.101.111", {}, some(56)), unknown, "decoded", 9, 0x8009, 0x8009},
      {"X448, of Ed448", info("1.3.101.111", {}, some(57)), unknown, "subjectPublicKey", 0, 0, 0},
      {"PSS", info(kPss, {}, rsa), unknown, "decoded", 10, 0xC0, 0xC6},
      {"PSS, no RSA key", info(kPss, {}, number), unknown, "RSASSA-PSS key", 0, 0, 0},
      {"DH", info("1.2.840.113549.1.3.1", der::seq({number, number}), number), unknown, "decoded",
       4, 0x10009, 0x10009},
      {"DH, not encoded", info("1.2.840.113549.1.3.1", {}, some(9)), unknown, "subjectPublicKey", 0,
       0, 0},
      {"unknown", info("1.2.3.4", {}, some(7)), unknown, "decoded", 0, 0, 0},
      {"unknown, no bits", der::seq({der::seq({der::oid("1.2.3.4")}), der::octets({})}),
       "SubjectPublicKeyInfo", "SubjectPublicKeyInfo", 0, 0, 0},
      {"DSA, inherited", info(kDsa, {}, number), dsa, "decoded", 2, 0xC0, 0xC6},
      {"DSA, NULL", info(kDsa, der::null(), number), dsa, "decoded", 2, 0xC0, 0xC6},
      {"DSA, NULL and no key", info(kDsa, der::null(), rsa), dsa, dsa, 0, 0, 0},
      {"DSA, other", info(kDsa, der::integer(1), number), dsa, dsa, 0, 0, 0},
      {"RSA without parameters", info("1.2.840.113549.1.1.1", {}, rsa), "RSA key or parameters",
       "RSA key or parameters", 0, 0, 0},
  };
  for (const auto &row : keys) {
    SCOPED_TRACE(row.what);
    CertParts parts;
    parts.key = row.info;
    EXPECT_EQ(outcome(SSH_X509_CLASSIC, parts), row.classic);
    EXPECT_EQ(outcome(SSH_X509_MODERN, parts), row.modern);
    if (row.modern != "decoded") continue;
    const ProfileScope modern(SSH_X509_MODERN);
    const Cert cert(parts.build());
    EXPECT_EQ(cert->public_key_type, row.type);
    EXPECT_EQ(cert->allowed_usage, row.usage);
    EXPECT_EQ(cert->allowed_ca_usage, row.ca_usage);
    EXPECT_EQ(hex(cert->key.info), hex(row.info));
    EXPECT_FALSE(cert->key.usable);
    EXPECT_EQ(ssh_x509_cert_public_key(cert.record.get()), nullptr);
  }
}

// seen_signature tells what a record holds of its signature: a pair, the octets or the refusal.
std::string seen_signature(SshX509Profile profile, const CertParts &parts) {
  const ProfileScope scope(profile);
  const Cert cert(parts.build());
  if (!cert) return cert->refusal.structure;
  return (cert->signature_pair ? "pair " : "octets ") + hex(cert->signature);
}

TEST_F(Profiles, DsaSignatures) {
  const Der inherited =
      der::seq({der::seq({der::oid("1.2.840.10040.4.1")}), der::bits(der::integer(0x1235))});
  const Der pair = der::seq({der::integer(0x12), der::integer(0x1234)});
  const std::string pair_octets = "octets " + hex(pair), refused = "signatureValue";
  const struct {
    const char *what;
    Der key, signature;
    std::string classic, modern;
  } cases[] = {
      {"own q", dsa_key_info(0x7FED), pair, "pair 00121234", "pair 00121234"},
      {"own longer q", dsa_key_info(0x7FEDCB), pair, "pair 000012001234", "pair 000012001234"},
      {"own shorter q", dsa_key_info(0x7B), pair, refused, pair_octets},
      {"own negative q", dsa_key_info(-5), pair, refused, pair_octets},
      {"an RSA key", rsa_key_info(), pair, refused, pair_octets},
      {"no q at hand", inherited, pair, "DSA key or parameters", pair_octets},
      {"negative", rsa_key_info(), der::seq({der::integer(-1), der::integer(2)}), refused, refused},
      {"one number", rsa_key_info(), der::seq({der::integer(1)}), refused, refused},
      {"no sequence", rsa_key_info(), unhex("0011"), refused, refused},
      {"nothing", rsa_key_info(), {}, refused, refused},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.what);
    CertParts parts;
    parts.key = row.key;
    parts.use_algorithm(kDsaSha1);
    parts.signature = der::bits(row.signature);
    EXPECT_EQ(seen_signature(SSH_X509_CLASSIC, parts), row.classic);
    EXPECT_EQ(seen_signature(SSH_X509_MODERN, parts), row.modern);
    parts.use_algorithm(kDsaSha256);
    EXPECT_EQ(seen_signature(SSH_X509_MODERN, parts), row.modern);
  }
}

// name_of gives Name DER with one common name.
Der name_of(const Der &value) { return der::seq({der::set({der::attribute("2.5.4.3", value)})}); }

// Seen is what the functions for names make of Name DER.
struct Seen {
  std::string text = "refused", again = "refused", canonical = "none";

  explicit Seen(const Der &name, SshX509Profile profile = SSH_X509_MODERN) {
    const ProfileScope scope(profile);
    bool empty = false;
    SshDN dn = {};
    const bool decoded = ssh_dn_decode_der(name, &dn);
    EXPECT_EQ(decoded, ssh_dn_check_der(name, &empty));
    if (decoded) {
      text = own_text(ssh_dn_encode_ldap(&dn));
      again = own_text(ssh_dn_der_to_ldap(name));
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
      {"visible", der::text(0x1A, "Foo Bar"), "refused", "CN=Foo Bar", "foo bar"},
      {"visible, escaped", der::text(0x1A, "a,b"), "refused", "CN=a\\,b", "a,b"},
      {"visible, constructed", der::tlv(0x3A, der::text(0x1A, "Foo")), "refused", "refused"},
      {"general", der::text(0x1B, "Foo"), "refused", "refused"},
      {"a list", der::seq({der::text(0x0C, "Foo")}), "refused", "refused"},
      {"printable", der::text(0x13, "Foo"), "CN=Foo", "CN=Foo", "foo"},
      {"teletex", der::text(0x14, "Z\xFC"), "CN=#5afc", "CN=#5afc"},
      {"BMP", der::text(0x1E, std::string_view("\0F", 2)), "CN=#0046", "CN=#0046", "f"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.what);
    const Der name = name_of(row.value);
    const Seen classic(name, SSH_X509_CLASSIC), modern(name);
    EXPECT_EQ(classic.text, row.classic);
    EXPECT_EQ(modern.text, row.modern);
    EXPECT_EQ(classic.again, classic.text);
    EXPECT_EQ(modern.again, modern.text);
    if (row.printable) {
      EXPECT_EQ(modern.canonical, hex(name_of(der::text(0x13, row.printable))));
    }
    if (classic.canonical != "none") {
      EXPECT_EQ(classic.canonical, modern.canonical);
    }

    // The same by the long way, for pairs of more than two elements.
    const Der slow =
        der::seq({der::set({der::seq({der::oid("2.5.4.3"), row.value, der::null()})})});
    EXPECT_EQ(Seen(slow).text, row.modern);
    EXPECT_EQ(Seen(slow, SSH_X509_CLASSIC).text, row.classic);

    CertParts parts;
    parts.subject = name;
    EXPECT_EQ(outcome(SSH_X509_CLASSIC, parts), classic.text == "refused" ? "subject" : "decoded");
    EXPECT_EQ(outcome(SSH_X509_MODERN, parts), modern.text == "refused" ? "subject" : "decoded");
  }
  // An at sign is a letter of VisibleString, but of no set that is encoded as PrintableString.
  EXPECT_EQ(Seen(name_of(der::text(0x1A, "a@b"))).canonical,
            Seen(name_of(der::text(0x16, "a@b"))).canonical);
  EXPECT_NE(Seen(name_of(der::text(0x1A, "a@b"))).canonical, "none");
}

// letters gives the letters of a UTF8String in hexadecimal, or "null".
std::string letters(SshX509Profile profile, const std::string &octets) {
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

TEST_F(Profiles, Utf8) {
  const struct {
    const char *octets, *classic, *modern;
  } cases[] = {
      {"616263", "null", "61 62 63"},
      {"00", "null", "0"},
      {"7f", "null", "7f"},
      {"c3a9", "e9", "e9"},
      {"c280", "80", "80"},
      {"dfbf", "7ff", "7ff"},
      {"e0a080", "800", "800"},
      {"efbfbf", "ffff", "ffff"},
      {"f0908080", "10000", "10000"},
      {"f48fbfbf", "10ffff", "10ffff"},
      {"41c3a9f09f9880", "null", "41 e9 1f600"},
      {"c1a1", "61", "null"},            // overlong
      {"e08180", "40", "null"},          // overlong
      {"f0808181", "41", "null"},        // overlong
      {"eda080", "d800", "null"},        // a surrogate
      {"f4908080", "110000", "null"},    // behind the last letter
      {"f888808080", "200000", "null"},  // five octets
      {"fc8480808080", "4000000", "null"},
      {"80bf", "null", "null"},         // a mark first
      {"8081c3a9", "1 43 e9", "null"},  // marks first, each read with the octet after it
      {"c341", "c1", "null"},           // no mark where one must be
      {"e28241", "2081", "null"},
      {"c3", "null", "null"},
      {"e282", "null", "null"},
      {"f09f98", "null", "null"},
      {"41c3", "null", "null"},
      {"ff", "null", "null"},
      {"", "null", "null"},
  };
  for (const auto &row : cases) {
    const Der octets = unhex(row.octets);
    const std::string text(octets.begin(), octets.end());
    EXPECT_EQ(letters(SSH_X509_CLASSIC, text), row.classic) << row.octets;
    EXPECT_EQ(letters(SSH_X509_MODERN, text), row.modern) << row.octets;
  }
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
  const std::map<std::string, std::string> attributes = {
      {"2.5.4.9", "streetAddress"},
      {"2.5.4.97", "organizationIdentifier"},
      {"2.5.4.15", "businessCategory"},
      {"2.5.4.17", "postalCode"},
      {"1.3.6.1.4.1.311.60.2.1.1", "jurisdictionL"},
      {"1.3.6.1.4.1.311.60.2.1.2", "jurisdictionST"},
      {"1.3.6.1.4.1.311.60.2.1.3", "jurisdictionC"},
      {"0.9.2342.19200300.100.1.1", "UID"},
      {"2.5.4.65", "pseudonym"},
  };
  for (const auto &[oid, name] : attributes) {
    const std::string dotted = "OID." + oid + "=x", named = name + "=x";
    EXPECT_EQ(read_text(SSH_X509_CLASSIC, dotted), dotted);
    EXPECT_EQ(read_text(SSH_X509_CLASSIC, named), "error");
    EXPECT_EQ(read_text(SSH_X509_MODERN, dotted), named);
    EXPECT_EQ(read_text(SSH_X509_MODERN, named), named);
    const Der der = der::seq({der::set({der::attribute(oid, der::text(0x13, "x"))})});
    EXPECT_EQ(Seen(der, SSH_X509_CLASSIC).again, dotted);
    EXPECT_EQ(Seen(der).again, named);
  }
  // The given names stay what they are, the odd ones too.
  for (const SshX509Profile profile : {SSH_X509_CLASSIC, SSH_X509_MODERN}) {
    EXPECT_EQ(read_text(profile, "OID.2.5.4.5=7, ui=u"), "STREET=7, UI=u");
    EXPECT_EQ(read_text(profile, "serialNumber=7"), "error");
    EXPECT_EQ(read_text(profile, "OID.2.5.4.16=x"), "OID.2.5.4.16=x");
  }
}

}  // namespace
