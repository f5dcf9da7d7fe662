// Certificates, CRLs, their entries and refusals as JSON documents, complete but for the DER and a
// CRL's entries, which may be large and are written one by one (see show/inspect.cc). A new field goes
// here; show/render.cc shows it to people without being told, and may be told how.
#pragma once

#include "kwpki/values/values.h"
#include "x509/cert.h"
#include "x509/crl.h"

namespace kwpki {

// These show records that were decoded, or of which parts were read: has_part tells of a record
// what it has, and drop_unread takes the members away that show what it has not.
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

// refusal_json is {"structure", "rule", "found", "offset", "oid" and its "name" if there is one}:
// what stands at the offset of the input that was refused. refusal_text says the same to people:
// "version is 8; 0 to 2 are defined, at 7".
Json refusal_json(const SshX509Refusal &refusal, Bytes input);
std::string refusal_text(const SshX509Refusal &refusal, Bytes input);

// scheme_of gives the scheme of a signature, or the name of an algorithm that has none.
std::string scheme_of(const SshX509Cert &cert);
std::string scheme_of(const SshX509Crl &crl);

// set_surroundings adds how many bytes stand around the one element that was read, as
// "leading_bytes" and "trailing_bytes", if any do. surroundings_text says so to people: "2 bytes
// in front of the certificate, 8 bytes behind it", or "".
void set_surroundings(Json &json, Bytes input, Bytes element);
std::string surroundings_text(Bytes input, Bytes element, std::string_view kind);

// fingerprints_json is {"sha1", "sha256"} in hex.
Json fingerprints_json(Bytes der);

}  // namespace kwpki
