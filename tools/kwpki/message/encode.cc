#include "kwpki/message/encode.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "kwpki/message/schema.h"
#include "kwpki/values/parse.h"
#include "util/bytes.h"
#include "util/owner.h"
#include "x509/dn.h"

namespace kwpki {
namespace {

using Fields = std::span<const FieldRow>;

constexpr int kDepthMax = 12;
constexpr size_t kMembersMax = 64, kValuesMax = 4000000;
constexpr size_t kShownMax = 200;

// Guard refuses JSON that is larger or deeper than that of any message. It reads the text once
// before it is parsed, since a parsed document takes many times the memory of its text: it is a
// callback of the parser that lets it keep nothing.
class Guard {
 public:
  bool operator()(int depth, Json::parse_event_t event, const Json &parsed);

 private:
  void add_member(const std::string &name);

  size_t values_ = 0;
  std::vector<std::vector<std::string>> members_;  // of the objects that are open
};

bool Guard::operator()(int depth, Json::parse_event_t event, const Json &parsed) {
  using Event = Json::parse_event_t;
  const bool opens = event == Event::object_start || event == Event::array_start;
  if (opens && depth >= kDepthMax) throw MessageError("", "nested deeper than a message");
  if (event == Event::object_start) members_.emplace_back();
  if (event == Event::object_end) members_.pop_back();
  if (event == Event::key) add_member(parsed.get_ref<const std::string &>());
  if ((opens || event == Event::value) && ++values_ > kValuesMax)
    throw MessageError("", "more values than a message has");
  return opens || event == Event::key;  // else the parser would not tell what is inside
}

void Guard::add_member(const std::string &name) {
  auto &members = members_.back();
  const std::string shown = name.substr(0, kShownMax);
  if (std::find(members.begin(), members.end(), name) != members.end())
    throw MessageError(shown, "given twice");
  if (members.size() == kMembersMax) throw MessageError(shown, "more members than any object has");
  members.push_back(name);
}

class Encoder {
 public:
  std::vector<uint8_t> run(const Json &document);

 private:
  // Place says which field is written: its row, the table that the row is of, and the object that
  // may have the value as a member.
  struct Place {
    const FieldRow &row;
    Fields fields;
    const Json &object;
    const Json *value;  // null: not given
  };

  void write_fields(Fields fields, const Json &object);
  void check_members(Fields fields, const Json &object);
  void write_number(const Place &place);
  void write_boolean(const Place &place);
  void write_octets(const Place &place);
  void write_data(const Place &place);
  void write_count(const Place &place);
  void write_group(const Place &place);
  void write_list(const Place &place);
  void write_payload(const Place &place);
  void write_item(const FieldRow &row, const Json &item);

  using Writer = void (Encoder::*)(const Place &place);
  static constexpr Writer kWriters[] = {
      // in the order of FieldKind
      &Encoder::write_number, &Encoder::write_boolean, &Encoder::write_octets,
      &Encoder::write_data,   &Encoder::write_count,   &Encoder::write_group,
      &Encoder::write_list,   &Encoder::write_payload,
  };

  [[noreturn]] void fail(const std::string &text) const { throw MessageError(path_, text); }
  const Json &object_of(const Json &value) const;
  [[nodiscard]] uint32_t number_of_json(const FieldRow &row, const Json &value) const;
  [[nodiscard]] std::vector<uint8_t> octets_of(const Json &value) const;
  [[nodiscard]] std::vector<uint8_t> name_of(const Json &text) const;
  void enter(std::string_view member) { path_.append(path_.empty() ? "" : ".").append(member); }
  void put32(uint32_t value);
  void put(const std::vector<uint8_t> &octets) {
    out_.insert(out_.end(), octets.begin(), octets.end());
  }
  void settle_count(size_t actual);

