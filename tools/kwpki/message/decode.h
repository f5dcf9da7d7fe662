// Messages from bytes to JSON, with a line for each field on the way. What cannot be decoded stays
// in the JSON as bytes, so that encode.h makes the same message of it. How a value is told
// to people is a row of the table in words.cc.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "kwpki/message/schema.h"
#include "kwpki/values/values.h"
#include "util/bytes.h"

namespace kwpki {

// kMessageItemsMax is how many items of lists are taken apart; what follows stays bytes.
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

// octet_count is a number of bytes in words.
std::string octet_count(size_t count);

// number_words and octets_words tell a value in words, escaped. `number` is the field before the
// bytes. Texts longer than `most` bytes are shortened.
std::string number_words(const FieldRow &row, uint32_t value);
std::string octets_words(FieldShown shown, uint32_t number, Bytes octets, size_t most);

}  // namespace kwpki
