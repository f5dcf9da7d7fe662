// Names of identifiers: the library's registry first, then the tool's own table of identifiers that
// a reader of certificates meets but the decoders have no use for. A new name is one line in
// oid_names.cc.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "x509/oid_registry.h"

namespace kwpki {

// oid_name gives the name of an identifier in dotted text, or "".
std::string_view oid_name(const std::string &dotted);

// oid_name_of_kind looks in one table of the registry only.
std::string_view oid_name_of_kind(const std::string &dotted, SshOidKind kind);

// CurveRow is a named curve of keys: the name most use, that of the NIST or "", and the size of its
// field in bits.
struct CurveRow {
  std::string_view oid, name, nist_name;
  size_t bits;
};

// find_curve finds a curve by its identifier, or null.
const CurveRow *find_curve(const std::string &dotted);

}  // namespace kwpki
