#include "kwpki/values/extension_values.h"

#include <fmt/format.h>

#include <chrono>
#include <iterator>

#include "kwpki/terminal/text.h"
#include "x509/resources.h"

namespace kwpki {
namespace {

// Reader reads the numbers and vectors of TLS (RFC 8446, 3), in which these extensions are written.
// Reading past the end makes it fail for good, and gives zeros and no bytes from then on.
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
  Bytes vector() { return take(static_cast<size_t>(number(2))); }  // its length has two bytes
  [[nodiscard]] bool more() const { return !failed_ && !left_.empty(); }
  [[nodiscard]] bool whole() const { return !failed_ && left_.empty(); }

 private:
  Bytes left_;
  bool failed_ = false;
};

// utc_json writes milliseconds since 1970 as ISO 8601; null later than the year 9999.
Json utc_json(uint64_t milliseconds) {
  using namespace std::chrono;
  constexpr uint64_t kDay = 86400000, kEnd = 253402300800000;
  if (milliseconds >= kEnd) return nullptr;
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
  json["time"] = utc_json(reader.number(8));
  const Bytes extensions = reader.vector();
  if (!extensions.empty()) json["extensions"] = hex(extensions);
  const std::string hash = name_of(kHashes, reader.number(1));
  const std::string algorithm = name_of(kSignatures, reader.number(1));
  json["signature"] = algorithm + " with " + hash;
  json["signature_value"] = hex(reader.vector());
  return reader.whole() ? json : Json();
}

// AS numbers have 32 bits; making the decimal text of others may take long.
std::string short_number(const SshMpInt &value) {
  return value.bits() <= 64 ? take(value.to_decimal()) : "0x" + hex(value.magnitude());
}

// address gives the address whose first bits are given; all others are 0 or 1, as in `rest`, for
// the first or last address of a range.
std::string address(const SshAsn1Bits &bits, bool v6, uint8_t rest) {
  std::vector<uint8_t> octets(v6 ? 16 : 4, rest);
  if (bits.bits > octets.size() * 8) return hex(bits.octets);
  for (size_t i = 0; i < bits.bits; ++i) {
    const auto bit = static_cast<uint8_t>(0x80 >> i % 8);
    octets[i / 8] = static_cast<uint8_t>((octets[i / 8] & ~bit) | (bits.octets[i / 8] & bit));
  }
  return ip_text(octets);
}

}  // namespace

Json timestamps_json(Bytes octets) {
  Reader outer(octets);
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

Json items_json(Bytes items, const char *name) {
  Json json = Json::array();
  SshX509ItemCursor cursor(items);
  while (cursor.next()) {
    if (!take_item()) {
      json.push_back(kOmitted);
      break;
    }
    Json shown = {{name, oid_json(cursor.type())}};
    if (!cursor.value().empty()) shown["value_der"] = base64(cursor.value());
    json.push_back(std::move(shown));
  }
  return cursor.failed() ? Json() : json;
}

Json ip_blocks_json(const SshX509Extra &extra) {
  Json json = Json::array();
  SshX509AddressFamilyCursor family(extra.items);
  while (family.next()) {
    Json blocks = family.inherited() ? Json("inherited") : Json::array();
    SshX509AddressCursor block(family.blocks());
    while (block.next()) {
      if (!take_item()) return kOmitted;
      const std::string first = address(block.first(), family.is_v6(), 0);
      blocks.push_back(block.is_prefix()
                           ? fmt::format("{}/{}", first, block.first().bits)
                           : first + " to " + address(block.last(), family.is_v6(), 0xFF));
    }
    if (block.failed()) return nullptr;
    json.push_back({{"family", family.is_v6() ? "IPv6" : "IPv4"}, {"blocks", std::move(blocks)}});
  }
  return family.failed() ? Json() : json;
}

Json as_numbers_json(const SshX509Extra &extra) {
  SshX509AsNumbers lists[2];
  if (!ssh_x509_as_numbers_read(extra.value, &lists[0], &lists[1])) return nullptr;
  Json json = Json::object();
  for (const SshX509AsNumbers &list : lists) {
    if (!list.given) continue;
    Json numbers = list.inherited ? Json("inherited") : Json::array();
    SshX509AsNumberCursor number(list.numbers);
    while (number.next()) {
      if (!take_item()) return kOmitted;
      numbers.push_back(number.is_range()
                            ? short_number(number.first()) + " to " + short_number(number.last())
                            : short_number(number.first()));
    }
    if (number.failed()) return nullptr;
    json[&list == lists ? "as_numbers" : "routing_domains"] = std::move(numbers);
  }
  return json;
}

Json netscape_type_json(const SshX509Extra &extra) {
  constexpr std::string_view kBitNames[] = {"SSL client",     "SSL server",       "S/MIME",
                                            "object signing", "reserved",         "SSL CA",
                                            "S/MIME CA",      "object signing CA"};
  if (extra.octets.size() > 4) return nullptr;
  uint32_t mask = 0;
  for (size_t i = extra.octets.size(); i-- > 0;) mask = mask << 8 | extra.octets[i];
  return bits_json(mask, kBitNames);
}

// The low half counts the CA's certificates, the high half its keys.
Json ca_version_json(const SshX509Extra &extra) {
  const Json version = small_json(extra.octets);
  if (!version.is_number()) return nullptr;
  return Json{{"certificate_index", version.get<uint32_t>() & 0xFFFF},
              {"key_index", version.get<uint32_t>() >> 16}};
}

}  // namespace kwpki
