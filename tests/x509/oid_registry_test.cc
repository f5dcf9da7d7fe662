#include "x509/oid_registry.h"

#include <gtest/gtest.h>

#include <string>

#include "support/hex.h"
#include "support/profile.h"
#include "util/owner.h"
#include "x509/extensions.h"

namespace {

constexpr SshX509Profile kProfiles[] = {SSH_X509_CLASSIC, SSH_X509_MODERN};

// Table is the rows of a kind behind the first of them. The further ones are modern's alone.
struct Table {
  SshOidKind kind;
  const char *first;
  uint32_t rows;
  bool further = false;
};
constexpr Table kTables[] = {
    {SSH_OID_PUBLIC_KEY, "1.2.840.113549.1.1.1", 5},
    {SSH_OID_SIGNATURE, "1.3.14.7.2.3.2", 10},
    {SSH_OID_EXTENSION, "2.5.29.35", 28},
    {SSH_OID_DN, "2.5.4.6", 20},
    {SSH_OID_PKCS9, "1.2.840.113549.1.9.1", 9},
    {SSH_OID_OTHER, "1.3.6.1.4.1.311.2.1.14", 1},
    {SSH_OID_HOLD, "1.2.840.10040.2", 4},
    {SSH_OID_POLICY_QUALIFIER, "1.3.6.1.5.5.7.2", 3},
    {SSH_OID_PUBLIC_KEY, "1.2.840.10045.2.1", 7, true},
    {SSH_OID_SIGNATURE, "1.2.840.113549.1.1.14", 14, true},
    {SSH_OID_EXTENSION, "2.5.29.54", 23, true},
    {SSH_OID_DN, "2.5.4.9", 9, true},
};

const SshOidRow *first_row(const Table &table) {
  const ProfileScope modern(SSH_X509_MODERN);
  return ssh_oid_find_by_oid(table.first, table.kind);
}

std::vector<uint8_t> encoded(const char *oid) {
  std::vector<uint8_t> octets(SSH_OID_ENCODED_MAX(std::strlen(oid)));
  octets.resize(ssh_ber_oid_from_text(oid, octets.data()));
  return octets;
}

// by_text is what a lookup of octets must agree with.
const SshOidRow *by_text(Bytes octets, SshOidKind kind) {
  const SshText text(ssh_ber_oid_text({octets}));
  return text ? ssh_oid_find_by_oid(text.get(), kind) : nullptr;
}

// Of rows with one identifier or name the first is found. A further row hides no other.
TEST(OidRegistry, EveryRowIsFoundInAllThreeWays) {
  for (const Table &table : kTables) {
    const SshOidRow *row = first_row(table);
    ASSERT_NE(row, nullptr) << table.first;
    uint32_t count = 0;
    for (; row->oid; ++row, ++count) {
      SCOPED_TRACE(row->oid);
      const std::vector<uint8_t> octets = encoded(row->oid);
      EXPECT_EQ(hex(row->encoded.oid().octets), hex(octets));
      for (const SshX509Profile profile : kProfiles) {
        const ProfileScope scope(profile);
        const SshOidRow *found = ssh_oid_find_by_oid(row->oid, table.kind);
        const SshOidRow *named = ssh_oid_find_by_std_name(row->name, table.kind);
        EXPECT_EQ(ssh_oid_find_encoded({octets}, table.kind), found);
        EXPECT_STREQ(ssh_oid_find_of_any_kind(row->oid)->oid, row->oid);
        if (table.further) {
          EXPECT_EQ(found, profile == SSH_X509_MODERN ? row : nullptr);
          EXPECT_EQ(named, found);
        } else {
          EXPECT_TRUE(found && found <= row && std::strcmp(found->oid, row->oid) == 0);
          EXPECT_TRUE(named && named <= row && std::strcmp(named->name, row->name) == 0);
        }
      }
      EXPECT_EQ(row->key_type != nullptr, table.kind == SSH_OID_PUBLIC_KEY);
      EXPECT_TRUE(row->key_scheme || table.kind != SSH_OID_SIGNATURE || table.further);
      if (row->key_scheme) {
        EXPECT_NE(std::strstr(row->key_scheme, row->description), nullptr);
      }
    }
    EXPECT_EQ(count, table.rows) << table.first;
    EXPECT_EQ(row->name, nullptr);
  }
}

TEST(OidRegistry, CodesRunOn) {
  for (const Table &table : kTables) {
    uint64_t seen = 0;
    uint32_t next = 0;
    for (const SshOidRow *row = first_row(table); row->oid; ++row) {
      seen |= uint64_t{1} << row->code;
      const bool numbered = table.kind == SSH_OID_DN || table.kind == SSH_OID_PKCS9 ||
                            table.kind == SSH_OID_POLICY_QUALIFIER;
      EXPECT_TRUE(!numbered || table.further || row->code == next++) << row->oid;
    }
    if (table.kind != SSH_OID_EXTENSION) continue;  // every kind of extension has an identifier
    constexpr uint64_t kGiven = (uint64_t{1} << (SSH_X509_EXT_UNKNOWN + 1)) - 1;
    EXPECT_EQ(seen, table.further ? ((uint64_t{1} << SSH_X509_EXT_KINDS) - 1) & ~kGiven : kGiven);
  }
}

TEST(OidRegistry, Oddities) {
  const SshOidRow *first = ssh_oid_find_by_oid("1.3.14.3.2.29", SSH_OID_SIGNATURE);
  EXPECT_STREQ(first->key_scheme, "if-modn{sign{rsa-nist-sha1}}");
  EXPECT_EQ(ssh_oid_find_by_std_name("rsaWithSHA", SSH_OID_SIGNATURE), first + 1);
  EXPECT_EQ(ssh_oid_find_by_oid("2.5.29.1", SSH_OID_EXTENSION)->code, 23u);
  EXPECT_STREQ(ssh_oid_find_by_std_name("mailto", SSH_OID_DN)->oid, "1.2.840.113549.1.9.1");
  EXPECT_STREQ(ssh_oid_find_by_oid("1.2.840.113549.1.9.1", SSH_OID_PKCS9)->name, "emailAddress");
  for (const char *name : {"MAIL", "MAILTOO", "", "C "})
    EXPECT_EQ(ssh_oid_find_by_std_name(name, SSH_OID_DN), nullptr) << name;
  for (const char *oid : {"2.5.29.99", "2.5.29", "2.5.29.35.1", "2.5.29.035", ""})
    EXPECT_EQ(ssh_oid_find_by_oid(oid, SSH_OID_EXTENSION), nullptr) << oid;
}

TEST(OidRegistry, OctetsAreLookedUpAsTheirTextIs) {
  const auto expect_name = [](const char *digits, const char *name) {
    const std::vector<uint8_t> octets = unhex(digits);
    const SshOidRow *found = ssh_oid_find_encoded({octets}, SSH_OID_EXTENSION);
    EXPECT_EQ(found, by_text(octets, SSH_OID_EXTENSION)) << digits;
    EXPECT_STREQ(found ? found->name : nullptr, name) << digits;
  };
  // Padding is passed over, as much as an arc may have.
  for (const char *digits : {"551d23", "551d8023", "55801d808023", "551d80808023"})
    expect_name(digits, "authorityKeyIdentifier");
  expect_name("2a864886f67d0741 8000", "unknown (Entrust ANX)");
  for (const char *digits :
       {"551d8080808023", "551d818023", "551d80", "551d23551d23551d23551d23551d23551d23", ""})
    expect_name(digits, nullptr);
}

TEST(OidRegistry, EveryChangeOfAnOctetOrPaddingAgreesWithItsText) {
  for (const Table &table : kTables) {
    if (table.further) continue;
    const auto expect_agreement = [&table](Bytes octets) {
      ASSERT_EQ(ssh_oid_find_encoded({octets}, table.kind), by_text(octets, table.kind))
          << hex(octets);
    };
    for (const SshOidRow *row = first_row(table); row->oid; ++row) {
      const std::vector<uint8_t> octets = encoded(row->oid);
      for (size_t at = 0; at < octets.size(); ++at) {
        std::vector<uint8_t> changed = octets, padded = octets;
        for (uint32_t value = 0; value < 256; ++value) {
          changed[at] = static_cast<uint8_t>(value);
          expect_agreement(changed);
        }
        padded.insert(padded.begin() + static_cast<std::ptrdiff_t>(at) + 1, 0x80);
        expect_agreement(padded);
      }
    }
  }
}

}  // namespace
