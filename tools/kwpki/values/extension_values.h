// Extensions that the library keeps as they stand, described from what the record holds of them.
// One more is a function here and a row of kExtraRows in extensions.cc.
#pragma once

#include "kwpki/values/values.h"

namespace kwpki {

// timestamps_json takes a SignedCertificateTimestampList apart, which is no ASN.1: RFC 6962, 3.3.
// Null if any byte of it is of another form.
Json timestamps_json(Bytes octets);

// items_json lists items by their identifiers, as members with this name, and the "value_der" of
// each; null if one is of another form.
Json items_json(Bytes items, const char *name);

// ip_blocks_json and as_numbers_json list the blocks of RFC 3779, as prefixes or ranges; null if one
// is of another form.
Json ip_blocks_json(const SshX509Extra &extra);
Json as_numbers_json(const SshX509Extra &extra);

Json netscape_type_json(const SshX509Extra &extra);
Json ca_version_json(const SshX509Extra &extra);

}  // namespace kwpki
