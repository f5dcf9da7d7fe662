// What the store keeps of a certificate beside its encoding: the keys by which it is found, and the
// facts that constraints ask for. All of it is derived by the library's own code, so that a key
// made by a client has the same bytes. A further kind of key is a line in keys.cc.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cm/certdb_key.h"
#include "x509/cert.h"

namespace loopback {

struct KeyListFree {
  void operator()(SshCertDBKey *list) const { ssh_certdb_key_free_list(&list); }
};
using KeyList = std::unique_ptr<SshCertDBKey, KeyListFree>;
using Octets = std::vector<uint8_t>;

struct CertificateFacts {
  KeyList keys;
  std::optional<Octets> subject, issuer;  // names in canonical DER; none if they have no such form
  std::optional<std::string> subject_text;  // as the library prints it
  int64_t not_before = 0, not_after = 0;    // seconds since 1970
  uint32_t key_type = 0;                    // 1 RSA, 2 DSA, 4 Diffie-Hellman
  uint32_t key_usage = 0;                   // all bits if the certificate does not restrict it
  uint32_t path_length = 0;                 // SSH_X509_NO_LIMIT: none given
  bool ca = false;                          // by its basic constraints
  bool issuing = false;  // a CA, or of a version below 3, in which CAs are not marked as such
};

// derive_facts reads a decoded certificate.
[[nodiscard]] CertificateFacts derive_facts(const SshX509Cert &cert);

// seconds_of gives a time in seconds since 1970 UTC; may be negative.
[[nodiscard]] int64_t seconds_of(const SshBerTime &time);

}  // namespace loopback
