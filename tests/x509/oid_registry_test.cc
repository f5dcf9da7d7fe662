#include "x509/oid_registry.h"

#include "support/profile.h"
#include "support/test.h"

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
    {SSH_OID_SIGNATURE, "1.2.840.113549.1.1.14", 16, true},
    {SSH_OID_EXTENSION, "2.5.29.54", 25, true},
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

// Of rows with one identifier or name the first is found. A further row hides no other.
TEST(OidRegistry, EveryRowIsFoundInAllThreeWays) {
  for (const Table &table : kTables) {
    const SshOidRow *row = first_row(table);
    ASSERT_NE(row, nullptr) << table.first;
    for (uint32_t left = table.rows; left > 0; --left, ++row) {
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
    }
  }
}

TEST(OidRegistry, Oddities) {
  const ProfileScope none(static_cast<SshX509Profile>(7));  // stands for the default
  EXPECT_EQ(ssh_x509_profile(), SSH_X509_CLASSIC);
  const SshOidRow *first = ssh_oid_find_by_oid("1.3.14.3.2.29", SSH_OID_SIGNATURE);
  EXPECT_EQ(ssh_oid_find_by_std_name("rsaWithSHA", SSH_OID_SIGNATURE), first + 1);
  EXPECT_EQ(ssh_oid_find_by_oid("2.5.29.1", SSH_OID_EXTENSION)->code, 23u);
  EXPECT_STREQ(ssh_oid_find_by_std_name("mailto", SSH_OID_DN)->oid, "1.2.840.113549.1.9.1");
  for (const char *oid : {"2.5.29", "2.5.29.35.1", "2.5.29.035"})
    EXPECT_EQ(ssh_oid_find_by_oid(oid, SSH_OID_EXTENSION), nullptr) << oid;
}

// Padding is passed over, as much as an arc may have; all bytes of others count, also of those
// that are compared as two words: 64 is how many chains there are.
TEST(OidRegistry, OctetsAreLookedUpAsTheirTextIs) {
  const std::pair<const char *, bool> rows[] = {
      {"55801d808023", true},       {"551d80808023", true},
      {"551d8080808023", false},    {"551d80", false},
      {"2a864886f67d074100", true}, {"2b864886f67d074100", false},
      {"2a864886f67d074140", false}};
  for (const auto &[digits, known] : rows) {
    const std::vector<uint8_t> octets = unhex(digits);
    EXPECT_EQ(ssh_oid_find_encoded({octets}, SSH_OID_EXTENSION) != nullptr, known) << digits;
  }
}

}  // namespace
