// Files that hold no certificate or CRL in DER or PEM. kind_of names what else a file holds, such
// as a private key, so that a message can say so. as_utf8_text and unarmoured find the bytes in
// text that is not PEM: UTF-16, or base64 or hexadecimal alone. A further kind of structure is a
// row of the table in kinds.cc.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "util/bytes.h"

namespace kwpki {

// Kind is a kind of content. The key is for JSON; the words continue a sentence, "it holds ...".
struct Kind {
  std::string_view key;
  std::string_view words;
  bool secret = false;  // its content is shown on request only
};

// kind_of finds the kind of bytes, kind_of_label that of a PEM block by its label. For what is not
// known there is a kind as well, with the key "unknown".
const Kind &kind_of(Bytes octets);
const Kind &kind_of_label(std::string_view label);

// bundled gives the certificates and CRLs of a PKCS #7 SignedData (RFC 2315, 9.1), as views; none
// for anything else.
std::vector<Bytes> bundled(Bytes octets);

// as_utf8_text gives text in UTF-16 of either order as UTF-8, if it has a mark or is all ASCII;
// empty for anything else.
std::string as_utf8_text(Bytes octets);

// unarmoured decodes a text that is hexadecimal or base64 and nothing else, and says which. It
// gives no bytes for other text, and where the decoded bytes do not begin as DER does.
struct Unarmoured {
  std::vector<uint8_t> octets;
  std::string_view form;
};
Unarmoured unarmoured(std::string_view text);

}  // namespace kwpki
