// Who issued whom among certificates and CRLs. Names are compared as searches do, and key
// identifiers choose among issuers of one name; they do no more than that, since issuers have got
// them wrong. Nothing here looks at a signature.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "util/bytes.h"
#include "x509/name.h"

namespace kwpki {

// own_name gives the DER of the distinguished name among a record's names; empty without one.
Bytes own_name(const SshX509Name *names);

// readable_name gives a name as people read it; empty for none.
std::string readable_name(Bytes der);

// compared_name gives the form in which the library compares names, or the DER of one that has
// none.
std::string compared_name(Bytes der);

// Issued is what relates an object to others. Names are in the form in which they are compared.
struct Issued {
  std::string issuer, issuer_key_id;
  std::string subject, key_id;  // of what may have issued others; else empty
};

// IssuedLine is a line of a list in which what somebody issued follows one level deeper. A line
// without an object stands for an issuer that is not among them: `first` names it as its own.
constexpr size_t kNoObject = SIZE_MAX;
struct IssuedLine {
  size_t depth;
  size_t object;
  size_t first = kNoObject;
};

// issued_lines has every object once, also where some issued each other in a circle.
std::vector<IssuedLine> issued_lines(const std::vector<Issued> &objects);

}  // namespace kwpki
