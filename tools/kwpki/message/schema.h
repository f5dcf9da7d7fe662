// The messages between the library and the certificate service, as tables of fields. decode.cc and
// encode.cc are loops over these tables, so that what one writes the other reads, and the names of
// fields stand once. A new message is a row of kPayloads in schema.cc and, if need be, a table of
// its fields. docs/pages has the format in words.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace kwpki {

enum class FieldKind : uint8_t {
  kNumber,   // four bytes
  kBoolean,  // one byte
  kOctets,   // four bytes of length, bytes
  kData,     // all bytes that are left
  kCount,    // four bytes: how many items the next list has, or bytes the payload
  kGroup,    // the fields of another table
  kList,     // items: groups, or single values if their table is one field without a name
  kPayload,  // as many bytes as counted: the group that payload_fields tells
};

// FieldShown says what a value means to people.
enum class FieldShown : uint8_t {
  kPlain,
  kRequestType,
  kStatus,
  kText,
  kTime,
  kKeyData,  // what it means depends on the number before it, the type of the key
  kCertificate,
  kCrl,
  kBinary,
};

// NumberName is a number that JSON writes as a name.
struct NumberName {
  uint32_t value;
  std::string_view name;
};

struct FieldRow {
  std::string_view name;
  FieldKind kind;
  FieldShown shown = FieldShown::kPlain;
  std::span<const FieldRow> fields = {};  // of a group, of each item of a list
  uint32_t value = 0;  // a number's default; how many items an uncounted list has
  std::span<const NumberName> names = {};  // of a number
  bool required = false;                   // a number without a default
  bool ends_group = false;                 // unless the number is 0, nothing follows in its group
};

enum class MessageKind : uint8_t { kRequest, kReply };
constexpr std::string_view kKindNames[] = {"request", "reply"};

// kRequestStatus is the status that marks a request.
constexpr uint32_t kRequestStatus = 999;

// envelope_fields gives the fields of every message.
std::span<const FieldRow> envelope_fields(MessageKind kind);

// payload_fields gives the fields of a payload; nothing for an unknown type.
std::optional<std::span<const FieldRow>> payload_fields(MessageKind kind, uint32_t type,
                                                        uint32_t status);

// opaque_fields takes any payload as it stands.
std::span<const FieldRow> opaque_fields();

// fields_min is the number of bytes that the fields take at least.
uint64_t fields_min(std::span<const FieldRow> fields);

// is_single is true for the table of a list's items that are values, not groups.
bool is_single(std::span<const FieldRow> fields);

// counted_field gives the list or payload that the count at `at` counts.
const FieldRow &counted_field(std::span<const FieldRow> fields, size_t at);

// number_name gives a number's name, or nothing; number_of finds the number with a name.
std::string_view number_name(std::span<const NumberName> names, uint32_t value);
std::optional<uint32_t> number_of(std::span<const NumberName> names, std::string_view name);

// The names of request and key types.
extern const std::span<const NumberName> kRequestTypes;
extern const std::span<const NumberName> kKeyTypes;

}  // namespace kwpki
