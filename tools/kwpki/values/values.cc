#include "kwpki/values/values.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "asn1/ber.h"
#include "kwpki/terminal/text.h"
#include "kwpki/values/oid_names.h"
#include "util/owner.h"
#include "x509/dn_parts.h"

namespace kwpki {
namespace {

size_t items_left = kItemsMax;

constexpr size_t kDecimalBits = 8192;  // making decimal text takes quadratic time

struct StringRow {
  uint32_t tag;
  std::string_view name;
  size_t width;  // bytes a letter; 0: the bytes are the text
};
constexpr StringRow kStrings[] = {
    {12, "UTF8String", 0},    {18, "NumericString", 0},   {19, "PrintableString", 0},
    {20, "TeletexString", 1}, {22, "IA5String", 0},       {26, "VisibleString", 0},
    {27, "GeneralString", 0}, {28, "UniversalString", 4}, {30, "BMPString", 2},
};

const StringRow *find_string(uint32_t tag) {
  const auto *row = std::find_if(std::begin(kStrings), std::end(kStrings),
                                 [tag](const StringRow &r) { return r.tag == tag; });
  return row == std::end(kStrings) ? nullptr : row;
}

// The universal tag of a string type with the letters of each SshCharset, in their order.
constexpr uint32_t kTagOfCharset[] = {19, 26, 22, 20, 20, 20, 20, 20, 30, 28, 12};

// quote_value puts backslashes before the letters that separate the parts of a name.
std::string quote_value(const std::string &value) {
  std::string out;
  for (const char c : value) {
    if (c == '\\' || c == '"' || c == '+' || c == ',' || c == ';') out += '\\';
    out += c;
  }
  return out;
}

// What people call an attribute where the library's own texts have another word: RFC 4519, 2, and
// RFC 2985, 5.2.1. Stored names and search keys keep the library's.
constexpr struct {
  std::string_view oid, name;
} kAttributes[] = {
    {"2.5.4.4", "surname"},
    {"2.5.4.5", "serialNumber"},
    {"2.5.4.9", "street"},
    {"2.5.4.12", "title"},
    {"2.5.4.41", "name"},
    {"2.5.4.42", "givenName"},
    {"2.5.4.43", "initials"},
    {"2.5.4.44", "generationQualifier"},
    {"2.5.4.45", "x500UniqueIdentifier"},
    {"2.5.4.46", "dnQualifier"},
    {"1.2.840.113549.1.9.1", "emailAddress"},
};

std::string_view attribute_name(std::string_view oid) {
  for (const auto &row : kAttributes)
    if (row.oid == oid) return row.name;
  return {};
}

// attribute_json is {"oid", "name", "type" and "text" of a string, "value_der"}.
Json attribute_json(const SshDNPairView &pair) {
  Json json = oid_json(pair.type);
  const std::string_view name = attribute_name(json["oid"].get_ref<const std::string &>());
  if (!name.empty()) json["name"] = name;
  // The identifier byte of a plain string is its tag alone.
  const uint8_t identifier = pair.element.empty() ? 0 : pair.element[0];
  if (const StringRow *row = find_string(identifier)) {
    json["type"] = row->name;
    set_text(json, "text", string_text(identifier, pair.value));
  }
  json["value_der"] = base64(pair.element);
  return json;
}

// readable_pair is "CN=text", with the name of the attribute that people know. A value that is no
// text is "#" and the digits of its DER.
std::string readable_pair(const Json &pair) {
  const std::string oid = pair.value("oid", "?");
  std::string_view name = attribute_name(oid);
  if (name.empty()) name = oid_name_of_kind(oid, SSH_OID_DN);
  const std::string label = name.empty() ? "OID." + oid : std::string(name);
  const bool text = pair.contains("text");
  return label + "=" +
         (text ? quote_value(pair["text"].get<std::string>())
               : "#" + hex(unbase64(pair["value_der"].get_ref<const std::string &>())));
}

void set_ip(Json &json, const SshX509Name &name) {
  const size_t size = name.data_length;
  if (size == 4 || size == 16) json["text"] = ip_text(name.data);
  if (size == 8 || size == 32) {  // an address and a mask, in name constraints
    json["text"] = ip_text(name.data.first(size / 2)) + "/" + ip_text(name.data.subspan(size / 2));
  }
  json["hex"] = hex(name.data);
}

void set_ia5(Json &json, const SshX509Name &name) {
  set_text(json, "text", ssh_bytes_text(name.text));
}

void set_directory(Json &json, const SshX509Name &name) { json.update(dn_json(name.der)); }

void set_identifier(Json &json, const SshX509Name &name) { json.update(oid_json({name.data})); }

void set_unique_id(Json &json, const SshX509Name &name) {
  json["bits"] = name.data_length;
  json["hex"] = hex(name.data);
}

// The value of an otherName is shown if it is one string, as the mail addresses of RFC 8398 and the
// user names of directories are.
void set_other(Json &json, const SshX509Name &name) {
  SshOid type;
  Bytes value;
  SshX509Text text;
  if (!ssh_x509_name_other(name, &type, &value)) return;
  json.update(oid_json(type));
  if (ssh_x509_text_read(value, &text)) set_string(json, text);
}

void set_nothing(Json &, const SshX509Name &) {}

// GeneralNameRow gives a kind of name its label, and the function that adds what a name of it
// holds.
struct GeneralNameRow {
  SshX509NameType type;
  std::string_view label;
  void (*set)(Json &json, const SshX509Name &name);
};
constexpr GeneralNameRow kGeneralNames[] = {
    {SSH_X509_NAME_DN, "name", set_directory},
    {SSH_X509_NAME_UNIQUE_ID, "unique identifier", set_unique_id},
    {SSH_X509_NAME_EMAIL, "e-mail", set_ia5},
    {SSH_X509_NAME_DNS, "DNS", set_ia5},
    {SSH_X509_NAME_IP, "IP", set_ip},
    {SSH_X509_NAME_DIRECTORY, "directory", set_directory},
    {SSH_X509_NAME_X400, "X.400", set_nothing},
    {SSH_X509_NAME_EDI_PARTY, "EDI party", set_nothing},
    {SSH_X509_NAME_URI, "URI", set_ia5},
    {SSH_X509_NAME_REGISTERED_ID, "registered ID", set_identifier},
    {SSH_X509_NAME_OTHER, "other", set_other},
};

// DnVisitor collects the attributes of a name.
class DnVisitor {
 public:
  void rdn() {
    end_ = end_ || !take_item();
    if (end_) return;
    rdns_.push_back(Json::array());
    if (rdns_.size() > 1) readable_ += ", ";
  }
  void pair(const SshDNPairView &view) {
    if (end_ || !take_item()) return;
    Json &pairs = rdns_.back();
    pairs.push_back(attribute_json(view));
    readable_ += (pairs.size() > 1 ? " + " : "") + readable_pair(pairs.back());
  }
  void give(Json &json) {
    if (end_) rdns_.push_back(kOmitted);
    json["readable"] = readable_;
    json["attributes"] = std::move(rdns_);
  }

