// What a file is that holds neither a certificate nor a CRL, by its name; and what text stands for
// other than armour: the same bytes in base64, in hexadecimal, or in UTF-16. A kind of structure is
// a row of the table in kinds.cc.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "util/bytes.h"

namespace kwpki {

// Kind is what bytes are. The key is for JSON, the words go on after "it holds".
struct Kind {
  std::string_view key;
  std::string_view words;
  bool secret = false;  // what is in it is not to be shown unasked
};

// kind_of tells by the bytes, kind_of_label by the label of armour. "unknown" is one, too.
const Kind &kind_of(Bytes octets);
const Kind &kind_of_label(std::string_view label);

// bundled gives the certificates and CRLs of a PKCS #7 SignedData, as views; none of anything else.
//                                                                            RFC 2315, 9.1
std::vector<Bytes> bundled(Bytes octets);

// as_utf8_text gives text in UTF-16 of either order as UTF-8, if it has a mark or is all ASCII; empty
// for anything else.
std::string as_utf8_text(Bytes octets);

// unarmoured gives the bytes that a text stands for which is nothing but hexadecimal or base64,
// if they begin as DER does, and which of these it is; no bytes for anything else.
struct Unarmoured {
  std::vector<uint8_t> octets;
  std::string_view form;
};
Unarmoured unarmoured(std::string_view text);

}  // namespace kwpki
