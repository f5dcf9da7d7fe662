// The profile: which certificates and CRLs are read. Every difference between the classic profile
// and the modern one is a row of a table searched after the given ones, or one decision of
// SshX509Rules; a new decision is a line here, a value in each row of profile.cc, a line in
// docs/profiles.md. Decoders ask for a decision by its name, never for the profile.
#pragma once

#include <atomic>
#include <cstdint>

enum SshX509Profile : uint32_t {
  SSH_X509_CLASSIC = 0,  // exactly what clients of the library have always met
  SSH_X509_MODERN = 1    // what public and enterprise PKIs issue now
};

// SshX509Rules are the decisions of a profile. Under classic every one is false.
struct SshX509Rules {
  // Tables.
  bool further_identifiers;  // further rows of the registry: algorithms, extensions, attributes

  // Algorithms and keys.
  bool keys_without_object;  // unknown algorithms and inherited DSA parameters: RFC 3279, 2.3.2
  bool octets_as_signature;  // DSA that the own q cannot hold keeps its DER: RFC 3279, 2.2.2
  bool unknown_signatures;   // of algorithms without a row: kept without a scheme
  bool rsa_without_null;     // RSA keys without the parameters of RFC 3279, 2.3.1

  // Structures.
  bool reads_whole;  // what no field of a structure takes is refused: X.690, 8.9; RFC 5280, 4.1

  // Text.
  bool standard_utf8;      // UTF8String as all others read it, with ASCII: RFC 3629, 4
  bool standard_oids;      // 2.999.1 in dotted text, not 3.16.55.1: X.690, 8.19.4
  bool plain_text_values;  // names hold NumericString and VisibleString too: X.520; RFC 4519

  // Times.
  bool standard_times;  // no hour 24, and a zone of four digits: RFC 5280, 4.1.2.5; X.690, 11.7

  // CRLs.
  bool stated_version;  // a CRL without a version is version 1, whatever else it has: RFC 5280, 5.1

  // Extensions.
  bool one_value;                    // an extension holds one value, nothing behind: RFC 5280, 4.1
  bool standard_name_constraints;    // subtrees are read from their elements: RFC 5280, 4.2.1.10
  bool standard_policy_constraints;  // one SEQUENCE, each integer by itself: RFC 5280, 4.2.1.11
  bool notice_text_alone;            // a user notice without a reference: RFC 5280, 4.2.1.4
  bool display_text_choices;         // notices hold each kind of DisplayText: RFC 5280, 4.2.1.4
  bool relative_to_crl_issuer;       // names extend the point's own CRL issuer: RFC 5280, 4.2.1.13
  bool implicit_relative_names;      // [1] stands in place of the SET's tag: RFC 5280, 4.2.1.13
  bool attribute_certs_flag;         // onlyContainsAttributeCerts: RFC 5280, 5.2.5
  bool further_reasons;              // CRL reasons 9 and 10: RFC 5280, 5.3.1
  bool access_in_crls;               // authority information access: RFC 5280, 5.2.7
  bool unused_bits_masked;           // named bits behind the last are no usage: X.680, 22.7
  bool unknown_qualifiers;           // of policies, where these are not critical: kept unread
};

// ssh_x509_set_profile chooses the profile of the process. Meant for its start: a decode under way
// in another thread may see either. libKwPkiModern starts modern, all else classic.
void ssh_x509_set_profile(SshX509Profile profile);

// ssh_x509_profile returns the profile of the process.
[[nodiscard]] SshX509Profile ssh_x509_profile();

// ssh_x509_rules returns the decisions of the current profile: a row of the profiles.
extern const SshX509Rules ssh_x509_profiles[2];
extern std::atomic<const SshX509Rules *> ssh_x509_current_rules;
[[nodiscard]] inline const SshX509Rules &ssh_x509_rules() {
  return *ssh_x509_current_rules.load(std::memory_order_relaxed);
}
