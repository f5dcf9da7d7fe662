#include "x509/oid_registry.h"

#include "support/profile.h"
#include "support/test.h"

namespace {

// Of rows with one identifier or name the first is found. A further row is modern's alone and hides
// no other.
TEST(OidRegistry, EveryRowIsFoundInAllThreeWays) {
  const std::tuple<SshOidKind, const char *, uint32_t, bool> tables[] = {
      // the first row, how many there are, and whether these are further ones
      {SSH_OID_PUBLIC_KEY, "1.2.840.113549.1.1.1", 5, false},
      {SSH_OID_SIGNATURE, "1.3.14.7.2.3.2", 10, false},
      {SSH_OID_EXTENSION, "2.5.29.35", 28, false},
      {SSH_OID_DN, "2.5.4.6", 20, false},
      {SSH_OID_PUBLIC_KEY, "1.2.840.10045.2.1", 7, true},
      {SSH_OID_SIGNATURE, "1.2.840.113549.1.1.14", 16, true},
      {SSH_OID_EXTENSION, "2.5.29.54", 25, true},
      {SSH_OID_DN, "2.5.4.9", 9, true},
  };
  std::string attributes;
  for (const auto &[kind, first, rows, further] : tables) {
    std::optional<ProfileScope> scope(SSH_X509_MODERN);
    const SshOidRow *row = ssh_oid_find_by_oid(first, kind);
    for (const SshOidRow *end = row + rows; row < end; ++row) {
      if (kind == SSH_OID_DN) attributes += row->oid + std::string("=") + row->name + " ";
      for (const SshX509Profile profile : {SSH_X509_CLASSIC, SSH_X509_MODERN}) {
        scope.emplace(profile);
        const SshOidRow *found = ssh_oid_find_by_oid(row->oid, kind);
        const SshOidRow *named = ssh_oid_find_by_std_name(row->name, kind);
        const bool hidden = further && profile == SSH_X509_CLASSIC;
        EXPECT_STREQ(found ? found->oid : nullptr, hidden ? nullptr : row->oid);
        EXPECT_STREQ(named ? named->name : nullptr, hidden ? nullptr : row->name);
        EXPECT_EQ(ssh_oid_find_encoded(row->encoded.oid(), kind), found) << row->oid;
      }
    }
  }
  EXPECT_EQ(attributes,  // hosts compare names as text
            "2.5.4.6=C 2.5.4.7=L 2.5.4.5=STREET 2.5.4.8=ST 2.5.4.10=O 2.5.4.11=OU 2.5.4.3=CN "
            "1.2.840.113549.1.9.1=MAILTO 1.2.840.113549.1.9.2=UN 2.5.4.4=S 2.5.4.12=T 2.5.4.41=N "
            "2.5.4.42=G 2.5.4.43=I 2.5.4.44=GQ 2.5.4.45=UI 2.5.4.46=DNQ 1.2.840.113549.1.9.8=UA "
            "2.5.4.54=dmdName 0.9.2342.19200300.100.1.25=DC 2.5.4.9=streetAddress "
            "2.5.4.97=organizationIdentifier 2.5.4.15=businessCategory 2.5.4.17=postalCode "
            "1.3.6.1.4.1.311.60.2.1.1=jurisdictionL 1.3.6.1.4.1.311.60.2.1.2=jurisdictionST "
            "1.3.6.1.4.1.311.60.2.1.3=jurisdictionC 0.9.2342.19200300.100.1.1=UID "
            "2.5.4.65=pseudonym ");
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
