// A test under another profile. Declare `ProfileScope modern(SSH_X509_MODERN);`; leaving the scope
// restores what was set before.
#pragma once

#include "x509/profile.h"

class ProfileScope {
 public:
  explicit ProfileScope(SshX509Profile profile) { ssh_x509_set_profile(profile); }
  ~ProfileScope() { ssh_x509_set_profile(before_); }
  ProfileScope(const ProfileScope &) = delete;
  ProfileScope &operator=(const ProfileScope &) = delete;

 private:
  SshX509Profile before_ = ssh_x509_profile();
};
