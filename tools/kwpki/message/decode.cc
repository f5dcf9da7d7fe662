#include "kwpki/message/decode.h"

#include <fmt/format.h>

#include <utility>

#include "kwpki/terminal/text.h"

namespace kwpki {
namespace {

using Fields = std::span<const FieldRow>;

constexpr size_t kTextShown = 200;

// octets_json gives bytes as text where a person can read it, else as hexadecimal digits. Encoding
// takes either.
Json octets_json(Bytes octets, bool binary) {
  const std::string_view text = ssh_bytes_text(octets);
  if (!binary && is_utf8(text) && escape(text) == text) return text;
  return {{"hex", hex(octets)}};
}

bool is_binary(FieldShown shown) {
  return shown == FieldShown::kCertificate || shown == FieldShown::kCrl ||
         shown == FieldShown::kBinary;
}

// A request has the status 999, and 0 after it; everything else is taken for a reply.
MessageKind guess_kind(Bytes message) {
  const auto word = [message](size_t at) {
    return message.size() >= at + 4 ? ssh_load_be32(message.data() + at) : 0;
  };
  return word(12) == kRequestStatus && word(16) == 0 ? MessageKind::kRequest : MessageKind::kReply;
}

// Decoder walks over the tables of fields and the bytes at the same time. Unlike the library's own
// readers it wants to say as much as can be said of a broken message: it keeps its place, so that a
// fault has an offset and a path, and what was read before the fault is shown.
class Decoder {
 public:
  Decoder(Bytes message, const MessageLines &lines, bool full)
      : message_(message), lines_(lines), most_(full ? SIZE_MAX : kTextShown) {
    end_ = message.size();
  }

  DecodedMessage run(MessageKind kind);

 private:
  // Place says which field is read: its row, the table that the row is of and its index there, and
  // the JSON that the value goes into.
  struct Place {
    const FieldRow &row;
    Fields fields;
    size_t index;
    Json &object;
  };

  bool read_fields(Fields fields, Json &object);
  void read_whole(Fields fields, Json &object);
  bool read_number(const Place &place);
  bool read_boolean(const Place &place);
  bool read_octets(const Place &place);
  bool read_data(const Place &place);
  bool read_count(const Place &place);
  bool read_group(const Place &place);
  bool read_list(const Place &place);
  bool read_payload(const Place &place);
  bool read_item(const FieldRow &row, Json &list);
  void put_rest(Json &object);
  void drop_count(const Place &place, size_t actual);
  void line(size_t offset, size_t length, std::string name, std::string value);
  bool fault(size_t offset, std::string text);
  bool has(size_t octets);

  using Reader = bool (Decoder::*)(const Place &place);
  static constexpr Reader kReaders[] = {
      // in the order of FieldKind
      &Decoder::read_number, &Decoder::read_boolean, &Decoder::read_octets, &Decoder::read_data,
      &Decoder::read_count,  &Decoder::read_group,   &Decoder::read_list,   &Decoder::read_payload,
  };

  [[nodiscard]] size_t left() const { return end_ - at_; }

