// The choice of the profile. What each difference makes is tested beside the module that makes it.
#include "x509/profile.h"

#include <gtest/gtest.h>

#include "support/profile.h"

TEST(Profiles, OneIsSetAtATime) {
  for (const SshX509Profile given : {SSH_X509_MODERN, static_cast<SshX509Profile>(7)}) {
    EXPECT_EQ(ssh_x509_profile(), SSH_X509_CLASSIC);
    EXPECT_FALSE(ssh_x509_rules().further_identifiers);
    const ProfileScope scope(given);
    const bool modern = given == SSH_X509_MODERN;  // one that does not exist stands for the default
    EXPECT_EQ(ssh_x509_profile(), modern ? SSH_X509_MODERN : SSH_X509_CLASSIC);
    EXPECT_EQ(ssh_x509_rules().further_identifiers, modern);
  }
}