 private:
  Json rdns_ = Json::array();
  std::string readable_;
  bool end_ = false;
};

std::string decimal(const SshMpInt &value) {
  return value.bits() <= kDecimalBits ? take(value.to_decimal()) : std::string();
}

std::string signed_hex(const SshMpInt &value) {
  return (value.negative() ? "-" : "") + (value.is_zero() ? "00" : hex(value.magnitude()));
}

}  // namespace

std::string_view attribute_oid(std::string_view name) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  const auto same = [&](char a, char b) { return lower(a) == lower(b); };
  for (const auto &row : kAttributes) {
    if (std::equal(name.begin(), name.end(), row.name.begin(), row.name.end(), same))
      return row.oid;
  }
  return {};
}

std::string ip_text(Bytes octets) {
  if (octets.size() == 4)
    return fmt::format("{}.{}.{}.{}", octets[0], octets[1], octets[2], octets[3]);
  uint32_t groups[8];
  for (size_t i = 0; i < 8; ++i)
    groups[i] = static_cast<uint32_t>(octets[2 * i] << 8 | octets[2 * i + 1]);
  // RFC 5952 4.2: "::" stands for the longest run of zero groups, the first of several, and not for
  // a single group.
  size_t longest = 0, from = 8;
  for (size_t i = 0, run = 0; i < 8; ++i) {
    run = groups[i] ? 0 : run + 1;
    if (run < 2 || run <= longest) continue;
    longest = run;
    from = i + 1 - run;
  }
  std::string out;
  for (size_t i = 0; i < 8; ++i) {
    if (i == from) {
      out += "::";
      i += longest - 1;
    } else {
      out += fmt::format("{}{:x}", i && !out.ends_with(':') ? ":" : "", groups[i]);
    }
  }
  return out;
}

Json document() { return {{"schema", "kwpki/1"}}; }

std::string json_line(const Json &json) {
  return json.dump(-1, ' ', true, Json::error_handler_t::replace);
}

const Json kOmitted = {{"omitted", "the rest of a very long list"}};

void start_items() { items_left = kItemsMax; }

bool take_item() {
  if (items_left == 0) return false;
  --items_left;
  return true;
}

void set_place(Json &object, const Place &place) {
  set_text(object, "file", place.file);
  if (place.block) object["block"] = place.block;
  if (place.item) object["item"] = place.item;
}

void set_text(Json &object, const std::string &key, std::string_view text) {
  object[key] = as_utf8(text);
  if (!is_utf8(text)) object[key + "_hex"] = hex(ssh_text_bytes(text));
}

std::string string_text(uint32_t tag, Bytes content) {
  const StringRow *row = find_string(tag);
  const size_t width = row ? row->width : 0;
  if (width == 0 || content.size() % width != 0) return std::string(ssh_bytes_text(content));
  std::string out;
  for (size_t i = 0; i < content.size(); i += width) {
    uint32_t code = 0;
    for (size_t k = 0; k < width; ++k) code = code << 8 | content[i + k];
    append_utf8(out, code);
  }
  return out;
}

