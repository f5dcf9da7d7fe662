// Tests are of the classic profile, whatever this build starts with, but where they say otherwise.
#include "support/profile.h"

namespace {

const struct StartsClassic {
  StartsClassic() { ssh_x509_set_profile(SSH_X509_CLASSIC); }
} starts_classic;

}  // namespace
