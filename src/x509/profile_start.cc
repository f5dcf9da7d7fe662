// The profile that a process starts with: the only difference between the two shared libraries. The
// layer's static library has the classic start, for tests and tools. Each shared library is linked
// with this file compiled once more, and the linker then does not take the layer's.
#include "x509/profile.h"

#ifdef KWPKI_PROFILE_MODERN
#define START SSH_X509_MODERN
#else
#define START SSH_X509_CLASSIC
#endif

constinit std::atomic<const SshX509Rules *> ssh_x509_current_rules{&ssh_x509_profiles[START]};
