#include "kwpki/extension_values.h"

#include <fmt/format.h>

#include <chrono>
#include <iterator>

#include "kwpki/text.h"

namespace kwpki {
namespace {

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

template <SshAsn1Text Text, class... Outputs>
bool read_whole(SshAsn1Node node, SshAsn1Template<Text> text, Outputs... outputs) {
  return node &&
         ssh_asn1_read_node_as(SshAsn1Mode::kWhole, node.alone(), text, outputs...) == SSH_ASN1_OK;
}

// AS numbers have 32 bits; making the decimal text of others may take long.
std::string short_number(const SshMpInt &value) {
  return value.bits() <= 64 ? take(value.to_decimal()) : "0x" + hex(value.magnitude());
}

// address fills an address up whose bits are the first that there are; the others all are as `rest`
// has them.
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

// IPAddressFamily ::= SEQUENCE { addressFamily OCTET STRING, CHOICE { inherit NULL,
//      addressesOrRanges SEQUENCE OF CHOICE { addressPrefix BIT STRING,
//           addressRange SEQUENCE { min BIT STRING, max BIT STRING } } } }   RFC 3779, 2.2.3
Json ip_blocks_json(const SshX509Extra &extra) {
  SshAsn1Work work = SshAsn1Work::for_input(extra.items.size());
  Json json = Json::array();
  for (SshAsn1Node n = ssh_asn1_list_of(extra.items, &work); n; n = ssh_asn1_node_next(n)) {
    Bytes family;
    SshAsn1Node list;
    int which = -1;
    if (!read_whole(n, "(sequence ()(octet-string ())(choice(null ())(sequence ()(any ()))))"_asn1,
                    &family, &which, &list) ||
        family.size() < 2)
      return nullptr;
    const bool v6 = family[1] == 2;
    Json blocks = which == 0 ? Json("inherited") : Json::array();
    for (; list; list = ssh_asn1_node_next(list)) {
      SshAsn1Bits first, last;
      const bool prefix = read_whole(list, "(bit-string ())"_asn1, &first);
      if (!prefix &&
          !read_whole(list, "(sequence ()(bit-string ())(bit-string ()))"_asn1, &first, &last))
        return nullptr;
      if (!take_item()) return kOmitted;
      blocks.push_back(prefix ? fmt::format("{}/{}", address(first, v6, 0), first.bits)
                              : address(first, v6, 0) + " to " + address(last, v6, 0xFF));
    }
    json.push_back({{"family", v6 ? "IPv6" : "IPv4"}, {"blocks", std::move(blocks)}});
  }
  return json;
}

// ASIdentifiers ::= SEQUENCE { asnum [0] EXPLICIT ASIdentifierChoice OPTIONAL, rdi [1] EXPLICIT
//      ASIdentifierChoice OPTIONAL }
// ASIdentifierChoice ::= CHOICE { inherit NULL, asIdsOrRanges SEQUENCE OF CHOICE { id INTEGER,
//      range SEQUENCE { min INTEGER, max INTEGER } } }                       RFC 3779, 3.2.3
Json as_numbers_json(const SshX509Extra &extra) {
  SshAsn1Work work = SshAsn1Work::for_input(extra.value.size());
  Json json = Json::object();
  SshAsn1Node given[2];
  int has[2] = {};
  if (!read_whole(ssh_asn1_list_of(extra.value, &work),
                  "(sequence ()(optional(any (e 0)))(optional(any (e 1))))"_asn1, &has[0],
                  &given[0], &has[1], &given[1]))
    return nullptr;
  for (int i = 0; i < 2; ++i) {
    SshAsn1Node list;
    int which = -1;
    if (!has[i]) continue;
    if (!read_whole(given[i], "(choice(null ())(sequence ()(any ())))"_asn1, &which, &list))
      return nullptr;
    Json numbers = which == 0 ? Json("inherited") : Json::array();
    for (; list; list = ssh_asn1_node_next(list)) {
      SshMpInt first, last;
      const bool one = read_whole(list, "(integer ())"_asn1, &first);
      if (!one && !read_whole(list, "(sequence ()(integer ())(integer ()))"_asn1, &first, &last))
        return nullptr;
      if (!take_item()) return kOmitted;
      numbers.push_back(one ? short_number(first)
                            : short_number(first) + " to " + short_number(last));
    }
    json[i == 0 ? "as_numbers" : "routing_domains"] = std::move(numbers);
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
