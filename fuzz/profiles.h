// An input under each of the profiles, for the targets whose modules ask for decisions of theirs.
#pragma once

#include "fuzz.h"
#include "x509/profile.h"

// under_both_profiles checks an input under classic, then under modern. `check` returns whether the
// input was taken; what classic takes, modern must take too, if `widens`.
template <class Check>
void under_both_profiles(bool widens, Check check) {
  ssh_x509_set_profile(SSH_X509_CLASSIC);
  const bool taken = check();
  ssh_x509_set_profile(SSH_X509_MODERN);
  require(check() || !taken || !widens);
}
