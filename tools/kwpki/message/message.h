// `kwpki message`: decode shows a message between the library and the service, encode makes one
// from JSON. The formats are told by schema.h.
#pragma once

#include <optional>
#include <string>

#include "kwpki/message/schema.h"
#include "kwpki/terminal/output.h"

namespace kwpki {

struct MessageDecodeOptions {
  std::string file = "-";
  std::optional<MessageKind> kind;  // nothing: what the message seems to be
  bool hex = false;                 // the file is hexadecimal text
  bool json = false;
  bool html = false;  // a page for browsers
  bool full = false;
};

struct MessageEncodeOptions {
  std::string file = "-";
  std::string output;  // empty: standard output
  bool hex = false;    // write hexadecimal text
};

// message_decode and message_encode do their commands and return the exit code.
int message_decode(const MessageDecodeOptions &options, const Streams &streams);
int message_encode(const MessageEncodeOptions &options, const Streams &streams);

}  // namespace kwpki
