// The one thing in which the two shared libraries differ: where a process starts. The layers have
// the classic start; the modern library brings its own, before which the linker takes no other.
#include "x509/profile.h"

#ifdef KWPKI_PROFILE_MODERN
#define START SSH_X509_MODERN
#else
#define START SSH_X509_CLASSIC
#endif

constinit std::atomic<const SshX509Rules *> ssh_x509_current_rules{&ssh_x509_profiles[START]};
