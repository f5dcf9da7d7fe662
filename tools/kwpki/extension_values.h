// Extensions that no record holds, described from the octets of their values. An extension is a row
// of the table in extension_values.cc.
#pragma once

#include "kwpki/values.h"

namespace kwpki {

// extension_value_json describes the value of an extension by its identifier in dotted text; null if
// the table does not have it or the value is not of its form.
Json extension_value_json(const std::string &oid, Bytes value);

}  // namespace kwpki