std::string oid_text(SshOid oid) {
  const std::string text = take(ssh_ber_oid_text(oid, true));
  return text.empty() ? "not an identifier: " + hex(oid.octets) : text;
}

Json oid_json(SshOid oid) {
  const std::string text = oid_text(oid);
  Json json = {{"oid", text}};
  const std::string_view name = oid_name(text);
  if (!name.empty()) json["name"] = name;
  return json;
}

Json integer_json(const SshMpInt &value) {
  Json json = Json::object();
  if (std::string digits = decimal(value); !digits.empty()) json["decimal"] = std::move(digits);
  json["hex"] = signed_hex(value);
  return json;
}

std::string integer_text(std::string_view decimal, std::string_view hex) {
  const std::string_view sign = hex.starts_with("-") ? "-" : "";
  hex.remove_prefix(sign.size());
  if (decimal.empty()) return fmt::format("{}0x{}", sign, hex);
  return fmt::format("{} ({}0x{})", decimal, sign, hex);
}

std::string integer_text(const SshMpInt &value) {
  return integer_text(decimal(value), signed_hex(value));
}

Json number_json(Bytes content) {
  SshMpInt value;
  value.set_twos_complement(content);
  Json json = {{"bits", value.bits()}};
  json.update(integer_json(value));
  return json;
}

Json small_json(Bytes content) {
  if (content.empty() || content.size() > 4 || content[0] >= 0x80) return number_json(content);
  uint32_t value = 0;
  for (const uint8_t octet : content) value = value << 8 | octet;
  return value;
}

Json time_json(const SshBerTime &time) {
  if (time == SshBerTime{}) return nullptr;
  return time_text(time);
}

std::string time_text(const SshBerTime &time) {
  std::string text = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", time.year, time.month,
                                 time.day, time.hour, time.minute, time.second);
  if (time.microseconds) text += fmt::format(".{:06}", time.microseconds);
  if (!time.tz_hours && !time.tz_minutes) return text + "Z";
  return text +
         fmt::format("{}{:02}:{:02}", time.tz_plus ? '+' : '-', time.tz_hours, time.tz_minutes);
}

Json limit_json(uint32_t value) { return value == SSH_X509_NO_LIMIT ? Json() : Json(value); }

void set_string(Json &object, const SshX509Text &text) {
  set_text(object, "text", string_text(kTagOfCharset[text.charset], text.octets));
}

Json text_json(const SshX509Text &text) {
  if (!text.present) return nullptr;
  Json json = Json::object();
  set_string(json, text);
  return json;
}

Json dn_json(Bytes der) {
  char *text = ssh_dn_der_to_ldap(der);
  Json json = {{"text", nullptr}};
  if (text) set_text(json, "text", take(text));
  DnVisitor visitor;
  (void)ssh_dn_walk(der, visitor);
  visitor.give(json);
  json["der"] = base64(der);
  return json;
}

Json name_json(const SshX509Name &name) {
  const GeneralNameRow &row = kGeneralNames[name.type];
  Json json = {{"type", row.label}};
  row.set(json, name);
  if (!json.contains("der")) json["der"] = base64(name.der.empty() ? name.data : name.der);
  return json;
}

Json names_json(const SshX509Name *list) {
  std::vector<const SshX509Name *> names;
  for (; list; list = list->next) {
    if (list->type >= SSH_X509_NAME_EMAIL) names.push_back(list);
  }
  Json json = Json::array();
  for (size_t i = names.size(); i-- > 0;) {  // the list reads newest first
    if (!take_item()) {
      json.push_back(kOmitted);
      break;
    }
    json.push_back(name_json(*names[i]));
  }
  return json;
}

Json bits_json(uint32_t mask, std::span<const std::string_view> names) {
  Json json = Json::array();
  for (size_t i = 0; i < 32; ++i) {
    const uint32_t bit = 1u << (i / 8 * 8 + 7 - i % 8);
    if (!(mask & bit)) continue;
    json.push_back(i < names.size() ? std::string(names[i]) : fmt::format("bit {}", i));
  }
  return json;
}

Json key_usage_json(uint32_t mask) {
  constexpr std::string_view kBits[] = {
      "digital signature", "non repudiation", "key encipherment",
      "data encipherment", "key agreement",   "key cert sign",
      "crl sign",          "encipher only",   "decipher only",
  };
  return bits_json(mask, kBits);
}

Json reasons_json(uint32_t mask) {
  constexpr std::string_view kBits[] = {
      "unused",        "key compromise",         "ca compromise",    "affiliation changed",
      "superseded",    "cessation of operation", "certificate hold", "privilege withdrawn",
      "aa compromise",
  };
  return bits_json(mask, kBits);
}

}  // namespace kwpki
