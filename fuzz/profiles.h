// An input under each of the profiles, for the targets whose modules ask for decisions of theirs.
#pragma once

#include "fuzz.h"
#include "x509/profile.h"

// check_profile is the target, called under classic and then under modern. What classic takes
// modern may refuse: it reads values of extensions that classic passes over.
void check_profile(Bytes input);

inline void check_input(Bytes input) {
  for (const SshX509Profile profile : {SSH_X509_CLASSIC, SSH_X509_MODERN}) {
    ssh_x509_set_profile(profile);
    check_profile(input);
  }
}