  Bytes message_;
  const MessageLines &lines_;
  size_t most_;
  MessageKind kind_ = MessageKind::kRequest;
  std::vector<MessageFault> faults_;
  std::string path_;
  size_t depth_ = 0;
  size_t at_ = 0, end_ = 0;
  size_t items_ = 0;                 // of lists, so far
  uint32_t number_ = 0, count_ = 0;  // the last of each that was read
  uint32_t type_ = 0, status_ = 0;
  size_t type_at_ = 0;
  bool rest_put_ = false;  // the bytes behind the fault are in the JSON
};

DecodedMessage Decoder::run(MessageKind kind) {
  kind_ = kind;
  Json json = {{"kind", kKindNames[static_cast<size_t>(kind)]}};
  read_whole(envelope_fields(kind), json);
  return {kind, std::move(json), std::move(faults_)};
}

// read_whole reads fields that should take all bytes; whatever is left goes into their object.
void Decoder::read_whole(Fields fields, Json &object) {
  rest_put_ = false;
  if (!read_fields(fields, object)) {
    if (!rest_put_) put_rest(object);
    return;
  }
  if (left() == 0) return;
  fault(at_, octet_count(left()) + " behind the last field");
  put_rest(object);
}

// read_fields reads fields up to the first fault and returns false if there is one. The bytes from
// there on become the "rest" of the innermost object of which something was read.
bool Decoder::read_fields(Fields fields, Json &object) {
  const size_t path = path_.size();
  for (size_t i = 0; i < fields.size(); ++i) {
    const FieldRow &row = fields[i];
    if (!row.name.empty()) path_.append(path_.empty() ? "" : ".").append(row.name);
    const bool good = (this->*kReaders[static_cast<size_t>(row.kind)])({row, fields, i, object});
    path_.resize(path);
    if (!good && !rest_put_ && !object.empty() && depth_ > 0) put_rest(object);
    if (!good) return false;
    if (row.ends_group && number_ != 0) break;
  }
  return true;
}

void Decoder::put_rest(Json &object) {
  const Bytes rest = message_.subspan(at_, left());
  object["rest"] = octets_json(rest, true);
  line(at_, rest.size(), "rest", octet_count(rest.size()) + ", not decoded");
  at_ = end_;
  rest_put_ = true;
}

void Decoder::line(size_t offset, size_t length, std::string name, std::string value) {
  if (!lines_) return;
  lines_({depth_, offset, message_.subspan(offset, length), std::move(name), std::move(value)});
}

bool Decoder::fault(size_t offset, std::string text) {
  faults_.push_back({path_.empty() ? "message" : path_, offset, std::move(text)});
  return false;
}

bool Decoder::has(size_t octets) {
  if (left() >= octets) return true;
  return fault(at_, fmt::format("cut: {} of {} bytes are there", left(), octets));
}

bool Decoder::read_number(const Place &place) {
  const FieldRow &row = place.row;
  if (!has(4)) return false;
  number_ = ssh_load_be32(message_.data() + at_);
  if (row.shown == FieldShown::kStatus) status_ = number_;
  if (row.shown == FieldShown::kRequestType) {
    type_ = number_;
    type_at_ = at_;
  }
  const std::string_view name = number_name(row.names, number_);
  place.object[std::string(row.name)] = name.empty() ? Json(number_) : Json(name);
  if (lines_) line(at_, 4, std::string(row.name), number_words(row, number_));
  at_ += 4;
  return true;
}

bool Decoder::read_boolean(const Place &place) {
  if (!has(1)) return false;
  const uint8_t octet = message_[at_];
  place.object[std::string(place.row.name)] = octet > 1 ? Json(octet) : Json(octet == 1);
  line(at_++, 1, std::string(place.row.name), octet ? "true" : "false");
  return true;
}

bool Decoder::read_octets(const Place &place) {
  const FieldRow &row = place.row;
  if (!has(4)) return false;
  const size_t length = ssh_load_be32(message_.data() + at_);
  if (left() - 4 < length)
    return fault(at_, fmt::format("cut: {} of {} bytes are there", left() - 4, length));
  const Bytes octets = message_.subspan(at_ + 4, length);
  Json value = octets_json(octets, is_binary(row.shown));
  if (lines_) {
    const std::string name =
        row.name.empty() ? fmt::format("[{}]", place.object.size()) : std::string(row.name);
    line(at_, length + 4, name, octets_words(row.shown, number_, octets, most_));
  }
  at_ += length + 4;
  if (row.name.empty()) {
    place.object.push_back(std::move(value));  // an item of a list
  } else {
    place.object[std::string(row.name)] = std::move(value);
  }
  return true;
}

bool Decoder::read_data(const Place &place) {
  const Bytes octets = message_.subspan(at_, left());
  place.object[std::string(place.row.name)] = octets_json(octets, is_binary(place.row.shown));
  if (lines_)
    line(at_, octets.size(), std::string(place.row.name),
         octets_words(place.row.shown, number_, octets, most_));
  at_ = end_;
  return true;
}

// A count that the bytes left cannot fill is reported here, before anything is allocated for it;
// reading goes on with as many items as there are.
bool Decoder::read_count(const Place &place) {
  if (!has(4)) return false;
  count_ = ssh_load_be32(message_.data() + at_);
  const FieldRow &counted = counted_field(place.fields, place.index);
  const bool octets = counted.kind == FieldKind::kPayload;
  const uint64_t least = octets ? 1 : fields_min(counted.fields);
  if (count_ * least > left() - 4) {
    fault(at_, octets ? fmt::format("{} bytes are told, {} are there", count_, left() - 4)
                      : fmt::format("{} items of at least {} bytes do not fit the {} bytes left",
                                    count_, least, left() - 4));
  }
  place.object[std::string(place.row.name)] = count_;
  line(at_, 4, std::string(place.row.name), std::to_string(count_));
  at_ += 4;
  return true;
}

// drop_count takes the count of a list or payload out of the object again if it is right: then the
// list says as much, and encoding counts by itself.
void Decoder::drop_count(const Place &place, size_t actual) {
  size_t at = place.index;
  while (at > 0 && place.fields[at].kind != FieldKind::kCount) --at;
  if (place.fields[at].kind == FieldKind::kCount && actual == count_)
    place.object.erase(std::string(place.fields[at].name));
}

bool Decoder::read_group(const Place &place) {
  line(at_, 0, std::string(place.row.name), "");
  Json group = Json::object();
  ++depth_;
  const bool good = read_fields(place.row.fields, group);
  --depth_;
  if (good || !group.empty()) place.object[std::string(place.row.name)] = std::move(group);
  return good;
}

bool Decoder::read_list(const Place &place) {
  const bool fixed = place.row.value != 0;
  const uint32_t count = fixed ? place.row.value : count_;
  const size_t path = path_.size();
  Json list = Json::array();
  bool good = true;
  if (count > 0) line(at_, 0, std::string(place.row.name), "");
  ++depth_;
  for (uint32_t i = 0; good && i < count; ++i) {
    path_ += fmt::format("[{}]", i);
    good = ++items_ <= kMessageItemsMax
               ? read_item(place.row, list)
               : fault(at_, fmt::format("items above the limit of {}", kMessageItemsMax));
    path_.resize(path);
  }
  --depth_;
  if (!fixed) {
    count_ = count;  // of this list again: items have lists of their own
    drop_count(place, list.size());
  }
  place.object[std::string(place.row.name)] = std::move(list);
  return good;
}

bool Decoder::read_item(const FieldRow &row, Json &list) {
  if (is_single(row.fields)) return read_octets({row.fields[0], row.fields, 0, list});
  line(at_, 0, fmt::format("[{}]", list.size()), "");
  Json item = Json::object();
  ++depth_;
  const bool good = read_fields(row.fields, item);
  --depth_;
  if (good || !item.empty()) list.push_back(std::move(item));
  return good;
}

bool Decoder::read_payload(const Place &place) {
  const std::optional<Fields> fields = payload_fields(kind_, type_, status_);
  if (!fields) {
    const std::string path = std::exchange(path_, "request_type");
    fault(type_at_, fmt::format("no type of a message: {}", type_));
    path_ = path;
  }
  const size_t end = end_, actual = std::min<size_t>(count_, left());
  drop_count(place, actual);
  end_ = at_ + actual;
  line(at_, 0, std::string(place.row.name), actual == 0 ? "empty" : "");
  Json payload = Json::object();
  ++depth_;
  read_whole(fields ? *fields : opaque_fields(), payload);
  --depth_;
  place.object[std::string(place.row.name)] = std::move(payload);
  at_ = end_;
  end_ = end;
  return true;
}

}  // namespace

DecodedMessage decode_message(Bytes message, std::optional<MessageKind> kind,
                              const MessageLines &lines, bool full) {
  return Decoder(message, lines, full).run(kind ? *kind : guess_kind(message));
}

}  // namespace kwpki
