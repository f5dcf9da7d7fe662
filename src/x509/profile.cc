#include "x509/profile.h"

// One row for each profile. What a row does not name is false.
constinit const SshX509Rules ssh_x509_profiles[] = {
    {},  // SSH_X509_CLASSIC
    {    // SSH_X509_MODERN
     .further_identifiers = true,
     .keys_without_object = true,
     .octets_as_signature = true,
     .unknown_signatures = true,
     .rsa_without_null = true,
     .reads_whole = true,
     .standard_utf8 = true,
     .standard_oids = true,
     .plain_text_values = true,
     .standard_times = true,
     .stated_version = true,
     .one_value = true,
     .standard_name_constraints = true,
     .standard_policy_constraints = true,
     .notice_text_alone = true,
     .display_text_choices = true,
     .relative_to_crl_issuer = true,
     .implicit_relative_names = true,
     .attribute_certs_flag = true,
     .further_reasons = true,
     .access_in_crls = true,
     .unused_bits_masked = true,
     .unknown_qualifiers = true},
};

void ssh_x509_set_profile(SshX509Profile profile) {
  const auto &rules =
      ssh_x509_profiles[profile == SSH_X509_MODERN ? SSH_X509_MODERN : SSH_X509_CLASSIC];
  ssh_x509_current_rules.store(&rules, std::memory_order_relaxed);
}

SshX509Profile ssh_x509_profile() {
  return &ssh_x509_rules() == &ssh_x509_profiles[SSH_X509_MODERN] ? SSH_X509_MODERN
                                                                  : SSH_X509_CLASSIC;
}
