// The two profiles: classic, which reads exactly what clients have always met, and modern, which
// reads what is issued now. docs/profiles.md lists all differences.
//
//   if (decoder.rules.standard_times) ...
//
// Each difference is a further row of a table, or a decision with a name: a member of SshX509Rules.
// Decoders ask for a decision and never for the profile, so that each difference says what it is. A
// new decision is a member here, a line in profile.cc if the modern profile has it, and a line in
// docs/profiles.md.
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
  bool octets_as_signature;  // DSA longer than the certificate's own q stays DER: RFC 3279, 2.2.2
  bool unknown_signatures;   // signature algorithms without a row are read, without a scheme
  bool rsa_without_null;     // RSA keys without the NULL that RFC 3279, 2.3.1 has as parameters

  // Structures.
  bool reads_whole;  // elements that no field takes are refused: X.690, 8.9; RFC 5280, 4.1

  // Text.
  bool standard_utf8;      // UTF8String with ASCII, and without overlong forms: RFC 3629, 4
  bool standard_oids;      // 2.999.1 in dotted text, not 3.16.55.1: X.690, 8.19.4
  bool plain_text_values;  // names hold NumericString and VisibleString too: X.520; RFC 4519

  // Times.
  bool standard_times;  // no hour 24, and a zone of four digits: RFC 5280, 4.1.2.5; X.690, 11.7

  // CRLs.
  bool stated_version;  // a CRL without a version is version 1, whatever else it has: RFC 5280, 5.1

  // Extensions.
  bool one_value;                    // nothing stands behind an extension's value: RFC 5280, 4.1
  bool standard_name_constraints;    // subtrees are read from their elements: RFC 5280, 4.2.1.10
  bool standard_policy_constraints;  // one SEQUENCE, each integer by itself: RFC 5280, 4.2.1.11
  bool notice_text_alone;            // a user notice without a reference: RFC 5280, 4.2.1.4
  bool display_text_choices;         // notices hold each kind of DisplayText: RFC 5280, 4.2.1.4
  bool relative_to_crl_issuer;       // names extend the point's own CRL issuer: RFC 5280, 4.2.1.13
  bool implicit_relative_names;      // [1] stands in place of the SET's tag: RFC 5280, 4.2.1.13
  bool attribute_certs_flag;         // onlyContainsAttributeCerts: RFC 5280, 5.2.5
  bool further_reasons;              // CRL reasons 9 and 10: RFC 5280, 5.3.1
  bool access_in_crls;               // authority information access: RFC 5280, 5.2.7
  bool unused_bits_masked;           // the unused bits of a key usage mean nothing: X.680, 22.7
  bool unknown_qualifiers;           // policies that are not critical may have unknown qualifiers
};

// ssh_x509_set_profile chooses the profile of the process. It is meant for the start of a program:
// a decode that another thread has begun may see either profile. libKwPkiModern starts as modern,
// everything else as classic.
void ssh_x509_set_profile(SshX509Profile profile);

// ssh_x509_profile returns the profile of the process.
[[nodiscard]] SshX509Profile ssh_x509_profile();

// ssh_x509_rules returns the decisions of the current profile: a row of ssh_x509_profiles, which is
// indexed by SshX509Profile. A decode asks once and keeps the reference.
extern const SshX509Rules ssh_x509_profiles[2];
extern std::atomic<const SshX509Rules *> ssh_x509_current_rules;
[[nodiscard]] inline const SshX509Rules &ssh_x509_rules() {
  return *ssh_x509_current_rules.load(std::memory_order_relaxed);
}
