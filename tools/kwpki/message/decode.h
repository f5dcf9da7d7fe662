// Messages from bytes to JSON, with a line of text for each field on the way. Bytes that cannot be
// decoded are kept in the JSON, so that encode.h makes the same message of it again. How a value is
// written for people is a row of the table in words.cc.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "kwpki/message/schema.h"
#include "kwpki/values/values.h"
#include "util/bytes.h"

namespace kwpki {

// kMessageItemsMax is how many items of lists are decoded; what follows is kept as bytes.
constexpr size_t kMessageItemsMax = 250000;

// MessageLine is a field, or the head of a group without bytes.
struct MessageLine {
  size_t depth;
  size_t offset;
  Bytes octets;
  std::string name;
  std::string value;  // escaped
};
using MessageLines = std::function<void(const MessageLine &line)>;

// MessageFault says what is wrong with which field.
struct MessageFault {
  std::string field;
  size_t offset;
  std::string text;
};

struct DecodedMessage {
  MessageKind kind;
  Json json;
  std::vector<MessageFault> faults;
};

// decode_message decodes a message of this kind, or of the one that it seems to be. `lines` may be
// empty; with `full` its values are not shortened.
DecodedMessage decode_message(Bytes message, std::optional<MessageKind> kind,
                              const MessageLines &lines, bool full);

// octet_count is "1 byte", "2 bytes" and so on.
std::string octet_count(size_t count);

// number_words and octets_words describe a value, escaped. `number` is the field before the bytes,
// which may say what they are. Texts longer than `most` bytes are shortened.
std::string number_words(const FieldRow &row, uint32_t value);
std::string octets_words(FieldShown shown, uint32_t number, Bytes octets, size_t most);

}  // namespace kwpki
