#include "kwpki/message/schema.h"

#include <algorithm>
#include <iterator>

#include "cm/search.h"

namespace kwpki {
namespace {

using Fields = std::span<const FieldRow>;
using enum FieldKind;
using enum FieldShown;

constexpr NumberName kRequestTypeNames[] = {
    {0, "cert-add"}, {1, "crl-add"},      {2, "search"}, {3, "search-path"},
    {4, "ca-names"}, {5, "cert-request"}, {6, "status"}, {7, "cert-request-remove"},
};
constexpr NumberName kKeyTypeNames[] = {
    {0, "entry-id"},         {SSH_CM_KEY_DN, "dn"},
    {SSH_CM_KEY_IP, "ip"},   {SSH_CM_KEY_DNS, "dns"},
    {SSH_CM_KEY_URI, "uri"}, {SSH_CM_KEY_EMAIL, "email"},
    {SSH_CM_KEY_OID, "oid"}, {SSH_CM_KEY_PUBLIC_KEY, "public-key"},
};
constexpr NumberName kElementTypeNames[] = {{0, "certificate"}};
constexpr NumberName kPathLengthNames[] = {{UINT32_MAX, "any"}};

constexpr FieldRow number(std::string_view name, uint32_t value = 0) {
  return {.name = name, .kind = kNumber, .value = value};
}

constexpr FieldRow octets(std::string_view name, FieldShown shown) {
  return {.name = name, .kind = kOctets, .shown = shown};
}

constexpr FieldRow count(std::string_view name) { return {.name = name, .kind = kCount}; }

constexpr FieldRow group(std::string_view name, Fields fields) {
  return {.name = name, .kind = kGroup, .fields = fields};
}

constexpr FieldRow list(std::string_view name, Fields fields, uint32_t items = 0) {
  return {.name = name, .kind = kList, .fields = fields, .value = items};
}

constexpr FieldRow kTextItem[] = {octets("", kText)};
constexpr FieldRow kFourNames = list("names", kTextItem, 4);

constexpr FieldRow kKey[] = {
    {.name = "type", .kind = kNumber, .names = kKeyTypeNames, .required = true},
    octets("data", kKeyData),
    number("value"),
};
constexpr FieldRow kValidity[] = {octets("not_before", kTime), octets("not_after", kTime)};
constexpr FieldRow kConstraints[] = {
    octets("not_before", kTime),
    octets("not_after", kTime),
    count("key_count"),
    list("keys", kKey),
    {.name = "path_length", .kind = kNumber, .value = UINT32_MAX, .names = kPathLengthNames},
    number("key_usage"),
    number("key_type"),
    number("rule"),
    {.name = "group_mode", .kind = kBoolean},
    count("second_key_count"),
    list("second_keys", kKey),
};
constexpr FieldRow kElement[] = {
    {.name = "element_type", .kind = kNumber, .names = kElementTypeNames, .ends_group = true},
    octets("certificate", kCertificate),
    number("tag"),
    count("key_count"),
    list("keys", kKey),
    number("keep_until"),
    number("serial"),
};

constexpr FieldRow kCertAdd[] = {number("options"), octets("certificate", kCertificate)};
constexpr FieldRow kCrlAdd[] = {octets("crl", kCrl)};
constexpr FieldRow kSearch[] = {group("constraints", kConstraints), group("validity", kValidity)};
constexpr FieldRow kSearchPath[] = {group("first", kConstraints), group("second", kConstraints),
                                    group("validity", kValidity)};
constexpr FieldRow kCertRequest[] = {octets("request", kBinary), kFourNames,
                                     octets("further", kText)};
constexpr FieldRow kCertRequestRemove[] = {kFourNames};
constexpr FieldRow kCertList[] = {
    count("element_count"),      number("state_reserved"),   number("state"),
    octets("state_text", kText), list("elements", kElement),
};
constexpr FieldRow kCaNames[] = {count("name_count"), list("names", kTextItem)};
constexpr FieldRow kOpaque[] = {{.name = "data", .kind = kData, .shown = kText}};

struct PayloadRow {
  uint32_t type;
  Fields request;
  Fields reply;
  bool reply_needs_success = false;  // with another status than 0 the payload is not looked into
};
constexpr PayloadRow kPayloads[] = {
    {0, kCertAdd, kOpaque},  {1, kCrlAdd, kOpaque},
    {2, kSearch, kCertList}, {3, kSearchPath, kCertList},
    {4, {}, kCaNames, true}, {5, kCertRequest, kOpaque},
    {6, {}, kOpaque},        {7, kCertRequestRemove, kOpaque},
};

// The envelopes differ in the default of the status alone.
constexpr size_t kEnvelopeSize = 7;
struct Envelope {
  FieldRow fields[kEnvelopeSize];
};
constexpr Envelope envelope(uint32_t status) {
  return {{
      number("version", 1),
      number("request_id"),
      {.name = "request_type",
       .kind = kNumber,
       .shown = kRequestType,
       .names = kRequestTypeNames,
       .required = true},
      {.name = "status", .kind = kNumber, .shown = kStatus, .value = status},
      number("reserved"),
      count("payload_length"),
      {.name = "payload", .kind = kPayload},
  }};
}
constexpr Envelope kEnvelopes[] = {envelope(kRequestStatus), envelope(0)};

}  // namespace

const std::span<const NumberName> kRequestTypes = kRequestTypeNames;
const std::span<const NumberName> kKeyTypes = kKeyTypeNames;

Fields envelope_fields(MessageKind kind) { return kEnvelopes[static_cast<size_t>(kind)].fields; }

std::optional<Fields> payload_fields(MessageKind kind, uint32_t type, uint32_t status) {
  const auto *row = std::find_if(std::begin(kPayloads), std::end(kPayloads),
                                 [type](const PayloadRow &r) { return r.type == type; });
  if (row == std::end(kPayloads)) return std::nullopt;
  if (kind == MessageKind::kRequest) return row->request;
  return row->reply_needs_success && status != 0 ? Fields(kOpaque) : row->reply;
}

Fields opaque_fields() { return kOpaque; }

uint64_t fields_min(Fields fields) {
  uint64_t sum = 0;
  for (const FieldRow &row : fields) {
    const bool fixed = row.kind == kNumber || row.kind == kOctets || row.kind == kCount;
    if (fixed) sum += 4;
    if (row.kind == kBoolean) ++sum;
    if (row.kind == kGroup) sum += fields_min(row.fields);
    if (row.kind == kList) sum += row.value * fields_min(row.fields);
    if (row.ends_group) break;
  }
  return sum;
}

bool is_single(Fields fields) { return fields[0].name.empty(); }

const FieldRow &counted_field(Fields fields, size_t at) {
  while (fields[at].kind != kList && fields[at].kind != kPayload) ++at;
  return fields[at];
}

std::string_view number_name(std::span<const NumberName> names, uint32_t value) {
  for (const NumberName &row : names) {
    if (row.value == value) return row.name;
  }
  return {};
}

std::optional<uint32_t> number_of(std::span<const NumberName> names, std::string_view name) {
  for (const NumberName &row : names) {
    if (row.name == name) return row.value;
  }
  return std::nullopt;
}

}  // namespace kwpki
