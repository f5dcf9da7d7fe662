// Extensions as JSON, in the order of the encoding: what the record holds of each, and its bytes.
// How the contents of a kind are described is one row of the tables in extensions.cc; the text for
// people is made of the same JSON. Nothing here reads the encoding again: an extension that the
// library does not read is shown as bytes.
#pragma once

#include "kwpki/values/values.h"
#include "x509/cert.h"
#include "x509/crl.h"

namespace kwpki {

// extensions_json lists the extensions of a record:
//   {"oid", "name", "description", "critical", "contents" (what the record holds), "der" (the
//   value's octets)}.
// "contents" is missing for identifiers that the library does not decode there; if such a value is
// one string, "text" has it.
Json extensions_json(const SshX509Cert &cert);
Json extensions_json(const SshX509Crl &crl);
Json extensions_json(const SshX509RevokedEntry &entry);

}  // namespace kwpki
