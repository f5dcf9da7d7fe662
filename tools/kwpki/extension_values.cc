#include "kwpki/extension_values.h"

#include <fmt/format.h>

#include <chrono>
#include <iterator>

#include "kwpki/text.h"

namespace kwpki {
namespace {

enum : uint32_t {
  kInteger = 2,
  kBits = 3,
  kOctets = 4,
  kNull = 5,
  kIdentifier = 6,
  kSequence = 16
};

// only gives the one element of a value if it has this tag, else null.
const SshBerElement *only(const std::vector<SshBerElement> &value, uint32_t tag, Bytes octets) {
  if (value.size() != 1 || !value[0].is(SSH_BER_UNIVERSAL, tag)) return nullptr;
  return whole(value[0]).size() == octets.size() ? value.data() : nullptr;
}

// Reader reads the numbers and vectors of RFC 8446, section 3; what runs past the end fails it.
class Reader {
 public:
  explicit Reader(Bytes octets) : left_(octets) {}

  Bytes take(size_t count) {
    if (count > left_.size()) failed_ = true;
    const Bytes taken = left_.first(failed_ ? 0 : count);
    left_ = left_.subspan(taken.size());
    return taken;
  }
  uint64_t number(size_t octets) {
    uint64_t value = 0;
    for (const uint8_t octet : take(octets)) value = value << 8 | octet;
    return value;
  }
  Bytes vector() { return take(static_cast<size_t>(number(2))); }  // its length has two octets
  [[nodiscard]] bool more() const { return !failed_ && !left_.empty(); }
  [[nodiscard]] bool whole() const { return !failed_ && left_.empty(); }

