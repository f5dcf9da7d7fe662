// Certificates, CRLs, their entries and refusals as JSON documents, complete but for the DER and a
// CRL's entries, which may be large and are written one by one (see inspect.cc). A new field goes
// here; render.cc shows it to people without being told, and may be told how.
#pragma once

#include "kwpki/values.h"
#include "x509/cert.h"
#include "x509/crl.h"

namespace kwpki {

// own_octets shows the first element of an input, without what follows it.
Bytes own_octets(Bytes input);

Json certificate_json(const SshX509Cert &cert);
Json crl_json(const SshX509Crl &crl);
Json entry_json(const SshX509RevokedEntry &entry);

// refusal_json is {"structure", "offset", "identifier" if there is one}.
Json refusal_json(const SshX509Refusal &refusal);

// fingerprints_json is {"sha1", "sha256"} in hex.
Json fingerprints_json(Bytes der);

// looks_like_crl guesses from its structure what an input that neither decoder takes was meant to
// be.
bool looks_like_crl(Bytes input);

}  // namespace kwpki
