// Certificates, CRLs, their entries and refusals as JSON documents, complete but for the DER and a
// CRL's entries, which may be large and are written one by one (see inspect.cc). A new field goes
// here; render.cc shows it to people without being told, and may be told how.
#pragma once

#include "kwpki/values.h"
#include "x509/cert.h"
#include "x509/crl.h"

namespace kwpki {

// These show records that were decoded.
Json certificate_json(const SshX509Cert &cert);
Json crl_json(const SshX509Crl &crl);
Json entry_json(const SshX509RevokedEntry &entry);  // but for its extensions
Json entry_extensions_json(const SshX509RevokedEntry &entry);

// signature_json is {"scheme", "algorithm", "key_type", "parameters" of RSASSA-PSS}.
Json signature_json(const SshX509Cert &cert);
Json signature_json(const SshX509Crl &crl);

// refusal_json is {"structure", "offset", "identifier" if there is one}.
Json refusal_json(const SshX509Refusal &refusal);

// set_surroundings adds how many octets stand around the one element that was read, as
// "leading_bytes" and "trailing_bytes", if any do. surroundings_text says so to people: "2 octets
// in front of the certificate, 8 octets behind it", or "".
void set_surroundings(Json &json, Bytes input, Bytes element);
std::string surroundings_text(Bytes input, Bytes element, std::string_view kind);

// fingerprints_json is {"sha1", "sha256"} in hex.
Json fingerprints_json(Bytes der);

}  // namespace kwpki
