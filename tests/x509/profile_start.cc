// The profile that the library starts with where it is built for the modern one.
#include "x509/profile.h"

int main() { return ssh_x509_profile() == SSH_X509_MODERN && ssh_x509_rules().one_value ? 0 : 1; }
