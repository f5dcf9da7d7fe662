#include "x509/oid_registry.h"

#include <gtest/gtest.h>

#include <string>

#include "support/hex.h"
#include "util/owner.h"

namespace {

constexpr uint32_t kKinds = SSH_OID_POLICY_QUALIFIER + 1;

// FirstRow is a row that a lookup by identifier finds; the rows of a table follow one another.
struct FirstRow {
  SshOidKind kind;
  const char *oid;
  uint32_t rows;
};
constexpr FirstRow kFirst[kKinds] = {
    {SSH_OID_PUBLIC_KEY, "1.2.840.113549.1.1.1", 5},
    {SSH_OID_SIGNATURE, "1.3.14.7.2.3.2", 10},
    {SSH_OID_EXTENSION, "2.5.29.35", 28},
    {SSH_OID_DN, "2.5.4.6", 20},
    {SSH_OID_PKCS9, "1.2.840.113549.1.9.1", 9},
    {SSH_OID_OTHER, "1.3.6.1.4.1.311.2.1.14", 1},
    {SSH_OID_HOLD, "1.2.840.10040.2", 4},
    {SSH_OID_POLICY_QUALIFIER, "1.3.6.1.5.5.7.2", 3},
};

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

TEST(OidRegistry, EveryRowIsFoundInAllThreeWays) {
  for (const FirstRow &first : kFirst) {
    const SshOidRow *row = ssh_oid_find_by_oid(first.oid, first.kind);
    ASSERT_NE(row, nullptr) << first.oid;
    uint32_t count = 0;
    for (; row->oid; ++row, ++count) {
      const std::vector<uint8_t> octets = encoded(row->oid);
      EXPECT_EQ(hex(row->encoded.oid().octets), hex(octets)) << row->oid;
      const SshOidRow *found = ssh_oid_find_by_oid(row->oid, first.kind);
      EXPECT_EQ(ssh_oid_find_encoded({octets}, first.kind), found);
      EXPECT_TRUE(found && found <= row && std::strcmp(found->oid, row->oid) == 0) << row->oid;
      const SshOidRow *named = ssh_oid_find_by_std_name(row->name, first.kind);
      EXPECT_TRUE(named && named <= row && std::strcmp(named->name, row->name) == 0) << row->name;
      EXPECT_EQ(row->key_type != nullptr, first.kind == SSH_OID_PUBLIC_KEY) << row->oid;
      EXPECT_EQ(row->key_scheme != nullptr, first.kind == SSH_OID_SIGNATURE) << row->oid;
    }
    EXPECT_EQ(count, first.rows) << first.oid;
    EXPECT_EQ(row->name, nullptr);
  }
}

TEST(OidRegistry, CodesRunOnInTheTablesThatNumberTheirRows) {
  for (const SshOidKind kind : {SSH_OID_DN, SSH_OID_PKCS9, SSH_OID_POLICY_QUALIFIER}) {
    uint32_t next = 0;
    for (const SshOidRow *row = ssh_oid_find_by_oid(kFirst[kind].oid, kind); row->oid; ++row) {
      EXPECT_EQ(row->code, next++) << row->oid;
    }
  }
  uint32_t seen = 0;  // every extension kind has an identifier
  for (const SshOidRow *row = ssh_oid_find_by_oid("2.5.29.35", SSH_OID_EXTENSION); row->oid;
       ++row) {
    seen |= 1u << row->code;
  }
  EXPECT_EQ(seen, (1u << 24) - 1);
}

TEST(OidRegistry, Oddities) {
  const SshOidRow *first = ssh_oid_find_by_oid("1.3.14.3.2.29", SSH_OID_SIGNATURE);
  EXPECT_STREQ(first->key_scheme, "if-modn{sign{rsa-nist-sha1}}");
  EXPECT_EQ(ssh_oid_find_by_std_name("rsaWithSHA", SSH_OID_SIGNATURE), first + 1);
  EXPECT_STREQ(first[1].oid, first->oid);
  EXPECT_EQ(ssh_oid_find_by_oid("2.5.29.1", SSH_OID_EXTENSION)->code, 23u);
  EXPECT_STREQ(ssh_oid_find_by_oid("2.5.4.5", SSH_OID_DN)->name, "STREET");
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
  for (const FirstRow &first : kFirst) {
    const auto expect_agreement = [&first](Bytes octets) {
      ASSERT_EQ(ssh_oid_find_encoded({octets}, first.kind), by_text(octets, first.kind))
          << hex(octets);
    };
    for (const SshOidRow *row = ssh_oid_find_by_oid(first.oid, first.kind); row->oid; ++row) {
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
