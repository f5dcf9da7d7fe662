// Certificates, CRLs, their entries and refusals as JSON documents. They are complete but for the
// DER and a CRL's entries, which may be large and are written piece by piece (show/inspect.cc). A
// new field goes into describe.cc; show/render.cc shows it to people as it is, and a row there can
// give it a better label.
#pragma once

#include "kwpki/values/values.h"
#include "x509/cert.h"
#include "x509/crl.h"

namespace kwpki {

// These show records that were decoded, and records that were refused and of which parts were read.
// has_part tells whether a record has a part; drop_unread removes the members of a document whose
// parts the record does not have.
template <class Record>
[[nodiscard]] bool has_part(const Record &record, SshX509Part part) {
  return record.version != 0 || (record.parts & part) != 0;
}
void drop_unread(Json &json, const SshX509Cert &cert);
void drop_unread(Json &json, const SshX509Crl &crl);
Json certificate_json(const SshX509Cert &cert);
Json crl_json(const SshX509Crl &crl);
Json entry_json(const SshX509RevokedEntry &entry);  // but for its extensions
Json entry_extensions_json(const SshX509RevokedEntry &entry);

// refusal_json is {"structure", "rule", "found", "offset", "oid" and its "name" if there is one};
// "found" is what stands at the offset in the input. refusal_text says the same to people:
// "version is 8; 0 to 2 are defined, at 7".
Json refusal_json(const SshX509Refusal &refusal, Bytes input);
std::string refusal_text(const SshX509Refusal &refusal, Bytes input);

// scheme_of gives the scheme of a signature, or the name of an algorithm that has none.
std::string scheme_of(const SshX509Cert &cert);
std::string scheme_of(const SshX509Crl &crl);

// set_surroundings adds how many bytes of the input stand in front of the one element that was read
// and behind it, as "leading_bytes" and "trailing_bytes", if there are any. surroundings_text says
// so to people: "2 bytes in front of the certificate, 8 bytes behind the certificate", or "".
void set_surroundings(Json &json, Bytes input, Bytes element);
std::string surroundings_text(Bytes input, Bytes element, std::string_view kind);

// fingerprints_json is {"sha1", "sha256"} in hex.
Json fingerprints_json(Bytes der);

}  // namespace kwpki