 private:
  Bytes left_;
  bool failed_ = false;
};

// utc_text writes milliseconds since 1970 as ISO 8601; later than the year 9999 they stay a number.
std::string utc_text(uint64_t milliseconds) {
  using namespace std::chrono;
  constexpr uint64_t kDay = 86400000, kEnd = 253402300800000;
  if (milliseconds >= kEnd) return fmt::format("{} ms after 1970", milliseconds);
  const year_month_day date(sys_days(days(milliseconds / kDay)));
  const uint64_t rest = milliseconds % kDay;
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                     rest / 3600000, rest / 60000 % 60, rest / 1000 % 60, rest % 1000);
}

std::string name_of(std::span<const std::string_view> names, uint64_t code) {
  return code < names.size() ? std::string(names[static_cast<size_t>(code)])
                             : fmt::format("unknown {}", code);
}

// SignedCertificateTimestamp: RFC 6962, 3.2; the names are those of RFC 5246, 7.4.1.4.1.
Json timestamp_json(Bytes octets) {
  constexpr std::string_view kHashes[] = {"none",   "md5",    "sha1",  "sha224",
                                          "sha256", "sha384", "sha512"};
  constexpr std::string_view kSignatures[] = {"anonymous", "rsa", "dsa", "ecdsa"};
  Reader reader(octets);
  const uint64_t version = reader.number(1);
  if (version != 0) return Json{{"version", version + 1}, {"value", hex(octets)}};
  Json json = {{"version", 1}, {"log_id", hex(reader.take(32))}};
  json["time"] = utc_text(reader.number(8));
  const Bytes extensions = reader.vector();
  if (!extensions.empty()) json["extensions"] = hex(extensions);
  const std::string hash = name_of(kHashes, reader.number(1));
  const std::string algorithm = name_of(kSignatures, reader.number(1));
  json["signature"] = algorithm + " with " + hash;
  json["signature_value"] = hex(reader.vector());
  return reader.whole() ? json : Json();
}

// The list is an OCTET STRING inside the extension's own: RFC 6962, 3.3.
Json timestamps_json(Bytes value) {
  const auto list = elements(value);
  const SshBerElement *octets = only(list, kOctets, value);
  if (!octets) return nullptr;
  Reader outer(octets->content());
  Reader reader(outer.vector());
  if (!outer.whole()) return nullptr;
  Json timestamps = Json::array();
  while (reader.more()) {
    Json timestamp = timestamp_json(reader.vector());
    if (timestamp.is_null()) return nullptr;
    timestamps.push_back(std::move(timestamp));
  }
  if (!reader.whole()) return nullptr;
  return Json{{"count", timestamps.size()}, {"timestamps", std::move(timestamps)}};
}

Json poison_json(Bytes value) {
  return only(elements(value), kNull, value) ? Json("a precertificate, not to be relied upon")
                                             : Json();
}

Json no_check_json(Bytes value) {
  return only(elements(value), kNull, value) ? Json("revocation is not to be checked") : Json();
}

// Features are numbers of TLS extensions: RFC 7633.
Json features_json(Bytes value) {
  const auto outer = elements(value);
  const SshBerElement *list = only(outer, kSequence, value);
  if (!list) return nullptr;
  Json json = Json::array();
  for (const SshBerElement &feature : elements(list->content())) {
    const Json code = small_json(feature.content());
    if (!feature.is(SSH_BER_UNIVERSAL, kInteger) || !code.is_number() || !take_item())
      return nullptr;
    const char *name = code == 5 ? "status_request" : code == 17 ? "status_request_v2" : "unnamed";
    json.push_back({{"name", name}, {"code", code}});
  }
  return json;
}

Json netscape_type_json(Bytes value) {
  constexpr std::string_view kBitNames[] = {"SSL client",     "SSL server",       "S/MIME",
                                            "object signing", "reserved",         "SSL CA",
                                            "S/MIME CA",      "object signing CA"};
  const auto outer = elements(value);
  const SshBerElement *bits = only(outer, kBits, value);
  if (!bits || bits->content_length == 0 || bits->content_length > 5) return nullptr;
  uint32_t mask = 0;
  for (size_t i = bits->content_length; i-- > 1;) mask = mask << 8 | bits->content()[i];
  return bits_json(mask, kBitNames);
}

// CertificateTemplate ::= SEQUENCE { templateID OBJECT IDENTIFIER, majorVersion INTEGER,
// minorVersion INTEGER OPTIONAL }
Json template_json(Bytes value) {
  const auto outer = elements(value);
  const SshBerElement *list = only(outer, kSequence, value);
  const auto parts = list ? elements(list->content()) : outer;
  if (!list || parts.empty() || !parts[0].is(SSH_BER_UNIVERSAL, kIdentifier)) return nullptr;
  Json json = {{"template", oid_json({parts[0].content()})}};
  constexpr const char *kVersions[] = {"major_version", "minor_version"};
  for (size_t i = 1; i < std::min<size_t>(parts.size(), 3); ++i)
    json[kVersions[i - 1]] = small_json(parts[i].content());
  return json;
}

// The low half counts the CA's certificates, the high half its keys.
Json ca_version_json(Bytes value) {
  const auto outer = elements(value);
  const SshBerElement *number = only(outer, kInteger, value);
  const Json version = number ? small_json(number->content()) : Json();
  if (!version.is_number()) return nullptr;
  return Json{{"certificate_index", version.get<uint32_t>() & 0xFFFF},
              {"key_index", version.get<uint32_t>() >> 16}};
}

Json octets_json(Bytes value) {
  const auto outer = elements(value);
  const SshBerElement *octets = only(outer, kOctets, value);
  return octets ? Json{{"value", hex(octets->content())}} : Json();
}

// items_json lists the identifiers with which the SEQUENCEs of a SEQUENCE begin, and what follows.
Json items_json(Bytes value, const char *name) {
  const auto outer = elements(value);
  const SshBerElement *list = only(outer, kSequence, value);
  if (!list) return nullptr;
  Json json = Json::array();
  for (const SshBerElement &item : elements(list->content())) {
    const auto parts = elements(item.content());
    if (parts.empty() || !parts[0].is(SSH_BER_UNIVERSAL, kIdentifier) || !take_item())
      return nullptr;
    Json shown = {{name, oid_json({parts[0].content()})}};
    if (parts.size() > 1) shown["value"] = hex(whole(parts[1]));
    json.push_back(std::move(shown));
  }
  return json;
}

struct ValueRow {
  std::string_view oid;
  Json (*contents)(Bytes value);
};
constexpr ValueRow kValues[] = {
    {"1.3.6.1.4.1.11129.2.4.2", timestamps_json},
    {"1.3.6.1.4.1.11129.2.4.3", poison_json},
    {"1.3.6.1.5.5.7.1.24", features_json},
    {"1.3.6.1.5.5.7.48.1.5", no_check_json},
    {"1.3.6.1.5.5.7.1.3", [](Bytes value) { return items_json(value, "statement"); }},
    {"2.16.840.1.113730.1.1", netscape_type_json},
    {"1.3.6.1.4.1.311.21.1", ca_version_json},
    {"1.3.6.1.4.1.311.21.2", octets_json},
    {"1.3.6.1.4.1.311.21.7", template_json},
    {"1.3.6.1.4.1.311.21.10", [](Bytes value) { return items_json(value, "policy"); }},
};

}  // namespace

Json extension_value_json(const std::string &oid, Bytes value) {
  const auto *row = std::find_if(std::begin(kValues), std::end(kValues),
                                 [&](const ValueRow &r) { return r.oid == oid; });
  return row == std::end(kValues) ? Json() : row->contents(value);
}

}  // namespace kwpki