  std::vector<uint8_t> out_;
  std::string path_;
  MessageKind kind_ = MessageKind::kRequest;
  uint32_t number_ = 0, type_ = 0, status_ = 0;
  std::optional<size_t> open_count_;  // the offset of a count whose value is not known yet
  bool cut_ = false;                  // a "rest" was written, and nothing may follow it
};

const Json *find(const Json &object, std::string_view name) {
  const auto at = object.find(std::string(name));
  return at == object.end() ? nullptr : &*at;
}

// message_kind takes the kind from the member "kind", or else from the status, as decoding does.
MessageKind message_kind(const Json &document) {
  if (const Json *kind = find(document, "kind")) {
    for (size_t i = 0; i < std::size(kKindNames); ++i) {
      if (*kind == kKindNames[i]) return MessageKind{static_cast<uint8_t>(i)};
    }
    throw MessageError("kind", "neither \"request\" nor \"reply\"");
  }
  const Json *status = find(document, "status");
  return !status || *status == kRequestStatus ? MessageKind::kRequest : MessageKind::kReply;
}

std::vector<uint8_t> Encoder::run(const Json &document) {
  kind_ = message_kind(object_of(document));
  const Json *schema = find(document, "schema");
  if (schema && *schema != kwpki::document()["schema"])
    throw MessageError("schema", "not that of this program, " + kwpki::document()["schema"].dump());
  write_fields(envelope_fields(kind_), document);
  return std::move(out_);
}

const Json &Encoder::object_of(const Json &value) const {
  if (!value.is_object()) fail("not an object");
  return value;
}

void Encoder::check_members(Fields fields, const Json &object) {
  for (const auto &member : object.items()) {
    const std::string &name = member.key();
    const bool known = std::any_of(fields.begin(), fields.end(),
                                   [&name](const FieldRow &row) { return row.name == name; });
    if (known || name == "rest" || (path_.empty() && (name == "kind" || name == "schema")))
      continue;
    enter(name.substr(0, kShownMax));
    fail("no such member");
  }
}

// write_fields writes the fields of an object. A field that is not given gets its default, unless
// the object has a "rest": that is the bytes from where decoding failed, so the fields end at the
// first that is not given, and the rest follows.
void Encoder::write_fields(Fields fields, const Json &object) {
  const size_t path = path_.size();
  const Json *rest = find(object, "rest");
  bool ended = false;
  check_members(fields, object);
  for (size_t i = 0; i < fields.size(); ++i) {
    const FieldRow &row = fields[i];
    const Json *value = find(object, row.name);
    const FieldRow &counted = row.kind == FieldKind::kCount ? counted_field(fields, i) : row;
    ended = ended || cut_ || (rest && !value && !find(object, counted.name));
    enter(row.name);
    if (ended && value) fail("stands behind what ends its object");
    if (!ended) (this->*kWriters[static_cast<size_t>(row.kind)])({row, fields, object, value});
    path_.resize(path);
    ended = ended || (row.ends_group && number_ != 0);
  }
  if (!rest) return;
  enter("rest");
  if (cut_) fail("a second rest");
  put(octets_of(*rest));
  cut_ = true;
  path_.resize(path);
}

void Encoder::put32(uint32_t value) {
  out_.resize(out_.size() + 4);
  ssh_store_be32(out_.data() + out_.size() - 4, value);
}

uint32_t Encoder::number_of_json(const FieldRow &row, const Json &value) const {
  if (value.is_string() && !row.names.empty()) {
    const auto number = number_of(row.names, value.get_ref<const std::string &>());
    if (!number) fail("no such name");
    return *number;
  }
  if (!value.is_number_integer())
    fail(row.names.empty() ? "not a whole number" : "neither a whole number nor a name");
  const bool negative = !value.is_number_unsigned() && value.get<int64_t>() < 0;
  if (negative || value.get<uint64_t>() > UINT32_MAX) fail("not within 0 to 4294967295");
  return value.get<uint32_t>();
}

void Encoder::write_number(const Place &place) {
  const FieldRow &row = place.row;
  if (!place.value && row.required) fail("missing");
  number_ = place.value ? number_of_json(row, *place.value) : row.value;
  if (row.shown == FieldShown::kRequestType) type_ = number_;
  if (row.shown == FieldShown::kStatus) status_ = number_;
  put32(number_);
}

void Encoder::write_boolean(const Place &place) {
  const Json value = place.value ? *place.value : Json(place.row.value != 0);
  if (value.is_boolean()) return out_.push_back(value.get<bool>() ? 1 : 0);
  if (!value.is_number_integer()) fail("neither true nor false");
  const uint32_t octet = number_of_json(place.row, value);
  if (octet > 0xFF) fail("not within 0 to 255");
  out_.push_back(static_cast<uint8_t>(octet));
}

// The text of a name becomes the bytes that a search key with it has.
std::vector<uint8_t> Encoder::name_of(const Json &text) const {
  const std::string *name = text.get_ptr<const std::string *>();
  SshDN dn = {};
  uint8_t *der = nullptr;
  size_t length = 0;
  const bool good = name && name->find('\0') == std::string::npos &&
                    ssh_dn_decode_ldap(library_name(*name).c_str(), &dn) &&
                    ssh_dn_encode_der_canonical(&dn, &der, &length);
  ssh_dn_clear(&dn);
  if (!good) fail("\"dn\" is not the text of a name");
  const SshBlock owner(der);
  return {der, der + length};
}

std::vector<uint8_t> Encoder::octets_of(const Json &value) const {
  if (value.is_string()) {
    const Bytes octets = ssh_text_bytes(value.get_ref<const std::string &>());
    return {octets.begin(), octets.end()};
  }
  const Json *digits = value.is_object() && value.size() == 1 ? find(value, "hex") : nullptr;
  const Json *name = value.is_object() && value.size() == 1 ? find(value, "dn") : nullptr;
  if (name) return name_of(*name);
  if (!digits) fail(R"(neither text nor {"hex": "..."} nor {"dn": "..."})");
  const auto octets =
      digits->is_string() ? parse_hex(digits->get_ref<const std::string &>()) : std::nullopt;
  if (!octets) fail("\"hex\" is not hexadecimal text");
  return *octets;
}

void Encoder::write_octets(const Place &place) {
  const auto octets = place.value ? octets_of(*place.value) : std::vector<uint8_t>();
  put32(static_cast<uint32_t>(octets.size()));
  put(octets);
}

void Encoder::write_data(const Place &place) {
  if (place.value) put(octets_of(*place.value));
}

// A count that is not given is written as 0, and settle_count replaces it when the list or payload
// behind it is written.
void Encoder::write_count(const Place &place) {
  if (!place.value) open_count_ = out_.size();
  put32(place.value ? number_of_json(place.row, *place.value) : 0);
}

void Encoder::settle_count(size_t actual) {
  if (open_count_) ssh_store_be32(out_.data() + *open_count_, static_cast<uint32_t>(actual));
  open_count_.reset();
}

void Encoder::write_group(const Place &place) {
  static const Json kNothing = Json::object();
  write_fields(place.row.fields, place.value ? object_of(*place.value) : kNothing);
}

void Encoder::write_item(const FieldRow &row, const Json &item) {
  if (cut_) fail("stands behind a rest");
  if (is_single(row.fields)) return write_octets({row.fields[0], row.fields, item, &item});
  write_fields(row.fields, object_of(item));
}

void Encoder::write_list(const Place &place) {
  static const Json kNothing = Json::array();
  const Json &list = place.value ? *place.value : kNothing;
  const size_t path = path_.size(), most = place.row.value;
  if (!list.is_array()) fail("not an array");
  if (most && list.size() > most) fail(fmt::format("more than {} items", most));
  settle_count(list.size());
  for (size_t i = 0; i < list.size(); ++i) {
    path_ += fmt::format("[{}]", i);
    write_item(place.row, list[i]);
    path_.resize(path);
  }
  for (size_t i = list.size(); i < most && !find(place.object, "rest"); ++i) put32(0);
}

// A "rest" in the payload ends the payload only, and the envelope goes on behind it.
void Encoder::write_payload(const Place &place) {
  static const Json kNothing = Json::object();
  const std::optional<size_t> length_at = std::exchange(open_count_, std::nullopt);
  const size_t start = out_.size();
  const auto fields = payload_fields(kind_, type_, status_);
  write_fields(fields ? *fields : opaque_fields(),
               place.value ? object_of(*place.value) : kNothing);
  open_count_ = length_at;
  settle_count(out_.size() - start);
  cut_ = false;
}

}  // namespace

Json parse_message_json(std::string_view text) {
  try {
    [[maybe_unused]] const Json nothing = Json::parse(text, Guard());
    return Json::parse(text);
  } catch (const Json::exception &error) {
    const std::string_view what = error.what();  // "[json.exception.NAME.NUMBER] text"
    const size_t start = what.find("] ");
    throw MessageError("", std::string(what.substr(start == what.npos ? 0 : start + 2, kShownMax)));
  }
}

std::vector<uint8_t> encode_message(const Json &document) { return Encoder().run(document); }

std::optional<std::vector<uint8_t>> parse_hex(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::vector<uint8_t> octets;
  size_t high = kDigits.npos;
  for (const char c : text) {
    const bool blank = c == ' ' || c == '\n' || c == '\r' || c == '\t';
    const size_t digit = kDigits.find(c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c);
    if (blank && high == kDigits.npos) continue;
    if (digit == kDigits.npos) return std::nullopt;
    if (high != kDigits.npos) octets.push_back(static_cast<uint8_t>(high << 4 | digit));
    high = high == kDigits.npos ? digit : kDigits.npos;
  }
  if (high != kDigits.npos) return std::nullopt;
  return octets;
}

}  // namespace kwpki
