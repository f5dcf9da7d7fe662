#include "kwpki/values/tree.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "kwpki/terminal/text.h"
#include "kwpki/values/oid_names.h"

namespace kwpki {
namespace {

constexpr size_t kValueShown = 24;
constexpr size_t kLettersShown = 80;
constexpr size_t kIndentMax = 48;  // deeper levels are told by their number alone

std::string short_octets(Bytes octets) {
  if (octets.size() <= kValueShown) return hex(octets);
  return fmt::format("{}... ({} bytes)", hex(octets.first(kValueShown)), octets.size());
}

// quote cuts a long text between two letters, not inside one of UTF-8.
std::string quote(const std::string &text) {
  if (text.size() <= kLettersShown) return "\"" + text + "\"";
  size_t cut = kLettersShown;
  while (cut > kLettersShown - 4 && (static_cast<uint8_t>(text[cut]) & 0xC0) == 0x80) --cut;
  return fmt::format("\"{}\"... ({} bytes)", text.substr(0, cut), text.size());
}

std::string show_integer(uint32_t, Bytes content) {
  if (content.size() > 16 || content.empty()) return short_octets(content);
  SshMpInt value;
  value.set_twos_complement(content);
  return take(value.to_decimal());
}

std::string show_boolean(uint32_t, Bytes content) {
  if (content.size() != 1) return short_octets(content);
  return content[0] == 0 ? "FALSE" : "TRUE";
}

std::string show_bits(uint32_t, Bytes content) {
  if (content.empty()) return "no byte that counts the unused bits";
  return fmt::format("{} unused: {}", content[0], short_octets(content.subspan(1)));
}

std::string show_oid(uint32_t, Bytes content) {
  if (content.size() > 256) return short_octets(content);
  const std::string text = oid_text({content});
  const std::string_view name = oid_name(text);
  return name.empty() ? text : fmt::format("{} ({})", text, name);
}

std::string show_string(uint32_t tag, Bytes content) {
  const size_t most =
      kLettersShown * 4;  // a letter takes at most four bytes; what is cut is counted
  const std::string text = quote(string_text(tag, content.first(std::min(content.size(), most))));
  return content.size() <= most ? text : fmt::format("{} of {} bytes", text, content.size());
}

std::string show_time(uint32_t tag, Bytes content) {
  if (content.size() > SSH_BER_TIME_TEXT_MAX) return short_octets(content);
  SshBerTime time;
  const bool good = tag == 23 ? ssh_ber_utc_time_decode(content, &time)
                              : ssh_ber_generalized_time_decode(content, &time);
  const std::string text = quote(std::string(ssh_bytes_text(content)));
  const Json iso = good ? time_json(time) : Json();
  return iso.is_string() ? fmt::format("{} {}", text, iso.get<std::string>()) : text;
}

std::string show_octets(uint32_t, Bytes content) { return short_octets(content); }

// TypeRow is a universal type by its tag: its name, how its content is shown, and its form.
struct TypeRow {
  std::string_view name;
  std::string (*show)(uint32_t tag, Bytes content);
  bool constructed;  // the only form that DER has
};
constexpr TypeRow kTypeRows[] = {
    {"end-of-contents", show_octets, false},
    {"BOOLEAN", show_boolean, false},
    {"INTEGER", show_integer, false},
    {"BIT STRING", show_bits, false},
    {"OCTET STRING", show_octets, false},
    {"NULL", show_octets, false},
    {"OBJECT IDENTIFIER", show_oid, false},
    {"ObjectDescriptor", show_string, false},
    {"EXTERNAL", show_octets, true},
    {"REAL", show_octets, false},
    {"ENUMERATED", show_integer, false},
    {"EMBEDDED PDV", show_octets, true},
    {"UTF8String", show_string, false},
    {"RELATIVE-OID", show_octets, false},
    {"TIME", show_octets, false},
    {"universal 15", show_octets, false},
    {"SEQUENCE", show_octets, true},
    {"SET", show_octets, true},
    {"NumericString", show_string, false},
    {"PrintableString", show_string, false},
    {"TeletexString", show_string, false},
    {"VideotexString", show_octets, false},
    {"IA5String", show_string, false},
    {"UTCTime", show_time, false},
    {"GeneralizedTime", show_time, false},
    {"GraphicString", show_octets, false},
    {"VisibleString", show_string, false},
    {"GeneralString", show_string, false},
    {"UniversalString", show_string, false},
    {"CHARACTER STRING", show_octets, true},
    {"BMPString", show_string, false},
};
constexpr std::string_view kClasses[] = {"universal", "application", "context", "private"};

const TypeRow *type_of(const SshBerElement &element) {
  const bool listed = element.cls == SSH_BER_UNIVERSAL && element.tag < std::size(kTypeRows);
  return listed ? &kTypeRows[element.tag] : nullptr;
}

std::string name_of(const SshBerElement &element) {
  if (const TypeRow *row = type_of(element)) return std::string(row->name);
  if (element.cls == SSH_BER_CONTEXT) return fmt::format("[{}]", element.tag);
  return fmt::format("[{} {}]", kClasses[element.cls], element.tag);
}

bool is_printable(Bytes content) {
  return !content.empty() &&
         std::all_of(content.begin(), content.end(), [](uint8_t c) { return c >= 32 && c < 127; });
}

std::string value_of(const SshBerElement &element) {
  if (element.constructed) return {};
  if (const TypeRow *row = type_of(element)) return row->show(element.tag, element.content());
  return is_printable(element.content()) ? show_string(22, element.content())
                                         : short_octets(element.content());
}

// encapsulated gives the element inside an OCTET STRING or BIT STRING, if its content is exactly
// one element, well-formed and of a universal type in its usual form. Extensions and keys are such.
// Other bytes look like that by chance only very rarely.
Bytes encapsulated(const SshBerElement &element) {
  if (element.cls != SSH_BER_UNIVERSAL || element.constructed) return {};
  Bytes content = element.content();
  if (element.tag == 3 && !content.empty() && content[0] == 0) {
    content = content.subspan(1);
  } else if (element.tag != 4) {
    return {};
  }
  SshBerElement inner;
  const uint8_t *const end = content.data() + content.size();
  if (content.empty() || ssh_ber_open(content.data(), end, inner) != SSH_BER_OK) return {};
  const TypeRow *row = type_of(inner);
  if (!row || inner.tag == 0 || inner.indefinite || row->constructed != inner.constructed)
    return {};
  if (inner.header_length + size_t{inner.content_length} != content.size()) return {};
  return ssh_ber_check(content).fault ? Bytes() : content;
}

// read_header reads the header of an element whose content is cut; false if the header is cut
// itself. `announced` is the length that the header gives. The library's own reader gives no
// element then.
bool read_header(Bytes octets, SshBerElement &element, uint32_t &announced) {
  size_t at = 1;
  element = {};
  element.data = octets.data();
  element.cls = static_cast<uint8_t>(octets[0] >> 6);
  element.constructed = (octets[0] & 0x20) != 0;
  element.tag = octets[0] & 0x1F;
  if (element.tag == 0x1F) {
    element.tag = 0;
    for (bool more = true; more; ++at) {
      if (at >= octets.size()) return false;
      element.tag = element.tag << 7 | (octets[at] & 0x7Fu);
      more = (octets[at] & 0x80) != 0;
    }
  }
  if (at >= octets.size()) return false;
  const uint8_t first = octets[at++];
  const size_t count = first < 0x80 ? 0 : first - 0x80u;
  if (count > octets.size() - at) return false;
  announced = count ? 0 : first;
  for (size_t i = 0; i < count; ++i) announced = announced << 8 | octets[at++];
  element.header_length = static_cast<uint8_t>(at);
  element.content_length = static_cast<uint32_t>(octets.size() - at);
  return true;
}

std::string header_fault(SshBerStatus status) {
  if (status == SSH_BER_TAG_TOO_LONG) return "a tag number of more than four bytes";
  if (status == SSH_BER_LENGTH_TOO_LONG) return "more than four length bytes";
  return "the bytes end inside the header";
}

}  // namespace

TreeWalk::TreeWalk(Bytes octets, std::optional<size_t> mark) : octets_(octets), mark_(mark) {
  if (mark_ && *mark_ >= octets.size() && !octets.empty()) mark_ = octets.size() - 1;
}

TreeWalk::Level TreeWalk::top() const {
  if (levels_.empty()) return {octets_.size(), false};
  return {levels_.back() >> 1, (levels_.back() & 1) != 0};
}

void TreeWalk::push(size_t end, bool indefinite) {
  levels_.push_back(static_cast<uint32_t>(end) << 1 | (indefinite ? 1u : 0u));
}

// open reads the header at the current place, cutting what runs past `end`; false if it cannot be
// read.
bool TreeWalk::open(TreeLine &line, size_t end) {
  const Bytes rest = octets_.subspan(at_, end - at_);
  SshBerElement &element = line.element;
  const SshBerStatus status = ssh_ber_open(rest.data(), rest.data() + rest.size(), element);
  if (status == SSH_BER_OK) return true;
  uint32_t announced = 0;
  if (status == SSH_BER_CUT && read_header(rest, element, announced)) {
    line.fault = fmt::format("{} bytes announced, {} there", announced, element.content_length);
    return true;
  }
  line.fault = header_fault(status);
  element = {};
  element.data = rest.data();
  element.content_length = static_cast<uint32_t>(rest.size());
  return false;
}

// enter steps into an element or over it.
void TreeWalk::enter(TreeLine &line, size_t end) {
  const SshBerElement &element = line.element;
  const size_t content = at_ + element.header_length;
  at_ = content + element.content_length;
  if (element.constructed) {
    push(element.indefinite ? end : at_, element.indefinite);
    at_ = content;
    return;
  }
  const Bytes inside = line.fault.empty() ? encapsulated(element) : Bytes();
  if (inside.empty()) return;
  line.encapsulates = true;
  push(at_, false);
  at_ -= inside.size();
}

// leave closes the elements that end here, and with end-of-contents bytes an indefinite length.
void TreeWalk::leave(TreeLine &line) {
  if (line.element.is(SSH_BER_UNIVERSAL, 0) && line.element.content_length == 0 && top().indefinite)
    levels_.pop_back();
  while (!levels_.empty() && top().end <= at_) {
    if (top().indefinite && line.fault.empty()) line.fault = "no end-of-contents octets follow";
    levels_.pop_back();
  }
}

bool TreeWalk::next(TreeLine &line, bool full) {
  if (at_ >= octets_.size()) return false;
  const size_t end = top().end;
  line.offset = at_;
  line.depth = levels_.size();
  const bool opened = open(line, end);
  if (opened) {
    enter(line, end);
  } else {
    at_ = end;
  }
  leave(line);
  line.marked = mark_ && line.offset <= *mark_ && *mark_ < at_;
  if (!full && !line.marked) return true;
  line.name = opened ? name_of(line.element) : "?";
  if (!opened) line.value = short_octets(line.element.content());
  if (opened && !line.encapsulates) line.value = value_of(line.element);
  return true;
}

ElementText element_text(Bytes octets) {
  TreeLine line;
  if (octets.empty() || !TreeWalk(octets, std::nullopt).next(line, true)) return {};
  return {line.name, line.value};
}

std::string tree_heading() { return " offset  depth  header+length"; }

std::string tree_text(const TreeLine &line) {
  const SshBerElement &element = line.element;
  const std::string length = element.indefinite ? "indef" : std::to_string(element.content_length);
  std::string text = fmt::format("{:7}  {:5}  {:>6}+{:<6}  {:{}}{}", line.offset, line.depth,
                                 element.header_length, length, "",
                                 std::min(line.depth * 2, kIndentMax), line.name);
  if (element.constructed && type_of(element) && !type_of(element)->constructed)
    text += " constructed";
  if (line.encapsulates) text += ", encapsulates:";
  if (!line.value.empty()) text += "  " + line.value;
  return text;
}

Json tree_json(Bytes octets, std::optional<size_t> mark, size_t lines) {
  Json array = Json::array();
  const size_t omitted = walk_tree(octets, mark, lines, [&array](const TreeLine &line) {
    const SshBerElement &element = line.element;
    Json json = {
        {"offset", line.offset}, {"depth", line.depth}, {"header_length", element.header_length}};
    json["length"] = element.indefinite ? Json() : Json(element.content_length);
    if (element.header_length) {
      json["class"] = kClasses[element.cls];
      json["tag"] = element.tag;
      json["constructed"] = element.constructed;
    }
    json["name"] = line.name;
    if (!line.value.empty()) json["value"] = as_utf8(line.value);
    if (line.encapsulates) json["encapsulates"] = true;
    if (!line.fault.empty()) json["fault"] = line.fault;
    if (line.marked) json["refused_here"] = true;
    array.push_back(std::move(json));
  });
  if (omitted) array.push_back({{"omitted", omitted}});
  return array;
}

}  // namespace kwpki
